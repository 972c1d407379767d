// The smallest host that writes tags, for runs in which it may be killed at any moment.
//
//   fault_tool MODULE write FILE NAME=VALUE...   fault_tool MODULE delete FILE [NAME...]
//   fault_tool MODULE decode FILE                fault_tool MODULE tags FILE
//
// Its exit status is the entry point's result, 1 when all went well, or 2 when it was misused. Error
// lines of the module go to standard error, decoded audio and the tag block to standard output.
#include <dlfcn.h>
#include <unistd.h>

#include <algorithm>
#include <cstdint>
#include <cstdio>
#include <filesystem>
#include <span>
#include <string>
#include <string_view>

#define WAVECODEC_NO_PROTOTYPES
#include "wave_builder.h"
#include "wavecodec/codec_module.h"

namespace {

using wavecodec::test::LE;

struct Host {
  explicit Host(const char* path) : Module(dlopen(path, RTLD_NOW | RTLD_LOCAL)) {
    const STNStdReport report{STDERR_FILENO, 0, 0};
    if (Module != nullptr) Instance = Entry<ZuCreateFn>("Create")(&report);
  }
  template <typename Function>
  Function Entry(const char* name) const {
    return reinterpret_cast<Function>(dlsym(Module, name));
  }

  void* Module;
  void* Instance = nullptr;
};

std::wstring Wide(const std::string& text) { return std::filesystem::path(text).wstring(); }

std::string Units(const std::string& text) {
  std::string units;
  for (const wchar_t c : Wide(text)) units += LE(static_cast<uint64_t>(c), 2);
  return units + LE(0, 2);
}

std::string TagBlock(std::span<char*> tags) {
  std::string block = LE(tags.size(), 4);
  for (const std::string tag : tags) {
    const size_t sign = tag.find('=');
    const std::string texts =
        Units(tag.substr(0, sign)) + Units(tag.substr(std::min(sign, tag.size() - 1) + 1));
    block += LE(4 + texts.size(), 4) + texts;
  }
  return block;
}

uint32_t Write(const Host& host, const std::wstring& file, std::span<char*> tags) {
  const std::string block = TagBlock(tags);
  STZuCodecGetSet record{};
  record.Text1 = file.c_str();
  record.Data = block.data();
  record.SubIndex = static_cast<int32_t>(block.size());
  return host.Entry<ZuSetFn>("Set")(host.Instance, L"IDTags", &record);
}

uint32_t Delete(const Host& host, const std::wstring& file, std::span<char*> names) {
  std::wstring list;
  for (const char* name : names) list += Wide(name) + L'\0';
  return host.Entry<ZuDeleteATagFn>("DeleteATag")(host.Instance, file.c_str(), list.c_str());
}

uint32_t Show(const Host& host, const std::wstring& file, bool tags) {
  STZuOpenDecoder source{};
  source.fileName = file.c_str();
  source.flags = tags ? ZuOpenTags : ZuOpenDecode;
  if (host.Entry<ZuOpenFn>("Open")(host.Instance, &source) != 1) return 0;
  if (tags) return fwrite(source.tagData, 1, source.tagSize, stdout) == source.tagSize ? 1 : 0;
  const auto decode = host.Entry<ZuDecodeBlockFn>("DecodeBlock");
  STZuAudioBlock block{};
  do {
    block.byteCount = 0;
    if (decode(host.Instance, &block) != 1) return 0;
    if (fwrite(block.data, 1, block.byteCount, stdout) != block.byteCount) return 0;
  } while (block.lastBlock == 0);
  return 1;
}

}  // namespace

int main(int argc, char** argv) {
  constexpr int kMisused = 2;
  constexpr size_t kFixed = 4;  // arguments before the tags
  const std::span<char*> arguments(argv, static_cast<size_t>(argc));
  if (arguments.size() < kFixed) return kMisused;
  const Host host(arguments[1]);
  if (host.Instance == nullptr) return kMisused;
  const std::string_view command = arguments[2];
  const std::wstring file = Wide(arguments[3]);
  const std::span<char*> rest = arguments.subspan(kFixed);
  uint32_t result = kMisused;
  if (command == "write") result = Write(host, file, rest);
  if (command == "delete") result = Delete(host, file, rest);
  if (command == "decode" || command == "tags") result = Show(host, file, command == "tags");
  if (fflush(stdout) != 0) result = 0;
  host.Entry<ZuDestroyFn>("Destroy")(host.Instance);
  return static_cast<int>(result);
}
