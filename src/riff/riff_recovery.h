// Finishing what was interrupted when the chunks of a file were changed.
#pragma once

#include "support/xfile.h"
#include "wavecodec/codec_module.h"

namespace wavecodec {

// To be called for every local file that was opened by `name`, before it is scanned. When a change
// of it was interrupted, finishes that, which needs write access; `file` is open for `access` again
// afterwards. False, with an error line, when that cannot be done: its audio may not be where its
// chunks say. An ordinary file costs nothing, one whose size is not what its header says one system
// call.
bool FinishInterruptedChange(XFile& file, const wchar_t* name, XFileAccess access,
                             const STNStdReport& report);

}  // namespace wavecodec
