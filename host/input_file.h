// A file that is read as bytes, not by the module.
#pragma once

#include <sys/stat.h>

#include <cstddef>
#include <cstdint>
#include <ctime>
#include <span>
#include <string>
#include <vector>

namespace wavehost {

// A regular file, open for reading as long as the object lives. Every operation throws Error when
// it fails.
class InputFile {
 public:
  explicit InputFile(const std::string& file);
  InputFile(const InputFile&) = delete;
  InputFile& operator=(const InputFile&) = delete;
  ~InputFile();

  [[nodiscard]] timespec Modified() const;
  [[nodiscard]] uint64_t Size() const { return static_cast<uint64_t>(status_.st_size); }
  // Fills the buffer as far as the file goes; returns how far that is.
  size_t ReadAt(uint64_t position, std::span<std::byte> buffer) const;

  // Gives `take` the bytes of a part of the file piece by piece. Throws Interrupted, too.
  template <typename Take>
  void ForEachPiece(uint64_t begin, uint64_t end, const Take& take) const {
    std::vector<std::byte> buffer(PieceSize(end - begin));
    while (begin < end) {
      const std::span<const std::byte> piece = Piece(begin, end, buffer);
      take(piece);
      begin += piece.size();
    }
  }

 private:
  static size_t PieceSize(uint64_t bytes);
  std::span<const std::byte> Piece(uint64_t begin, uint64_t end, std::span<std::byte> buffer) const;

  std::string name_;  // for messages
  int descriptor_;
  struct stat status_ = {};
};

}  // namespace wavehost
