#include "rehearsal.h"

#include <algorithm>
#include <cstdlib>
#include <system_error>
#include <vector>

#include "error.h"
#include "input_file.h"
#include "little_endian.h"
#include "output_file.h"
#include "wave_layout.h"

namespace wavehost {

namespace fs = std::filesystem;

namespace {

constexpr uint64_t kRiffSizePosition = 4;
constexpr uint64_t kChunkHeaderSize = 8;

template <size_t size>
void WriteNumber(OutputFile& output, uint64_t position, uint64_t number) {
  std::vector<std::byte> bytes;
  AppendLittleEndian(bytes, number, size);
  output.WriteAt(static_cast<off_t>(position), bytes);
}

// The audio that is left: a frame; an odd number of bytes stays odd, so that padding stays.
uint64_t KeptAudio(const WaveLayout& layout) {
  constexpr uint64_t kUsualFrame = 4;
  const uint64_t size = layout.DataSize();
  const uint64_t frame = layout.block_align == 0 ? kUsualFrame : layout.block_align;
  return std::min(size, frame + (size + frame) % 2);
}

// Makes the stored sizes smaller by the audio that was left out. Sizes that stand for "see ds64" or
// "unknown" stay.
void WriteSizes(OutputFile& output, const WaveLayout& layout, uint64_t left_out) {
  if (layout.riff_size != kSizeIn64Bits) {
    WriteNumber<4>(output, kRiffSizePosition, layout.riff_size - left_out);
  }
  if (layout.data_size_field != kSizeIn64Bits) {
    WriteNumber<4>(output, layout.data_begin - 4, layout.data_size_field - left_out);
  }
  if (!layout.ds64) return;
  if (layout.ds64_riff_size >= left_out) {
    WriteNumber<8>(output, *layout.ds64, layout.ds64_riff_size - left_out);
  }
  if (layout.ds64_data_size >= left_out) {
    WriteNumber<8>(output, *layout.ds64 + 8, layout.ds64_data_size - left_out);
  }
}

void Check(const InputFile& input, const WaveLayout& layout) {
  constexpr uint64_t kMostBesidesAudio = uint64_t{1} << 30U;
  const bool is_enclosed = layout.riff_size == kSizeIn64Bits ||
                           kChunkHeaderSize + uint64_t{layout.riff_size} >= layout.data_end;
  if (!is_enclosed) throw Error("its header does not enclose its audio");
  if (input.Size() - layout.DataSize() > kMostBesidesAudio) {
    throw Error("there is too much besides audio in it");
  }
}

}  // namespace

TemporaryFolder::TemporaryFolder() {
  std::error_code failure;
  std::string name = (fs::temp_directory_path(failure) / "wavehost-XXXXXX").native();
  if (failure) throw Error("there is no folder for temporary files: " + failure.message());
  if (mkdtemp(name.data()) == nullptr) throw SystemError("cannot make a temporary folder");
  path_ = name;
}

TemporaryFolder::~TemporaryFolder() {
  std::error_code failure;
  fs::remove_all(path_, failure);
}

Rehearsal::Rehearsal(const std::string& file) : copy_(folder_.Path() / "rehearsal.wav") {
  const InputFile input(file);
  const auto layout = FindAudio(input);
  if (!layout) throw Error("no audio is found in it");
  Check(input, *layout);
  is_rf64_ = layout->is_rf64;
  tells_layout_ = !is_rf64_ || layout->data_size_field != kSizeIn64Bits ||
                  input.Size() - layout->data_begin < kSizeIn64Bits;
  const uint64_t kept = KeptAudio(*layout);
  OutputFile output(copy_, false);
  const auto write = [&](std::span<const std::byte> piece) { output.Write(piece); };
  input.ForEachPiece(0, layout->data_begin + kept, write);
  input.ForEachPiece(layout->data_end, input.Size(), write);
  WriteSizes(output, *layout, layout->DataSize() - kept);
  output.Commit();
}

std::string Rehearsal::FreshCopy() const {
  const fs::path fresh = folder_.Path() / "copy.wav";
  std::error_code failure;
  fs::copy_file(copy_, fresh, fs::copy_options::overwrite_existing, failure);
  if (failure) throw Error("cannot copy a temporary file: " + failure.message());
  return fresh.native();
}

bool Rehearsal::HasRoomFor(uint64_t size) const {
  return is_rf64_ || size <= uint64_t{kSizeIn64Bits} + kChunkHeaderSize;
}

}  // namespace wavehost
