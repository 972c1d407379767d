// Where this module lies on disk.
#pragma once

#include "support/xstr.h"

namespace wavecodec {

// The folder of this module's file, absolute and with a trailing separator: of the module that
// `gInstance` names or, when that is null, of the file that this code is in. Empty when it cannot
// be told.
XStr ModuleFolder();

}  // namespace wavecodec
