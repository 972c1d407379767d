// The tag set: the one form of metadata inside the module, and its serialised form, the tag block
// that is exchanged with the host.
#pragma once

#include <cstddef>
#include <cstdint>
#include <optional>
#include <span>
#include <string>
#include <string_view>
#include <vector>

#include "support/names.h"
#include "support/utf8.h"
#include "support/xmem.h"
#include "support/xstr.h"
#include "tags/set/tag_block.h"

namespace wavecodec {

// Reserved names, which are not user tags. They and all other names are compared without regard to
// the case of ASCII letters.
namespace tag_name {
inline constexpr std::string_view kCDToc = "_cdtoc";         // a table of contents, see clTOCReader
inline constexpr std::string_view kCRC = "_crc";             // a checksum of the audio
inline constexpr std::string_view kRiff = "_riff_";          // + number: a carried chunk
inline constexpr std::string_view kAlbumArt = "_albumart_";  // + number + "_" + kind: a picture
}  // namespace tag_name

// One entry by itself: a text value, or a binary payload with (usually) an empty value.
struct STInternalTag {
  XStr Name;
  XStr Value;
  XMem Data;
};

// Flags of DropTagsBeginUnderScore: what is kept.
enum NTagKeep : unsigned {
  NTagKeepRiff = 2,
  NTagKeepCDToc = 4,
  NTagKeepAlbumArt = 8,
  NTagKeepCRC = 16
};

// An ordered list of entries. The same name may occur any number of times: one entry a value.
//
// All texts lie one behind another as UTF-8 in one piece of memory, so that a file's tags cost few
// allocations and a million of them no more memory than they had in the file. Every character of a
// wide text comes back as it was given, surrogates too; a zero character ends a text. A name is
// found in the same time among a million entries.
class NTag {
 public:
  // An entry where it lies; good until the set changes.
  struct Entry {
    std::string_view Name;
    std::string_view Value;
    std::span<const uint8_t> Data;
  };

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

  [[nodiscard]] size_t Count() const { return Records.size(); }
  [[nodiscard]] Entry At(size_t index) const { return EntryOf(Records[index]); }
  // A copy of an entry.
  STInternalTag operator[](size_t index) const;
  void Destroy();

  // Append an entry, also when there is one of that name. UTF-8 that is not valid is repaired.
  void AddTag(std::string_view name, std::string_view value);
  void AddTag(std::wstring_view name, std::wstring_view value) {
    AddTag(ToWholeUtf8(name), ToWholeUtf8(value));
  }
  void AddTag(std::string_view name, std::span<const uint8_t> payload);
  void AddTag(std::wstring_view name, std::span<const uint8_t> payload) {
    AddTag(ToWholeUtf8(name), payload);
  }
  void AddTag(const STInternalTag& tag);

  void RemoveTag(size_t index);
  // Removes every entry of the name; true when there was one.
  bool RemoveTag(std::string_view name);
  bool RemoveTag(std::wstring_view name) { return RemoveTag(ToWholeUtf8(name)); }

  // The first entry of the name; none when there is none.
  [[nodiscard]] std::optional<Entry> FindElement(std::string_view name) const;
  [[nodiscard]] std::optional<Entry> FindElement(std::wstring_view name) const {
    return FindElement(ToWholeUtf8(name));
  }
  // The value of the first entry of the name, "" when there is none.
  [[nodiscard]] XStr GetTagValue(std::wstring_view name) const;
  // The same, and removes all of that name.
  XStr FindElementRemove(std::wstring_view name);
  // Replaces the value of the first entry of the name, or appends one.
  void SetTagValue(std::wstring_view name, std::wstring_view value);

  // Takes in the other set's entries in order. One whose name is here already replaces the first of
  // that name when `overwrite`, else it is left out; entries that came in during the same merge
  // count as here.
  void MergeFrom(const NTag& other, bool overwrite);
  void MergeFrom(NTag&& other, bool overwrite);  // takes payloads over instead of copying them
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

  // The first picture whose name begins with the number `index`; none when there is none.
  std::optional<Entry> GetAlbumArt(int index, XStr& description, XStr& sub_description) const;

  // "03/09": the track number of a tag, and the count when it has one, each of at least two
  // digits; "" when the number is 0.
  [[nodiscard]] XStr PaddedTrackNum(std::wstring_view name) const;

 private:
  static constexpr size_t kIndexFrom = 32;  // entries; fewer are looked through
  static constexpr size_t kNone = SIZE_MAX;

  struct Record {
    size_t Text = 0;  // where the name begins in Texts; the value follows
    Utf8Run Name;
    Utf8Run Value;
    size_t Payload = 0;  // its number in Payloads, from 1; 0 when there is none
  };

  [[nodiscard]] std::string_view NameOf(const Record& record) const {
    return {Texts.data() + record.Text, record.Name.Bytes};
  }
  [[nodiscard]] std::string_view ValueOf(const Record& record) const {
    return {Texts.data() + record.Text + record.Name.Bytes, record.Value.Bytes};
  }
  [[nodiscard]] size_t PayloadSize(const Record& record) const {
    return record.Payload == 0 ? 0 : Payloads[record.Payload - 1].Size();
  }
  [[nodiscard]] size_t ItemSizeOf(const Record& record) const {
    return TagBlockWriter::ItemSize(record.Name.Characters, record.Value.Characters,
                                    PayloadSize(record));
  }
  [[nodiscard]] Entry EntryOf(const Record& record) const;
  Utf8Run AppendText(std::string_view text);
  Record MakeRecord(std::string_view name, std::string_view value);
  // Puts an entry, which may lie in another set, at `index` or at the end.
  void Put(size_t index, const Entry& entry, XMem&& payload);
  template <typename Take>
  void Merge(const NTag& other, bool overwrite, Take take);
  template <typename Predicate>
  void RemoveIf(Predicate goes);
  [[nodiscard]] size_t Find(std::string_view name) const;  // kNone when there is none
  [[nodiscard]] size_t SlotOf(std::string_view name) const;
  void MakeIndex() const;
  template <typename Unit>
  void ParseBlock(std::span<const uint8_t> block);

  std::vector<Record> Records;
  std::string Texts;
  std::vector<XMem> Payloads;
  // The first entry of each name (its number + 1, 0 is free), by open addressing; made when it is
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
