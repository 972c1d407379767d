#include "tags/set/tag_block.h"

#include "support/byte_order.h"
#include "support/utf8.h"

namespace wavecodec {

void TagBlockWriter::Append(std::string_view text) {
  const auto* bytes = reinterpret_cast<const uint8_t*>(text.data());
  size_t left = text.size();
  while (left != 0) {
    size_t length = AsciiRun(bytes, left);
    if (length != 0) {
      WriteUnitsLE(Next, bytes, length);
      Next += 2 * length;
    } else {
      uint32_t c = 0;
      length = ReadUtf8Sequence(bytes, left, c);
      WriteU16LE(Next, static_cast<uint16_t>(c));
      Next += 2;
    }
    bytes += length;
    left -= length;
  }
}

void TagBlockWriter::EndText() {
  WriteU16LE(Next, 0);
  Next += 2;
}

void TagBlockWriter::Begin(std::string_view name) {
  Item = Next;
  Next += 4;
  Append(name);
  EndText();
}

void TagBlockWriter::EndItem() {
  EndText();
  WriteU32LE(Item, static_cast<uint32_t>(Next - Item));
  ++Items;
}

uint8_t* TagBlockWriter::Begin(std::string_view name, std::string_view value, size_t payload) {
  Begin(name);
  Append(value);
  EndItem();
  WriteU32LE(Item, static_cast<uint32_t>(static_cast<size_t>(Next - Item) + payload));
  uint8_t* const place = Next;
  Next += payload;
  return place;
}

void TagBlockWriter::Drop() {
  Next = Item;
  --Items;
}

size_t TagBlockWriter::Finish() {
  WriteU32LE(Block, Items);
  return static_cast<size_t>(Next - Block);
}

}  // namespace wavecodec
