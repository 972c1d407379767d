// A file being written, which takes its place only when it is complete.
#pragma once

#include <sys/types.h>

#include <cstddef>
#include <filesystem>
#include <span>
#include <string>

namespace wavehost {

// Writes beside the target under another name and puts the result in the target's place with
// Commit; without Commit nothing stays behind. Devices, pipes and the standard output are written
// directly. Every operation throws Error when it fails.
class OutputFile {
 public:
  // `force`: an existing regular file may be replaced.
  OutputFile(const std::filesystem::path& target, bool force);
  static OutputFile StandardOutput() { return {}; }
  OutputFile(const OutputFile&) = delete;
  OutputFile& operator=(const OutputFile&) = delete;
  ~OutputFile();

  void Write(std::span<const std::byte> bytes);
  // Writes over what stands at an offset from the start of this output; needs IsSeekable.
  void WriteAt(off_t offset, std::span<const std::byte> bytes);
  [[nodiscard]] bool IsSeekable() const { return seekable_; }
  void Commit();

 private:
  OutputFile();
  void OpenTemporary(mode_t existing_mode);
  void FindSeekable();
  // Writes all bytes, the n-th of them through `write_some(n)`.
  template <typename WriteSome>
  void WriteAll(size_t size, const WriteSome& write_some);
  [[noreturn]] void Fail() const;

  std::filesystem::path target_;
  std::filesystem::path temporary_;  // empty: the target is written directly
  std::string name_;                 // of the target, for messages
  int descriptor_;
  bool seekable_ = false;
  off_t start_ = 0;  // where this output starts in the file
};

}  // namespace wavehost
