// The commands. Each returns the exit status.
#pragma once

#include "codec_module.h"
#include "command_line.h"

namespace wavehost {

int RunInfo(const CodecModule& module, const CommandLine& line);
int RunDecode(const CodecModule& module, const CommandLine& line);
int RunTags(const CodecModule& module, const CommandLine& line);
int RunArt(const CodecModule& module, const CommandLine& line);
int RunTag(const CodecModule& module, const CommandLine& line);
int RunUntag(const CodecModule& module, const CommandLine& line);
int RunOptions(const CodecModule& module, const CommandLine& line);
int RunFormats(const CodecModule& module, const CommandLine& line);

}  // namespace wavehost
