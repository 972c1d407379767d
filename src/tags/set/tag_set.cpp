#include "tags/set/tag_set.h"

#include <algorithm>
#include <cstring>
#include <new>
#include <utility>

#include "support/byte_order.h"
#include "support/utf8.h"

namespace wavecodec {
namespace {

XMem CopyOf(std::span<const uint8_t> bytes) {
  XMem copy;
  if (!copy.SetSize(bytes.size())) throw std::bad_alloc();
  if (!bytes.empty()) std::memcpy(copy.Data(), bytes.data(), bytes.size());
  return copy;
}

size_t ItemSizeUTF8Of(const NTag::Entry& entry) {
  return 4 + entry.Name.size() + 1 + entry.Value.size() + 1 + entry.Data.size();
}

// The text at the front of `left`, to its zero unit or the end, in `text`; takes both off.
template <typename Unit>
void TakeText(std::span<const uint8_t>& left, std::string& text) {
  constexpr size_t kUnit = sizeof(Unit);
  size_t units = 0;
  const auto unit_at = [&](size_t index) -> uint32_t {
    const uint8_t* at = left.data() + index * kUnit;
    return kUnit == 1 ? at[0] : ReadU16LE(at);
  };
  const size_t most = left.size() / kUnit;
  text.clear();
  for (; units < most && unit_at(units) != 0; ++units) {
    if constexpr (kUnit == 1) {
      text += static_cast<char>(unit_at(units));
    } else {
      AppendUtf8Sequence(text, unit_at(units));
    }
  }
  left = left.subspan(std::min(units + 1, most) * kUnit);
}

}  // namespace

NTag::Entry NTag::EntryOf(const Record& record) const {
  const uint8_t* payload = record.Payload == 0 ? nullptr : Payloads[record.Payload - 1].Data();
  return {NameOf(record), ValueOf(record), {payload, PayloadSize(record)}};
}

STInternalTag NTag::operator[](size_t index) const {
  const Entry entry = At(index);
  return {FromUtf8(entry.Name), FromUtf8(entry.Value), CopyOf(entry.Data)};
}

void NTag::Destroy() {
  Records.clear();
  Texts.clear();
  Payloads.clear();
  Index.clear();
  Indexed = 0;
}

Utf8Run NTag::AppendText(std::string_view text) {
  Utf8Run run = ScanUtf8(text);
  if (run.Bytes == text.size() || text[run.Bytes] == 0) {
    Texts += text.substr(0, run.Bytes);
  } else {
    const std::string repaired = ToWholeUtf8(FromUtf8(text));
    run = ScanUtf8(repaired);
    Texts.append(repaired, 0, run.Bytes);
  }
  return run;
}

// A record with its texts at the end of Texts, in which `name` and `value` must not lie.
NTag::Record NTag::MakeRecord(std::string_view name, std::string_view value) {
  if (Records.capacity() == 0) {  // an ordinary file's tags, at once
    constexpr size_t kOrdinaryTexts = 1000;
    Records.reserve(kIndexFrom);
    Texts.reserve(kOrdinaryTexts);
  }
  Record record;
  record.Text = Texts.size();
  record.Name = AppendText(name);
  record.Value = AppendText(value);
  return record;
}

void NTag::AddTag(std::string_view name, std::string_view value) {
  Records.push_back(MakeRecord(name, value));
}

void NTag::AddTag(std::string_view name, std::span<const uint8_t> payload) {
  Put(Count(), {name, {}, payload}, CopyOf(payload));
}

void NTag::AddTag(const STInternalTag& tag) {
  const std::string value = ToWholeUtf8(tag.Value);
  Put(Count(), {ToWholeUtf8(tag.Name), value, {}}, XMem(tag.Data));
}

void NTag::Put(size_t index, const Entry& entry, XMem&& payload) {
  Record record = MakeRecord(entry.Name, entry.Value);
  if (!payload.IsEmpty()) {
    Payloads.push_back(std::move(payload));
    record.Payload = Payloads.size();
  }
  if (index == Count()) {
    Records.push_back(record);
  } else {
    Records[index] = record;
  }
}

template <typename Predicate>
void NTag::RemoveIf(Predicate goes) {
  std::erase_if(Records, [&](const Record& record) {
    if (!goes(record)) return false;
    if (record.Payload != 0) Payloads[record.Payload - 1].Free();
    return true;
  });
  Index.clear();
  Indexed = 0;
}

void NTag::RemoveTag(size_t index) {
  RemoveIf([&](const Record& record) { return &record == &Records[index]; });
}

bool NTag::RemoveTag(std::string_view name) {
  if (Find(name) == kNone) return false;
  RemoveIf([&](const Record& record) { return SameName(NameOf(record), name); });
  return true;
}

// The index slot that holds the first entry of a name, or the free one where it belongs.
size_t NTag::SlotOf(std::string_view name) const {
  const size_t mask = Index.size() - 1;
  size_t slot = HashName(name) & mask;
  while (Index[slot] != 0 && !SameName(NameOf(Records[Index[slot] - 1]), name))
    slot = (slot + 1) & mask;
  return slot;
}

// Brings the index up to the present entries, which take at most half of its places.
void NTag::MakeIndex() const {
  if (Index.size() < 2 * Count()) {
    size_t size = 4 * kIndexFrom;
    while (size < 4 * Count()) size *= 2;
    Index.assign(size, 0);
    Indexed = 0;
  }
  for (; Indexed < Count(); ++Indexed) {
    uint32_t& place = Index[SlotOf(NameOf(Records[Indexed]))];
    if (place == 0) place = static_cast<uint32_t>(Indexed + 1);
  }
}

size_t NTag::Find(std::string_view name) const {
  if (Count() < kIndexFrom) {
    const auto found = std::find_if(Records.begin(), Records.end(), [&](const Record& record) {
      return SameName(NameOf(record), name);
    });
    return found == Records.end() ? kNone : static_cast<size_t>(found - Records.begin());
  }
  MakeIndex();
  const uint32_t place = Index[SlotOf(name)];
  return place == 0 ? kNone : place - 1;
}

std::optional<NTag::Entry> NTag::FindElement(std::string_view name) const {
  const size_t found = Find(name);
  if (found == kNone) return std::nullopt;
  return At(found);
}

XStr NTag::GetTagValue(std::wstring_view name) const {
  const std::optional<Entry> found = FindElement(name);
  return found ? FromUtf8(found->Value) : XStr();
}

XStr NTag::FindElementRemove(std::wstring_view name) {
  XStr value = GetTagValue(name);
  RemoveTag(name);
  return value;
}

void NTag::SetTagValue(std::wstring_view name, std::wstring_view value) {
  const size_t found = Find(ToWholeUtf8(name));
  if (found == kNone) return AddTag(name, value);
  const size_t payload = Records[found].Payload;
  Records[found] = MakeRecord(std::string(NameOf(Records[found])), ToWholeUtf8(value));
  Records[found].Payload = payload;
}

template <typename Take>
void NTag::Merge(const NTag& other, bool overwrite, Take take) {
  for (const Record& record : other.Records) {
    const Entry entry = other.EntryOf(record);
    const size_t found = Find(entry.Name);
    if (found != kNone && !overwrite) continue;
    Put(std::min(found, Count()), entry, record.Payload != 0 ? take(record.Payload - 1) : XMem());
  }
}

void NTag::MergeFrom(const NTag& other, bool overwrite) {
  if (&other == this) return;
  Merge(other, overwrite, [&](size_t payload) { return XMem(other.Payloads[payload]); });
}

void NTag::MergeFrom(NTag&& other, bool overwrite) {
  Merge(other, overwrite, [&](size_t payload) { return std::move(other.Payloads[payload]); });
  other.Destroy();
}

void NTag::DuplicateFrom(const NTag& other) {
  if (&other == this) return;
  Destroy();
  MergeFrom(other, false);
}

size_t NTag::GetRawTagItemSize(size_t index) const { return ItemSizeOf(Records[index]); }

size_t NTag::GetRawSize() const {
  size_t size = TagBlockWriter::kHeaderSize;
  for (const Record& record : Records) {
    const size_t item = ItemSizeOf(record);
    if (item <= TagBlockWriter::kMostItem) size += item;
  }
  return size;
}

void NTag::WriteRaw(TagBlockWriter& writer) const {
  for (const Record& record : Records) {
    if (ItemSizeOf(record) > TagBlockWriter::kMostItem) continue;
    const Entry entry = EntryOf(record);
    uint8_t* place = writer.Begin(entry.Name, entry.Value, entry.Data.size());
    if (!entry.Data.empty()) std::memcpy(place, entry.Data.data(), entry.Data.size());
  }
}

bool NTag::ToRawMemory(XMem& block) const {
  if (!block.SetSize(GetRawSize())) return false;
  TagBlockWriter writer(block.Data());
  WriteRaw(writer);
  writer.Finish();
  return true;
}

template <typename Unit>
void NTag::ParseBlock(std::span<const uint8_t> block) {
  constexpr size_t kSizeField = 4;
  Destroy();
  if (block.size() < kSizeField) return;
  const uint32_t count = ReadU32LE(block.data());
  block = block.subspan(kSizeField);
  std::string name;
  std::string value;
  for (uint32_t i = 0; i < count && block.size() >= kSizeField; ++i) {
    // A size with the top bit set is a negative one; no block is that large.
    const uint32_t size = ReadU32LE(block.data());
    if (size < kSizeField || size > INT32_MAX || size > block.size()) return;
    auto left = block.subspan(kSizeField, size - kSizeField);
    block = block.subspan(size);
    TakeText<Unit>(left, name);
    const bool ends_early = left.empty();
    TakeText<Unit>(left, value);
    Put(Count(), {name, value, {}}, CopyOf(left));
    if (ends_early) return;
  }
}

void NTag::InitFromRawMemory(const void* bytes, size_t length) {
  ParseBlock<uint16_t>({static_cast<const uint8_t*>(bytes), bytes != nullptr ? length : 0});
}

void NTag::InitFromRawMemoryUTF8(const void* bytes, size_t length) {
  ParseBlock<char>({static_cast<const uint8_t*>(bytes), bytes != nullptr ? length : 0});
}

size_t NTag::GetRawTagItemSizeUTF8(size_t index) const { return ItemSizeUTF8Of(At(index)); }

bool NTag::ToRawMemoryUTF8(XMem& block) const {
  size_t size = TagBlockWriter::kHeaderSize;
  for (const Record& record : Records) size += ItemSizeUTF8Of(EntryOf(record));
  if (!block.SetSize(size)) return false;
  uint8_t* next = block.Data();
  const auto put_number = [&](size_t number) {
    WriteU32LE(next, static_cast<uint32_t>(number));
    next += 4;
  };
  put_number(Count());
  for (const Record& record : Records) {
    const Entry entry = EntryOf(record);
    put_number(ItemSizeUTF8Of(entry));
    for (const std::string_view text : {entry.Name, entry.Value}) {
      next = std::copy(text.begin(), text.end(), next);
      *next++ = 0;
    }
    next = std::copy(entry.Data.begin(), entry.Data.end(), next);
  }
  return true;
}

void NTag::DropTagsBeginUnderScore(unsigned keep) {
  RemoveIf([&](const Record& record) {
    const std::string_view name = NameOf(record);
    const auto kept = [&](unsigned flag, bool is_that) { return (keep & flag) != 0 && is_that; };
    return name.starts_with('_') && !kept(NTagKeepRiff, StartsWithName(name, tag_name::kRiff)) &&
           !kept(NTagKeepCDToc, SameName(name, tag_name::kCDToc)) &&
           !kept(NTagKeepAlbumArt, StartsWithName(name, tag_name::kAlbumArt)) &&
           !kept(NTagKeepCRC, SameName(name, tag_name::kCRC));
  });
}

void NTag::RemoveAllBinaryTags() {
  RemoveIf([](const Record& record) { return record.Payload != 0; });
}

void NTag::RemoveTagsBiggerThan(size_t limit) {
  RemoveIf([&](const Record& record) {
    const size_t text = 2 * record.Name.Characters + 2 * record.Value.Characters;
    return text + PayloadSize(record) > limit;
  });
}

}  // namespace wavecodec
