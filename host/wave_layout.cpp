#include "wave_layout.h"

#include <algorithm>
#include <array>
#include <string_view>

#include "little_endian.h"
#include "tag_block.h"

namespace wavehost {
namespace {

constexpr size_t kHeaderSize = 12;
constexpr size_t kChunkHeaderSize = 8;

// Small reads that lie close together cost one read of the file.
class Window {
 public:
  explicit Window(const InputFile& file) : file_(file) {}
  // Empty when the file ends before.
  std::span<const std::byte> Bytes(uint64_t position, size_t size) {
    if (position < start_ || position + size > start_ + filled_) {
      start_ = position;
      filled_ = file_.ReadAt(position, buffer_);
    }
    if (position + size > start_ + filled_) return {};
    return std::span(buffer_).subspan(static_cast<size_t>(position - start_), size);
  }

 private:
  const InputFile& file_;
  std::array<std::byte, 65536> buffer_;
  uint64_t start_ = 0;
  size_t filled_ = 0;
};

struct Chunk {
  std::string_view id;  // good until the window moves
  uint32_t size = 0;
};

std::optional<Chunk> ReadHeader(Window& window, uint64_t position) {
  const auto bytes = window.Bytes(position, kChunkHeaderSize);
  if (bytes.empty()) return std::nullopt;
  return Chunk{{reinterpret_cast<const char*>(bytes.data()), 4},
               static_cast<uint32_t>(LittleEndian(bytes.subspan(4)))};
}

void ReadDs64(Window& window, uint64_t position, WaveLayout& layout) {
  constexpr size_t kNeeded = 16;
  const auto bytes = window.Bytes(position, kNeeded);
  if (bytes.empty()) return;
  layout.ds64 = position;
  layout.ds64_riff_size = LittleEndian(bytes.first(8));
  layout.ds64_data_size = LittleEndian(bytes.subspan(8));
}

uint16_t ReadBlockAlign(Window& window, uint64_t position) {
  constexpr size_t kOffset = 12;
  const auto bytes = window.Bytes(position + kOffset, 2);
  return bytes.empty() ? uint16_t{0} : static_cast<uint16_t>(LittleEndian(bytes));
}

bool HoldsTags(Window& window, const Chunk& chunk, uint64_t position) {
  constexpr std::string_view kInfo = "INFO";
  if (SameName(chunk.id, "id3 ")) return true;
  if (!SameName(chunk.id, "LIST")) return false;
  const auto type = window.Bytes(position, kInfo.size());
  return !type.empty() &&
         SameName({reinterpret_cast<const char*>(type.data()), type.size()}, kInfo);
}

// The bytes of the `data` chunk when `left` are left from its start on.
uint64_t AudioSize(const WaveLayout& layout, uint64_t left) {
  if (!layout.is_rf64 || layout.data_size_field != kSizeIn64Bits) {
    return std::min<uint64_t>(layout.data_size_field, left);
  }
  return layout.ds64_data_size == 0 ? left : std::min(layout.ds64_data_size, left);
}

}  // namespace

std::optional<WaveLayout> FindAudio(const InputFile& file) {
  Window window(file);
  const auto header = ReadHeader(window, 0);
  WaveLayout layout;
  if (!header || (!SameName(header->id, "RIFF") && !SameName(header->id, "RF64"))) return {};
  layout.is_rf64 = SameName(header->id, "RF64");
  layout.riff_size = header->size;
  const bool whole_file = layout.is_rf64 || layout.riff_size == kSizeIn64Bits;
  const uint64_t end = whole_file ? file.Size() : kChunkHeaderSize + uint64_t{layout.riff_size};
  bool found = false;
  for (uint64_t position = kHeaderSize; position < end;) {
    const auto chunk = ReadHeader(window, position);
    if (!chunk) break;
    position += kChunkHeaderSize;
    uint64_t size = chunk->size;
    if (SameName(chunk->id, "ds64") && !layout.ds64) {
      ReadDs64(window, position, layout);
    } else if (SameName(chunk->id, "fmt ") && layout.block_align == 0) {
      layout.block_align = ReadBlockAlign(window, position);
    } else if (SameName(chunk->id, "data") && !found) {
      found = true;
      layout.data_size_field = chunk->size;
      layout.data_begin = position;
      size = AudioSize(layout, file.Size() - std::min(position, file.Size()));
      layout.data_end = position + size;
    } else if (!layout.has_tags) {
      layout.has_tags = HoldsTags(window, *chunk, position);
    }
    position += size + size % 2;
  }
  if (!found) return std::nullopt;
  return layout;
}

}  // namespace wavehost
