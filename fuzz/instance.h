// An instance of the module that is linked in, and the file that it works on.
#pragma once

#include <unistd.h>

#include <filesystem>
#include <fstream>
#include <iterator>
#include <string>
#include <string_view>

#include "wavecodec/codec_module.h"

namespace wavecodec::fuzz {

// A file of this process, in memory where that can be had.
class WorkFile {
 public:
  explicit WorkFile(std::string_view name)
      : Path(Folder() / (std::string(name) + '.' + std::to_string(getpid()))) {}
  WorkFile(const WorkFile&) = delete;
  WorkFile& operator=(const WorkFile&) = delete;
  ~WorkFile() { std::filesystem::remove(Path); }

  void Write(std::string_view bytes) const { std::ofstream(Path, std::ios::binary) << bytes; }
  // The same for a file whose readers know a changed one by its inode.
  void Replace(std::string_view bytes) const {
    const std::filesystem::path made = Path.string() + ".new";
    std::ofstream(made, std::ios::binary) << bytes;
    std::filesystem::rename(made, Path);
  }
  [[nodiscard]] std::string Bytes() const {
    std::ifstream file(Path, std::ios::binary);
    return {std::istreambuf_iterator<char>(file), {}};
  }
  [[nodiscard]] std::wstring Name() const { return Path.wstring(); }

  const std::filesystem::path Path;

 private:
  static std::filesystem::path Folder() {
    return access("/dev/shm", W_OK) == 0 ? "/dev/shm" : std::filesystem::temp_directory_path();
  }
};

class Instance {
 public:
  Instance() : Self(Create(&kSilent)) {}
  Instance(const Instance&) = delete;
  Instance& operator=(const Instance&) = delete;
  ~Instance() { Destroy(Self); }

  bool Opens(const std::wstring& file, uint32_t flags) {
    Record = {};
    Record.fileName = file.c_str();
    Record.flags = flags;
    return Open(Self, &Record) == 1;
  }
  // All that is left to decode, as far as it goes.
  std::string DecodeAll() {
    std::string bytes;
    STZuAudioBlock block{};
    do {
      block.byteCount = 0;
      if (DecodeBlock(Self, &block) != 1) break;
      bytes.append(static_cast<const char*>(block.data), block.byteCount);
    } while (block.lastBlock == 0);
    return bytes;
  }
  bool SetTags(const std::wstring& file, const void* block, size_t size) {
    STZuCodecGetSet record{};
    record.Text1 = file.c_str();
    record.Data = const_cast<void*>(block);
    record.SubIndex = static_cast<int32_t>(size);
    return Set(Self, L"IDTags", &record) == 1;
  }
  // `names` each with a zero behind it; everything when it is empty.
  bool DeleteTags(const std::wstring& file, const std::wstring& names) {
    return DeleteATag(Self, file.c_str(), names.empty() ? nullptr : names.c_str()) == 1;
  }

  STZuOpenDecoder Record{};

 private:
  static constexpr STNStdReport kSilent{};

 public:
  void* const Self;
};

}  // namespace wavecodec::fuzz
