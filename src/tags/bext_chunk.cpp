#include "tags/bext_chunk.h"

#include <algorithm>
#include <array>
#include <cstring>

#include "module/report/std_report.h"
#include "support/byte_order.h"
#include "support/text_scan.h"
#include "support/windows1252.h"

namespace wavecodec {
namespace {

struct Field {
  std::wstring_view Name;
  size_t Offset;
  size_t Length;
};

constexpr std::array<Field, 5> kTextFields = {{{L"Description", 0, 256},
                                               {L"Originator", 256, 32},
                                               {L"OrigReference", 288, 32},
                                               {L"OrigDate", 320, 10},
                                               {L"OrigTime", 330, 8}}};
constexpr std::wstring_view kTimeReference = L"TimeReference";
constexpr std::wstring_view kCodingHistory = L"CodingHistory";
constexpr size_t kTimeReferenceOffset = 338;
constexpr size_t kVersionOffset = 346;
constexpr size_t kFixedSize = 602;  // the coding history follows

// Makes the body `size` bytes long; what is new in it is zero.
void Grow(XMem& body, size_t size) {
  const size_t old = body.Size();
  if (!body.SetSize(size, true)) throw std::bad_alloc();
  std::memset(body.Data() + old, 0, size - old);
}

void StoreTimeReference(uint8_t* field, int64_t value) {
  constexpr int64_t kHalf = int64_t{1} << 32;
  const int64_t high = value / kHalf;
  WriteU32LE(field, static_cast<uint32_t>(value - high * kHalf));
  WriteU32LE(field + 4, static_cast<uint32_t>(high));
}

// Every further history is written over the one before, in a body that grows all the same; a
// shorter one leaves zeros behind it.
void StoreCodingHistory(XMem& body, std::wstring_view value) {
  const size_t length = To1252(value).size();
  Grow(body, (body.Size() + length + 1 + 3) / 4 * 4);
  std::memset(body.Data() + kFixedSize, 0, body.Size() - kFixedSize);
  clRIFFBEXTChunk::StoreBEXT(body.Data() + kFixedSize, length, value);
}

// True when the tag belongs into the chunk; it is there then.
bool Store(XMem& body, const STInternalTag& tag) {
  for (const Field& field : kTextFields) {
    if (!EqualNoCase(tag.Name, field.Name)) continue;
    std::memset(body.Data() + field.Offset, 0, field.Length);
    clRIFFBEXTChunk::StoreBEXT(body.Data() + field.Offset, field.Length, tag.Value);
    return true;
  }
  if (EqualNoCase(tag.Name, kTimeReference)) {
    StoreTimeReference(body.Data() + kTimeReferenceOffset, LeadingInt64(tag.Value));
    return true;
  }
  if (!EqualNoCase(tag.Name, kCodingHistory)) return false;
  StoreCodingHistory(body, tag.Value);
  return true;
}

}  // namespace

void clRIFFBEXTChunk::AddElement(std::wstring_view name, const uint8_t* bytes, size_t max_length,
                                 NTag& tags) {
  const XStr text = From1252(bytes, max_length);
  const std::wstring_view trimmed = Trimmed(text);
  if (!trimmed.empty()) tags.AddTag(name, trimmed);
}

void clRIFFBEXTChunk::StoreBEXT(uint8_t* field, size_t max_length, std::wstring_view text) {
  const std::string bytes = To1252(text);
  std::copy_n(bytes.begin(), std::min(bytes.size(), max_length), field);
}

bool clRIFFBEXTChunk::InitFrom(const uint8_t* body, size_t size, NTag& tags,
                               const STNStdReport& report) {
  const TraceScope trace(report, "InitFrom");
  tags.Destroy();
  if (body == nullptr || size < kFixedSize) return trace.Leave(false);
  DebugLine(report) << L"Decoding BEXT chunk";
  for (const Field& field : kTextFields) {
    AddElement(field.Name, body + field.Offset, field.Length, tags);
  }
  const uint64_t low = ReadU32LE(body + kTimeReferenceOffset);
  const uint64_t high = ReadU32LE(body + kTimeReferenceOffset + 4);
  tags.AddTag(kTimeReference, DecimalText(high << 32 | low));
  AddElement(kCodingHistory, body + kFixedSize, size - kFixedSize, tags);
  return trace.Leave(true);
}

bool clRIFFBEXTChunk::TagsToBEXT(XMem& out, const NTag& tags, const STNStdReport& report) {
  const TraceScope trace(report, "TagsToBEXT");
  out.Free();
  Grow(out, kFixedSize);
  DebugLine(report) << L"Encoding BEXT chunk";
  bool found = false;
  for (const STInternalTag& tag : tags) found = Store(out, tag) || found;
  if (!found) out.Free();
  return trace.Leave(found);
}

void clRIFFBEXTChunk::RemoveTagsFromList(NTag& tags, const STNStdReport& report) {
  const TraceScope trace(report, "RemoveTagsFromList");
  for (const Field& field : kTextFields) tags.RemoveTag(field.Name);
  tags.RemoveTag(kTimeReference);
  tags.RemoveTag(kCodingHistory);
  trace.Leave();
}

uint16_t clRIFFBEXTChunk::Version(const uint8_t* body, size_t size) {
  return size < kVersionOffset + 2 ? uint16_t{0} : ReadU16LE(body + kVersionOffset);
}

}  // namespace wavecodec
