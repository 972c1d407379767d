// Where a tag is written to, and its numbers (ID3v2.3, ID3v2.4).
#pragma once

#include <cstddef>
#include <cstdint>
#include <vector>

#include "id3v2/frame.h"

namespace wavecodec::id3parser {

class streamOut {
 public:
  virtual ~streamOut() = default;
  virtual void write(const void* data, size_t size) = 0;
  void writeByte(unsigned char byte) { write(&byte, 1); }
};

// Keeps what is written to it.
class streamOutBuffer final : public streamOut {
 public:
  void write(const void* data, size_t size) override {
    const auto* first = static_cast<const uint8_t*>(data);
    bytes_.insert(bytes_.end(), first, first + size);
  }
  void reserve(size_t size) { bytes_.reserve(size); }
  [[nodiscard]] const std::vector<uint8_t>& bytes() const { return bytes_; }

 private:
  std::vector<uint8_t> bytes_;
};

// Four bytes of seven bits each; writeError for what needs more.
void write_sync_safe_integer(streamOut& out, unsigned int value);
void write_big_endian(streamOut& out, unsigned int value);

// writeError for a frame of a size that no tag is read with.
void WriteFrame_v3(streamOut& out, const t_frame& frame);
void WriteFrame_v4(streamOut& out, const t_frame& frame);

}  // namespace wavecodec::id3parser
