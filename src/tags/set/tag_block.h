// The tag block: named entries in one piece of memory, as hosts exchange them. Little-endian:
//
//   4  number of items
//   then each item:
//   4  size of the whole item
//      name and value in 16-bit units, each ended by a zero unit
//      the payload
//
// A unit is the low 16 bits of a character; there are no surrogate pairs.
#pragma once

#include <cstddef>
#include <cstdint>
#include <string_view>

namespace wavecodec {

// Writes a block item by item into memory that is large enough (see ItemSize). Text is UTF-8.
class TagBlockWriter {
 public:
  static constexpr size_t kHeaderSize = 4;
  // The size field of an item is signed; what is larger is left out of a block.
  static constexpr size_t kMostItem = INT32_MAX;
  // Bytes of an item whose texts have that many characters.
  [[nodiscard]] static size_t ItemSize(size_t name_length, size_t value_length, size_t payload) {
    return 4 + 2 * (name_length + 1) + 2 * (value_length + 1) + payload;
  }

  explicit TagBlockWriter(uint8_t* block) : Block(block), Next(block + kHeaderSize) {}

  // Writes all of an item but its payload, for which it returns the place.
  uint8_t* Begin(std::string_view name, std::string_view value, size_t payload);
  // Writes an item whose value follows with Append, piece by piece, and ends with EndItem.
  void Begin(std::string_view name);
  void Append(std::string_view text);
  void EndItem();
  // Takes the item begun last back.
  void Drop();
  // Writes the number of items; returns the bytes of the block.
  size_t Finish();

 private:
  void EndText();

  uint8_t* const Block;
  uint8_t* Item = nullptr;
  uint8_t* Next;
  uint32_t Items = 0;
};

}  // namespace wavecodec
