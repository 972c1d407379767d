#include "wave_writer.h"

#include <algorithm>
#include <array>
#include <string_view>
#include <utility>

#include "audio_format.h"
#include "error.h"
#include "little_endian.h"

namespace wavehost {
namespace {

constexpr uint32_t kUnknownSize = 0xFFFFFFFF;  // in RF64: see `ds64`
constexpr uint32_t kDs64Size = 28;
constexpr uint32_t kChunkHeaderSize = 8;

class HeaderBytes {
 public:
  void Text(std::string_view text) { Append(text.data(), text.size()); }
  template <typename Integer>
  void Number(Integer value) {
    AppendLittleEndian(bytes_, value, sizeof value);
  }
  void Chunk(std::string_view id, uint32_t size) {
    Text(id);
    Number(size);
  }
  void Zeros(size_t count) { bytes_.resize(bytes_.size() + count); }
  void Append(const void* data, size_t size) {
    const auto* const first = static_cast<const std::byte*>(data);
    bytes_.insert(bytes_.end(), first, first + size);
  }
  std::vector<std::byte> Take() { return std::move(bytes_); }

 private:
  std::vector<std::byte> bytes_;
};

uint32_t FmtSize(const WAVEFORMATEXTENSIBLE& format) {
  if (IsExtensible(format)) return sizeof(WAVEFORMATEXTENSIBLE);
  return format.Format.wFormatTag == WaveFormatPCM ? 16 : sizeof(tWAVEFORMATEX);
}

uint32_t FactSize(const WAVEFORMATEXTENSIBLE& format) {
  return EffectiveTag(format) == WaveFormatPCM ? 0 : 4;
}

uint32_t Size32(uint64_t size) {
  return static_cast<uint32_t>(std::min<uint64_t>(size, kUnknownSize));
}

// What the RIFF chunk's size counts, without the `ds64` chunk or its place.
uint64_t RiffSize(const WAVEFORMATEXTENSIBLE& format, uint64_t data_bytes) {
  const uint32_t fact = FactSize(format);
  return 4 + kChunkHeaderSize + FmtSize(format) + (fact == 0 ? 0 : kChunkHeaderSize + fact) +
         kChunkHeaderSize + data_bytes + data_bytes % 2;
}

}  // namespace

bool WaveWriter::NeedsRF64(uint64_t data_bytes) const {
  return RiffSize(format_, data_bytes) + (reserve_ ? kChunkHeaderSize + kDs64Size : 0) >=
         kUnknownSize;
}

std::vector<std::byte> WaveWriter::Header(std::optional<uint64_t> data_bytes) const {
  const bool rf64 = data_bytes && NeedsRF64(*data_bytes);
  const uint64_t data = data_bytes.value_or(0);
  const uint64_t riff = RiffSize(format_, data) + (reserve_ ? kChunkHeaderSize + kDs64Size : 0);
  const uint64_t frames = WholeFrames(format_, data);
  const auto size32 = [&](uint64_t size) {
    return rf64 || !data_bytes ? kUnknownSize : Size32(size);
  };

  HeaderBytes header;
  header.Chunk(rf64 ? "RF64" : "RIFF", size32(riff));
  header.Text("WAVE");
  if (rf64) {
    header.Chunk("ds64", kDs64Size);
    header.Number(riff);
    header.Number(data);
    header.Number(frames);
    header.Number(uint32_t{0});  // entries in its table of other long chunks
  } else if (reserve_) {
    header.Chunk("JUNK", kDs64Size);
    header.Zeros(kDs64Size);
  }
  header.Chunk("fmt ", FmtSize(format_));
  header.Append(&format_, FmtSize(format_));
  if (FactSize(format_) != 0) {
    header.Chunk("fact", FactSize(format_));
    header.Number(data_bytes ? Size32(frames) : kUnknownSize);
  }
  header.Chunk("data", size32(data));
  return header.Take();
}

void WaveWriter::Begin(const WAVEFORMATEXTENSIBLE& format, std::optional<uint64_t> bytes) {
  format_ = format;
  expected_ = bytes;
  reserve_ = bytes ? NeedsRF64(*bytes) : output_.IsSeekable();
  output_.Write(Header(bytes));
}

void WaveWriter::Write(std::span<const std::byte> samples) {
  output_.Write(samples);
  written_ += samples.size();
}

void WaveWriter::Finish() {
  if (written_ % 2 != 0) output_.Write(std::array{std::byte{0}});
  if (written_ == expected_ || (!expected_ && !output_.IsSeekable())) return;
  if (!output_.IsSeekable() || (NeedsRF64(written_) && !reserve_)) {
    throw Error("the audio has another length than its file tells; the output's header is wrong");
  }
  output_.WriteAt(0, Header(written_));
}

}  // namespace wavehost
