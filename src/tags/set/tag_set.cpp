#include "tags/set/tag_set.h"

#include <algorithm>
#include <cstring>

#include "support/byte_order.h"

namespace wavecodec {
namespace {

// Differs from run to run, so that no file can be made whose names all meet in one place of an
// index.
uint32_t HashSeed() {
  static const char anchor = 0;
  return static_cast<uint32_t>(reinterpret_cast<uintptr_t>(&anchor) >> 4);
}

// FNV-1a over the folded name.
uint32_t HashOfName(std::wstring_view name) {
  uint32_t hash = 2166136261U ^ HashSeed();
  for (const wchar_t c : name) {
    hash = (hash ^ static_cast<uint32_t>(FoldCase(c))) * 16777619U;
  }
  return hash ^ hash >> 15;
}

// A zero character ends a text.
std::wstring_view ToZero(std::wstring_view text) { return text.substr(0, text.find(L'\0')); }

// The text at the front of `left`, to its zero unit or the end; takes both off.
template <typename Unit>
XStr TakeText(std::span<const uint8_t>& left) {
  constexpr size_t kUnit = sizeof(Unit);
  size_t units = 0;
  const auto unit_at = [&](size_t index) {
    const uint8_t* at = left.data() + index * kUnit;
    return kUnit == 1 ? at[0] : ReadU16LE(at);
  };
  const size_t most = left.size() / kUnit;
  while (units < most && unit_at(units) != 0) ++units;
  XStr text;
  if constexpr (kUnit == 1) {
    text = FromUtf8({reinterpret_cast<const char*>(left.data()), units});
  } else {
    text.resize(units);
    for (size_t i = 0; i < units; ++i) text[i] = static_cast<wchar_t>(unit_at(i));
  }
  left = left.subspan(std::min(units + 1, most) * kUnit);
  return text;
}

}  // namespace

void TagBlockWriter::Append(std::wstring_view text) {
  WriteUnitsLE(Next, text.data(), text.size());
  Next += 2 * text.size();
}

void TagBlockWriter::BeginValue(std::wstring_view name, size_t value_length, size_t payload) {
  Item = Next;
  WriteU32LE(Item, static_cast<uint32_t>(ItemSize(name.size(), value_length, payload)));
  Next += 4;
  Append(name);
  EndText();
  ++Items;
}

uint8_t* TagBlockWriter::Begin(std::wstring_view name, std::wstring_view value, size_t payload) {
  BeginValue(name, value.size(), payload);
  Append(value);
  EndText();
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

void NTag::Destroy() {
  Tags.clear();
  Index.clear();
  Indexed = 0;
}

void NTag::AddTag(std::wstring_view name, std::wstring_view value) {
  AddTag({XStr(ToZero(name)), XStr(ToZero(value)), {}});
}

void NTag::AddTag(std::wstring_view name, const void* bytes, size_t length) {
  STInternalTag tag{XStr(name), {}, {}};
  if (!tag.Data.SetSize(length)) throw std::bad_alloc();
  if (length != 0) std::memcpy(tag.Data.Data(), bytes, length);
  AddTag(std::move(tag));
}

void NTag::AddTag(STInternalTag tag) {
  if (Tags.capacity() == 0) Tags.reserve(kIndexFrom);  // an ordinary file's tags, at once
  Tags.push_back(std::move(tag));
}

template <typename Predicate>
void NTag::RemoveIf(Predicate goes) {
  Tags.erase(std::remove_if(Tags.begin(), Tags.end(), goes), Tags.end());
  Index.clear();
  Indexed = 0;
}

void NTag::RemoveTag(size_t index) {
  RemoveIf([&](const STInternalTag& tag) { return &tag == &Tags[index]; });
}

bool NTag::RemoveTag(std::wstring_view name) {
  const size_t before = Count();
  RemoveIf([&](const STInternalTag& tag) { return EqualNoCase(tag.Name, name); });
  return Count() != before;
}

void NTag::AddToIndex(size_t entry) const {
  const std::wstring_view name = Tags[entry].Name;
  const size_t mask = Index.size() - 1;
  size_t slot = HashOfName(name) & mask;
  for (; Index[slot] != 0; slot = (slot + 1) & mask) {
    if (EqualNoCase(Tags[Index[slot] - 1].Name, name)) return;
  }
  Index[slot] = static_cast<uint32_t>(entry + 1);
}

// Brings the index up to the present entries, of which at most half its places are taken.
void NTag::MakeIndex() const {
  if (Index.size() < 2 * Count()) {
    size_t size = 4 * kIndexFrom;
    while (size < 4 * Count()) size *= 2;
    Index.assign(size, 0);
    Indexed = 0;
  }
  while (Indexed < Count()) AddToIndex(Indexed++);
}

size_t NTag::Find(std::wstring_view name) const {
  if (Count() < kIndexFrom) {
    const auto found = std::find_if(Tags.begin(), Tags.end(), [&](const STInternalTag& tag) {
      return EqualNoCase(tag.Name, name);
    });
    return found == Tags.end() ? kNone : static_cast<size_t>(found - Tags.begin());
  }
  MakeIndex();
  const size_t mask = Index.size() - 1;
  for (size_t slot = HashOfName(name) & mask; Index[slot] != 0; slot = (slot + 1) & mask) {
    if (EqualNoCase(Tags[Index[slot] - 1].Name, name)) return Index[slot] - 1;
  }
  return kNone;
}

const STInternalTag* NTag::FindElement(std::wstring_view name) const {
  const size_t found = Find(name);
  return found == kNone ? nullptr : &Tags[found];
}

XStr NTag::FindElementRemove(std::wstring_view name) {
  const size_t found = Find(name);
  if (found == kNone) return {};
  XStr value = std::move(Tags[found].Value);
  RemoveTag(name);
  return value;
}

std::wstring_view NTag::GetTagValue(std::wstring_view name) const {
  const STInternalTag* found = FindElement(name);
  return found != nullptr ? std::wstring_view(found->Value) : std::wstring_view();
}

void NTag::SetTagValue(std::wstring_view name, std::wstring_view value) {
  const size_t found = Find(name);
  if (found == kNone) {
    AddTag(name, value);
  } else {
    Tags[found].Value = ToZero(value);
  }
}

void NTag::MergeFrom(NTag&& other, bool overwrite) {
  if (Tags.empty()) Tags.reserve(std::max(other.Count(), kIndexFrom));
  for (STInternalTag& tag : other.Tags) {
    const size_t found = Find(tag.Name);
    if (found == kNone) {
      AddTag(std::move(tag));
    } else if (overwrite) {
      Tags[found] = std::move(tag);
    }
  }
  other.Destroy();
}

void NTag::MergeFrom(const NTag& other, bool overwrite) {
  for (const STInternalTag& tag : other.Tags) {
    const size_t found = Find(tag.Name);
    if (found == kNone) {
      AddTag(tag);
    } else if (overwrite) {
      Tags[found] = tag;
    }
  }
}

void NTag::DuplicateFrom(const NTag& other) {
  Destroy();
  MergeFrom(other, false);
}

size_t NTag::GetRawTagItemSize(size_t index) const {
  const STInternalTag& tag = Tags[index];
  return TagBlockWriter::ItemSize(tag.Name.size(), tag.Value.size(), tag.Data.Size());
}

size_t NTag::GetRawSize() const {
  size_t size = TagBlockWriter::kHeaderSize;
  for (size_t i = 0; i < Count(); ++i) size += GetRawTagItemSize(i);
  return size;
}

void NTag::WriteRaw(TagBlockWriter& writer) const {
  for (const STInternalTag& tag : Tags) {
    uint8_t* place = writer.Begin(tag.Name, tag.Value, tag.Data.Size());
    if (!tag.Data.IsEmpty()) std::memcpy(place, tag.Data.Data(), tag.Data.Size());
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
  for (uint32_t i = 0; i < count && block.size() >= kSizeField; ++i) {
    // A size with the top bit set is a negative one; no block is that large.
    const uint32_t size = ReadU32LE(block.data());
    if (size < kSizeField || size > INT32_MAX || size > block.size()) return;
    auto left = block.subspan(kSizeField, size - kSizeField);
    block = block.subspan(size);
    STInternalTag& tag = Tags.emplace_back();
    tag.Name = TakeText<Unit>(left);
    if (left.empty()) return;
    tag.Value = TakeText<Unit>(left);
    if (left.empty()) continue;
    if (!tag.Data.SetSize(left.size())) throw std::bad_alloc();
    std::memcpy(tag.Data.Data(), left.data(), left.size());
  }
}

void NTag::InitFromRawMemory(const void* bytes, size_t length) {
  ParseBlock<uint16_t>({static_cast<const uint8_t*>(bytes), bytes != nullptr ? length : 0});
}

void NTag::InitFromRawMemoryUTF8(const void* bytes, size_t length) {
  ParseBlock<char>({static_cast<const uint8_t*>(bytes), bytes != nullptr ? length : 0});
}

size_t NTag::GetRawTagItemSizeUTF8(size_t index) const {
  const STInternalTag& tag = Tags[index];
  return 4 + ToUtf8(tag.Name).size() + 1 + ToUtf8(tag.Value).size() + 1 + tag.Data.Size();
}

bool NTag::ToRawMemoryUTF8(XMem& block) const {
  size_t size = TagBlockWriter::kHeaderSize;
  for (size_t i = 0; i < Count(); ++i) size += GetRawTagItemSizeUTF8(i);
  if (!block.SetSize(size)) return false;
  uint8_t* next = block.Data();
  const auto put = [&](const void* bytes, size_t length) {
    if (length != 0) std::memcpy(next, bytes, length);
    next += length;
  };
  WriteU32LE(next, static_cast<uint32_t>(Count()));
  next += TagBlockWriter::kHeaderSize;
  for (size_t i = 0; i < Count(); ++i) {
    WriteU32LE(next, static_cast<uint32_t>(GetRawTagItemSizeUTF8(i)));
    next += 4;
    for (const XStr* text : {&Tags[i].Name, &Tags[i].Value}) {
      const std::string utf8 = ToUtf8(*text);
      put(utf8.c_str(), utf8.size() + 1);
    }
    put(Tags[i].Data.Data(), Tags[i].Data.Size());
  }
  return true;
}

void NTag::DropTagsBeginUnderScore(unsigned keep) {
  RemoveIf([keep](const STInternalTag& tag) {
    const auto kept = [&](unsigned flag, bool is_that) { return (keep & flag) != 0 && is_that; };
    return NameBegins(tag.Name, L"_") &&
           !kept(NTagKeepRiff, NameBegins(tag.Name, tag_name::kRiff)) &&
           !kept(NTagKeepCDToc, EqualNoCase(tag.Name, tag_name::kCDToc)) &&
           !kept(NTagKeepAlbumArt, NameBegins(tag.Name, tag_name::kAlbumArt)) &&
           !kept(NTagKeepCRC, EqualNoCase(tag.Name, tag_name::kCRC));
  });
}

void NTag::RemoveAllBinaryTags() {
  RemoveIf([](const STInternalTag& tag) { return !tag.Data.IsEmpty(); });
}

void NTag::RemoveTagsBiggerThan(size_t limit) {
  RemoveIf([limit](const STInternalTag& tag) {
    return 2 * tag.Name.size() + 2 * tag.Value.size() + tag.Data.Size() > limit;
  });
}

}  // namespace wavecodec
