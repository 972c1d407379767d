#include "tags/bext_chunk.h"

#include <algorithm>
#include <array>
#include <cstring>
#include <new>
#include <string>

#include "module/report/std_report.h"
#include "support/byte_order.h"
#include "support/names.h"
#include "support/text_scan.h"
#include "support/windows1252.h"

namespace wavecodec {
namespace {

struct Field {
  std::string_view Name;
  size_t Offset;
  size_t Length;
};

constexpr std::array<Field, 5> kTextFields = {{{"Description", 0, 256},
                                               {"Originator", 256, 32},
                                               {"OrigReference", 288, 32},
                                               {"OrigDate", 320, 10},
                                               {"OrigTime", 330, 8}}};
constexpr std::string_view kTimeReference = "TimeReference";
constexpr std::string_view kCodingHistory = "CodingHistory";
constexpr size_t kTimeReferenceOffset = 338;
constexpr size_t kVersionOffset = 346;
constexpr size_t kFixedSize = 602;  // the coding history follows

uint8_t* At(std::string& body, size_t offset) {
  return reinterpret_cast<uint8_t*>(body.data()) + offset;
}

void StoreTimeReference(uint8_t* field, int64_t value) {
  constexpr int64_t kHalf = int64_t{1} << 32;
  const int64_t high = value / kHalf;
  WriteU32LE(field, static_cast<uint32_t>(value - high * kHalf));
  WriteU32LE(field + 4, static_cast<uint32_t>(high));
}

// Every further history is written over the one before, in a body that grows all the same; a
// shorter one leaves zeros behind it.
void StoreCodingHistory(std::string& body, std::string_view value) {
  const std::string text = To1252(value);
  std::fill_n(At(body, kFixedSize), std::strlen(body.c_str() + kFixedSize), uint8_t{0});
  body.resize((body.size() + text.size() + 1 + 3) / 4 * 4);
  std::copy(text.begin(), text.end(), At(body, kFixedSize));
}

// True when the tag belongs into the chunk; it is there then.
bool Store(std::string& body, const NTag::Entry& tag) {
  for (const Field& field : kTextFields) {
    if (!SameName(tag.Name, field.Name)) continue;
    std::fill_n(At(body, field.Offset), field.Length, uint8_t{0});
    clRIFFBEXTChunk::StoreBEXT(At(body, field.Offset), field.Length, tag.Value);
    return true;
  }
  if (SameName(tag.Name, kTimeReference)) {
    StoreTimeReference(At(body, kTimeReferenceOffset), LeadingInt64(tag.Value));
    return true;
  }
  if (!SameName(tag.Name, kCodingHistory)) return false;
  StoreCodingHistory(body, tag.Value);
  return true;
}

}  // namespace

void clRIFFBEXTChunk::AddElement(std::string_view name, const uint8_t* bytes, size_t max_length,
                                 NTag& tags) {
  const std::string text = From1252(bytes, max_length);
  const std::string_view trimmed = Trimmed(text);
  if (!trimmed.empty()) tags.AddTag(name, trimmed);
}

void clRIFFBEXTChunk::StoreBEXT(uint8_t* field, size_t max_length, std::string_view text) {
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
  tags.AddTag(kTimeReference, std::to_string(high << 32 | low));
  AddElement(kCodingHistory, body + kFixedSize, size - kFixedSize, tags);
  return trace.Leave(true);
}

bool clRIFFBEXTChunk::TagsToBEXT(XMem& out, const NTag& tags, const STNStdReport& report) {
  const TraceScope trace(report, "TagsToBEXT");
  out.Free();
  DebugLine(report) << L"Encoding BEXT chunk";
  std::string body(kFixedSize, '\0');
  bool found = false;
  for (size_t i = 0; i < tags.Count(); ++i) found = Store(body, tags.At(i)) || found;
  if (found && !out.SetSize(body.size())) throw std::bad_alloc();
  if (found) std::copy(body.begin(), body.end(), out.Data());
  return trace.Leave(found);
}

bool clRIFFBEXTChunk::KeepOldBytes(XMem& body, const XMem& replaced) {
  if (body.Size() < kFixedSize || replaced.Size() < kFixedSize) return true;
  const uint8_t* const old = replaced.Data();
  const auto keep = [&](size_t from, size_t to) {
    std::copy(old + from, old + to, body.Data() + from);
  };
  const auto says_the_same = [&](size_t offset, size_t old_length, size_t length) {
    const std::string before = From1252(old + offset, old_length);
    return Trimmed(before) == Trimmed(From1252(body.Data() + offset, length));
  };
  keep(kVersionOffset, kFixedSize);
  // A time past 63 bits is told and taken as the nearest one.
  const uint64_t time = ReadU64LE(old + kTimeReferenceOffset);
  if (ReadU64LE(body.Data() + kTimeReferenceOffset) == std::min<uint64_t>(time, INT64_MAX)) {
    keep(kTimeReferenceOffset, kVersionOffset);
  }
  for (const Field& field : kTextFields) {
    if (says_the_same(field.Offset, field.Length, field.Length)) {
      keep(field.Offset, field.Offset + field.Length);
    }
  }
  if (!says_the_same(kFixedSize, replaced.Size() - kFixedSize, body.Size() - kFixedSize))
    return true;
  if (!body.SetSize(replaced.Size(), true)) return false;
  keep(kFixedSize, replaced.Size());
  return true;
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
