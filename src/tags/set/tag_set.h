// The tag set: the one form of metadata inside the module, and its serialised form, the tag block
// that is exchanged with the host.
#pragma once

#include <cstddef>
#include <cstdint>
#include <span>
#include <string_view>
#include <vector>

#include "support/xmem.h"
#include "support/xstr.h"

namespace wavecodec {

// Reserved names, which are not user tags. They and all other names are compared without regard to
// the case of ASCII letters.
namespace tag_name {
inline constexpr std::wstring_view kCDToc = L"_cdtoc";  // a table of contents, see clTOCReader
inline constexpr std::wstring_view kCRC = L"_crc";      // a checksum of the audio
inline constexpr std::wstring_view kRiff = L"_riff_";   // + number: a carried chunk
inline constexpr std::wstring_view kAlbumArt = L"_albumart_";  // + number + "_" + kind: a picture
}  // namespace tag_name

// True when the name begins with `prefix`.
inline bool NameBegins(std::wstring_view name, std::wstring_view prefix) {
  return EqualNoCase(name.substr(0, prefix.size()), prefix);
}

// One entry: a text value, or a binary payload with (usually) an empty value.
struct STInternalTag {
  XStr Name;
  XStr Value;
  XMem Data;
};

// Writes a tag block item by item into memory that is large enough (see ItemSize), little-endian:
//
//   4  number of items
//   then each item:
//   4  size of the whole item
//      name and value in 16-bit units, each ended by a zero unit
//      the payload
//
// A unit is the low 16 bits of a character; there are no surrogate pairs.
class TagBlockWriter {
 public:
  static constexpr size_t kHeaderSize = 4;
  [[nodiscard]] static size_t ItemSize(size_t name_length, size_t value_length, size_t payload) {
    return 4 + 2 * (name_length + 1) + 2 * (value_length + 1) + payload;
  }

  explicit TagBlockWriter(uint8_t* block) : Block(block), Next(block + kHeaderSize) {}

  // Writes all of an item but its payload, for which it returns the place.
  uint8_t* Begin(std::wstring_view name, std::wstring_view value, size_t payload);
  // Writes an item whose value of `value_length` units follows with Append, piece by piece, and ends
  // with EndText.
  void BeginValue(std::wstring_view name, size_t value_length, size_t payload = 0);
  void Append(std::wstring_view text);
  void EndText() { Append(std::wstring_view(L"", 1)); }
  // Takes the item begun last back.
  void Drop();
  // Writes the number of items; returns the bytes of the block.
  size_t Finish();

 private:
  uint8_t* const Block;
  uint8_t* Item = nullptr;
  uint8_t* Next;
  uint32_t Items = 0;
};

// Flags of DropTagsBeginUnderScore: what is kept.
enum NTagKeep : unsigned {
  NTagKeepRiff = 2,
  NTagKeepCDToc = 4,
  NTagKeepAlbumArt = 8,
  NTagKeepCRC = 16
};

// An ordered list of entries. The same name may occur any number of times: one entry a value.
// Looking a name up costs the same with a million entries.
class NTag {
 public:
  NTag() noexcept = default;
  NTag(NTag&&) noexcept = default;
  NTag& operator=(NTag&&) noexcept = default;
  // The copy keeps the first entry of each name only (see DuplicateFrom).
  NTag(const NTag& other) { DuplicateFrom(other); }
  NTag& operator=(const NTag& other) {
    if (this != &other) DuplicateFrom(other);
    return *this;
  }
  ~NTag() = default;

  [[nodiscard]] size_t Count() const { return Tags.size(); }
  const STInternalTag& operator[](size_t index) const { return Tags[index]; }
  [[nodiscard]] auto begin() const { return Tags.begin(); }
  [[nodiscard]] auto end() const { return Tags.end(); }
  void Destroy();

  // Append an entry, also when there is one of that name.
  void AddTag(std::wstring_view name, std::wstring_view value);
  void AddTag(std::wstring_view name, const void* bytes, size_t length);
  void AddTag(std::wstring_view name, const XMem& bytes) {
    AddTag(name, bytes.Data(), bytes.Size());
  }
  void AddTag(STInternalTag tag);

  void RemoveTag(size_t index);
  // Removes every entry of the name; true when there was one.
  bool RemoveTag(std::wstring_view name);

  // The first entry of the name; null when there is none. Good until the set changes.
  [[nodiscard]] const STInternalTag* FindElement(std::wstring_view name) const;
  // The value of the first entry of the name, "" when there is none; removes all of that name.
  XStr FindElementRemove(std::wstring_view name);
  [[nodiscard]] std::wstring_view GetTagValue(std::wstring_view name) const;
  // Replaces the value of the first entry of the name, or appends one.
  void SetTagValue(std::wstring_view name, std::wstring_view value);

  // Takes in the other set's entries in order. One whose name is here already replaces the first of
  // that name when `overwrite`, else it is left out; entries that came in during the same merge
  // count as here.
  void MergeFrom(const NTag& other, bool overwrite);
  void MergeFrom(NTag&& other, bool overwrite);
  void DuplicateFrom(const NTag& other);

  // Bytes of an entry in the tag block.
  [[nodiscard]] size_t GetRawTagItemSize(size_t index) const;
  // Bytes of the whole tag block.
  [[nodiscard]] size_t GetRawSize() const;
  void WriteRaw(TagBlockWriter& writer) const;
  // False when there is no memory.
  bool ToRawMemory(XMem& block) const;
  // Replaces the set by what a tag block holds, as far as the block is whole.
  void InitFromRawMemory(const void* bytes, size_t length);

  // The same block with UTF-8 text, each ended by a zero byte.
  [[nodiscard]] size_t GetRawTagItemSizeUTF8(size_t index) const;
  bool ToRawMemoryUTF8(XMem& block) const;
  void InitFromRawMemoryUTF8(const void* bytes, size_t length);

  // Removes the entries whose names begin with "_", except those that a flag (NTagKeep) keeps.
  void DropTagsBeginUnderScore(unsigned keep);
  void RemoveAllBinaryTags();
  // Removes entries whose name and value (in bytes of 16-bit units) and payload exceed `limit`.
  void RemoveTagsBiggerThan(size_t limit);

  // The first picture whose name begins with the number `index`; null when there is none.
  const STInternalTag* GetAlbumArt(int index, XStr& description, XStr& sub_description) const;

  // "03/09": the track number of a tag, and the count when it has one, each of at least two
  // digits; "" when the number is 0.
  [[nodiscard]] XStr PaddedTrackNum(std::wstring_view name) const;

 private:
  static constexpr size_t kIndexFrom = 32;  // entries; fewer are looked through

  template <typename Predicate>
  void RemoveIf(Predicate goes);
  [[nodiscard]] size_t Find(std::wstring_view name) const;  // kNone when there is none
  void MakeIndex() const;
  void AddToIndex(size_t entry) const;
  template <typename Unit>
  void ParseBlock(std::span<const uint8_t> block);

  static constexpr size_t kNone = SIZE_MAX;

  std::vector<STInternalTag> Tags;
  // The first entry of each name (entry number + 1, 0 is free), by open addressing; made when it is
  // first needed.
  mutable std::vector<uint32_t> Index;
  mutable size_t Indexed = 0;  // entries that the index knows
};

// The name of a picture kind (an APIC picture type of ID3v2), with a leading "_"; "" for a type
// without a name.
XStr AlbumArtAPICPicTypeToElementDescription(unsigned type);
// The reverse, without the "_"; a front cover when the text is no kind.
unsigned AlbumArtDescriptionToAPICPicType(std::wstring_view description);
// Takes a picture's name apart: "_albumart_" index "_" description "<subdesc>" sub-description.
void SpiltAlbumArtDesctiptionLine(std::wstring_view name, XStr& description, XStr& sub_description);

// A track value "number/count" as numbers, 0 where there is none, and as texts.
void SplitTrackNumANDCount(std::wstring_view text, int& number, int& count);
void SplitTrackNumANDCountStr(std::wstring_view text, XStr& number, XStr& count);

}  // namespace wavecodec
