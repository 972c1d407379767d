#include "id3v2/tag_writer.h"

#include <algorithm>
#include <array>
#include <limits>
#include <stdexcept>

#include "id3v2/errors.h"
#include "id3v2/tag.h"
#include "id3v2/tag_header.h"
#include "id3v2/unsynchronisation.h"
#include "support/byte_order.h"

namespace wavecodec::id3parser {
namespace {

constexpr size_t kFrameHeaderSize = 10;
constexpr uint64_t kMostPadding = 2048;  // where no old tag tells how much
constexpr size_t kPaddingPiece = 256;

unsigned int checkedFrameSize(size_t size) {
  if (size >= kFrameSizeLimit) throw writeError();
  return static_cast<unsigned int>(size);
}

void writeFlags(streamOut& out, uint8_t status, uint8_t format) {
  out.writeByte(status);
  out.writeByte(format);
}

uint64_t paddingOf(uint64_t total, uint64_t available, uint64_t most) {
  if (total <= available && available - total <= most) return available - total;
  return std::min(most, kMostPadding);
}

// The size with its padding, rounded up.
uint64_t aligned(uint64_t size, uint64_t alignment) {
  const uint64_t rest = size % alignment;
  if (rest == 0) return size;
  const uint64_t gap = alignment - rest;
  if (gap > std::numeric_limits<uint64_t>::max() - size) throw std::overflow_error("overflow");
  return size + gap;
}

void writePadding(streamOut& out, uint64_t size) {
  constexpr std::array<uint8_t, kPaddingPiece> zeros{};
  while (size > 0) {
    const auto piece = static_cast<size_t>(std::min<uint64_t>(size, zeros.size()));
    out.write(zeros.data(), piece);
    size -= piece;
  }
}

}  // namespace

void write_sync_safe_integer(streamOut& out, unsigned int value) {
  if (value >= 1U << 28) throw writeError();
  for (int shift = 21; shift >= 0; shift -= 7) {
    out.writeByte(static_cast<unsigned char>(value >> shift & 0x7F));
  }
}

void write_big_endian(streamOut& out, unsigned int value) {
  std::array<uint8_t, 4> bytes{};
  WriteU32BE(bytes.data(), value);
  out.write(bytes.data(), bytes.size());
}

void WriteFrame_v3(streamOut& out, const t_frame& frame) {
  const t_frameView payload = frame.view();
  write_big_endian(out, payload.id);
  write_big_endian(out, checkedFrameSize(payload.size));
  writeFlags(out, 0, 0);
  out.write(payload.data, payload.size);
}

void WriteFrame_v4(streamOut& out, const t_frame& frame) {
  constexpr uint8_t kUnsynchronisedWithLength = 0x03;
  constexpr size_t kLengthSize = 4;
  const t_frameView payload = frame.view();
  write_big_endian(out, payload.id);
  if (!test_for_false_sync(payload.data, payload.size)) {
    write_sync_safe_integer(out, checkedFrameSize(payload.size));
    writeFlags(out, 0, 0);
    out.write(payload.data, payload.size);
    return;
  }
  std::vector<uint8_t> safe;
  unsync(safe, payload.data, payload.size);
  write_sync_safe_integer(out, checkedFrameSize(safe.size() + kLengthSize));
  writeFlags(out, 0, kUnsynchronisedWithLength);
  write_sync_safe_integer(out, static_cast<unsigned int>(payload.size));
  out.write(safe.data(), safe.size());
}

void t_tag::WriteContent_v3(streamOut& out) const {
  for (const t_frame& frame : frames_) WriteFrame_v3(out, frame);
}

void t_tag::WriteContent_v4(streamOut& out) const {
  for (const t_frame& frame : frames_) WriteFrame_v4(out, frame);
}

void t_tag::Write(streamOut& out, uint64_t availableSize, uint64_t maxPadding,
                  uint64_t alignment) const {
  // Set whether or not a frame needed it, other than in ID3v2.3, where it would mean the whole tag.
  constexpr uint8_t kUnsynchronised = 0x80;
  streamOutBuffer body;
  size_t size = 0;
  for (const t_frame& frame : frames_) size += kFrameHeaderSize + frame.data.get_size();
  switch (revision_) {
    case revision3:
      body.reserve(size);
      WriteContent_v3(body);
      break;
    case revision4:
      body.reserve(size + size / 64);  // what unsynchronisation adds to a photograph
      WriteContent_v4(body);
      break;
    default:
      throw writeError();
  }
  const uint64_t total = kTagHeaderSize + body.bytes().size();
  const uint64_t whole = aligned(total + paddingOf(total, availableSize, maxPadding), alignment);
  const uint64_t field = whole - kTagHeaderSize;
  if (field > std::numeric_limits<uint32_t>::max()) throw std::overflow_error("overflow");
  streamOutBuffer header;
  header.write("ID3", 3);
  header.writeByte(static_cast<unsigned char>(revision_));
  header.writeByte(0);
  header.writeByte(revision_ == revision4 ? kUnsynchronised : uint8_t{0});
  write_sync_safe_integer(header, static_cast<unsigned int>(field));
  out.write(header.bytes().data(), header.bytes().size());
  out.write(body.bytes().data(), body.bytes().size());
  writePadding(out, whole - total);
}

}  // namespace wavecodec::id3parser
