// What the tests share: temporary files, a captured report, the loaded module.
#pragma once

#include <dlfcn.h>
#include <unistd.h>

#include <cstdint>
#include <cstdio>
#include <cstdlib>
#include <filesystem>
#include <fstream>
#include <stdexcept>
#include <string>
#include <string_view>

#define WAVECODEC_NO_PROTOTYPES
#include "wave_builder.h"
#include "wavecodec/codec_module.h"

namespace wavecodec::test {

// Of what is not copied.
struct Fixed {
  Fixed() = default;
  Fixed(const Fixed&) = delete;
  Fixed& operator=(const Fixed&) = delete;
};

// A file that goes with the object.
struct TempFile : Fixed {
  explicit TempFile(std::string_view bytes = {}) {
    std::string name = std::filesystem::temp_directory_path() / "wavecodecXXXXXX";
    const int handle = mkstemp(name.data());
    if (handle < 0) throw std::runtime_error("no temporary file");
    close(handle);
    Path = name;
    Write(bytes);
  }
  ~TempFile() { std::filesystem::remove(Path); }

  void Write(std::string_view bytes) const { std::ofstream(Path, std::ios::binary) << bytes; }
  [[nodiscard]] std::wstring Name() const { return Path.wstring(); }

  std::filesystem::path Path;
};

inline std::string Replaced(std::string text, std::string_view from, std::string_view to) {
  for (size_t at = 0; (at = text.find(from, at)) != text.npos; at += to.size()) {
    text.replace(at, from.size(), to);
  }
  return text;
}

// The three handles of a report, each caught in a file of its own.
struct CapturedReport : Fixed {
  ~CapturedReport() {
    for (FILE* file : Files) fclose(file);
  }
  [[nodiscard]] std::string Errors() const { return Text(Record.ErrorHandle); }
  [[nodiscard]] std::string Information() const { return Text(Record.InformationHandle); }
  [[nodiscard]] std::string Debug() const { return Text(Record.DebugHandle); }

  FILE* const Files[3] = {tmpfile(), tmpfile(), tmpfile()};
  const STNStdReport Record{fileno(Files[0]), fileno(Files[1]), fileno(Files[2])};

 private:
  static std::string Text(intptr_t handle) {
    const auto file = static_cast<int>(handle);
    std::string text(static_cast<size_t>(lseek(file, 0, SEEK_END)), '\0');
    return pread(file, text.data(), text.size(), 0) < 0 ? "unreadable" : text;
  }
};

// The built module, loaded as a host loads it.
struct Module {
  static const Module& Loaded() {
    static const Module module;
    return module;
  }

  void* const Handle = Load();
  const ZuCreateFn Create = Entry<ZuCreateFn>("Create");
  const ZuDestroyFn Destroy = Entry<ZuDestroyFn>("Destroy");
  const ZuOpenFn Open = Entry<ZuOpenFn>("Open");
  const ZuCloseFn Close = Entry<ZuCloseFn>("Close");
  const ZuDecodeBlockFn DecodeBlock = Entry<ZuDecodeBlockFn>("DecodeBlock");
  const ZuSetPositionFn SetPosition = Entry<ZuSetPositionFn>("SetPosition");
  const ZuDeleteATagFn DeleteATag = Entry<ZuDeleteATagFn>("DeleteATag");
  const ZuGetFn Get = Entry<ZuGetFn>("Get");
  const ZuSetFn Set = Entry<ZuSetFn>("Set");

 private:
  static void* Load() {
    void* handle = dlopen(WAVE_MODULE, RTLD_NOW | RTLD_LOCAL);
    if (handle == nullptr) throw std::runtime_error(dlerror());
    return handle;
  }
  template <typename Function>
  Function Entry(const char* name) const {
    return reinterpret_cast<Function>(dlsym(Handle, name));
  }
};

// A decoder instance of the loaded module.
struct Instance : Fixed {
  explicit Instance(const STNStdReport& report = {}) : Self(M.Create(&report)) {}
  ~Instance() { M.Destroy(Self); }

  bool Open(const std::wstring& name, uint32_t flags) {
    Record = {};
    Record.fileName = name.c_str();
    Record.flags = flags;
    const bool ok = M.Open(Self, &Record) == 1;
    Record.fileName = nullptr;
    return ok;
  }
  bool Decode() {
    Block = {};
    return M.DecodeBlock(Self, &Block) == 1;
  }
  // All that is left to decode; what was decoded before a failure, and "!" behind it.
  std::string DecodeAll() {
    std::string bytes;
    do {
      if (!Decode()) return bytes + "!";
      bytes.append(static_cast<const char*>(Block.data), Block.byteCount);
    } while (Block.lastBlock == 0);
    return bytes;
  }
  bool Seek(int64_t frames) { return M.SetPosition(Self, frames) == 1; }
  void Close() { M.Close(Self, nullptr); }
  void Range(int64_t from, int64_t to) {
    STZuCodecGetSet record{};
    record.RangeFrom = from;
    record.RangeTo = to;
    M.Set(Self, L"Set Decode Range", &record);
  }

  const Module& M = Module::Loaded();
  void* const Self;
  STZuOpenDecoder Record{};
  STZuAudioBlock Block{};
};

}  // namespace wavecodec::test
