// Writing: the tag that has what a tag set holds, and what is left of the present one.

#include <algorithm>
#include <charconv>
#include <cstring>
#include <exception>
#include <functional>
#include <map>
#include <new>
#include <span>
#include <string_view>
#include <utility>
#include <vector>

#include "id3v2/field_table.h"
#include "id3v2/meta_map.h"
#include "id3v2/tag.h"
#include "id3v2/tag_bridge.h"
#include "id3v2/tag_writer.h"
#include "support/names.h"

namespace wavecodec {
namespace {

using namespace id3parser;

constexpr uint64_t kMaxPadding = 0;

class MemoryOut final : public streamOut {
 public:
  explicit MemoryOut(XMem& bytes) : Bytes(bytes) {}
  void write(const void* data, size_t size) override {
    if (size == 0) return;
    const size_t have = Bytes.Size();
    if (have + size > Room) {
      Room = have + size + (have + size) / 8;
      if (!Bytes.SetSize(Room, true)) throw std::bad_alloc();
    }
    if (!Bytes.SetSize(have + size, true)) throw std::bad_alloc();
    std::memcpy(Bytes.Data() + have, data, size);
  }

 private:
  XMem& Bytes;
  size_t Room = 0;
};

std::string_view PreTranslateField(std::string_view name) {
  if (SameName(name, "content group description")) return "style";
  if (SameName(name, "ITUNNORM")) return "COMMENT ITUNNORM";
  return name;
}

// Whether a carriage return in a value of the field stands between two values.
bool isMultiValField(std::string_view name) {
  return !SameName(name, "LYRICS") && !SameName(name, "UNSYNCED LYRICS") &&
         !SameName(name, "COMMENT");
}

bool IsAlbumArt(const NTag::Entry& entry) {
  return StartsWithName(entry.Name, tag_name::kAlbumArt);
}

std::string_view DetectPictureMimeType(std::span<const uint8_t> data) {
  if (data.size() < 8) return "";
  return std::memcmp(data.data() + 1, "PNG", 3) == 0 ? "image/png" : "image/jpeg";
}

uint8_t GetPictureType(std::wstring_view description) {
  if (description.empty() || EqualNoCase(description, FromUtf8(kUndefinedKind))) return 0;
  return static_cast<uint8_t>(AlbumArtDescriptionToAPICPicType(description));
}

// Whether a text has a character that the 16-bit units of the tag block cannot carry.
bool IsWide(std::string_view utf8) {
  return std::any_of(utf8.begin(), utf8.end(),
                     [](char byte) { return static_cast<uint8_t>(byte) >= 0xF0; });
}

// A text as it comes back from a host, which got it in a tag block.
std::string FromBlock(std::string_view utf8) {
  if (!IsWide(utf8)) return std::string(utf8);
  std::string text;
  while (!utf8.empty()) {
    const uint32_t unit = static_cast<uint32_t>(TakeUtf8(utf8)) & 0xFFFF;
    if (unit == 0) break;
    AppendUtf8Sequence(text, unit);
  }
  return text;
}

// The texts of a tag set as fields. What was read from the present tag is made the same values
// again that the tag has, so that their frames stay.
class FieldGatherer {
 public:
  explicit FieldGatherer(const t_tag& present) { tag_to_metaMap(present, Present); }

  metaMap Gather(const NTag& tags) const {
    metaMap given;
    for (size_t i = 0; i < tags.Count(); ++i) {
      const NTag::Entry entry = tags.At(i);
      if (entry.Value.empty() || !entry.Data.empty() || IsInternal(entry.Name)) continue;
      // A name that the tag has is no other name's way of writing.
      given.add(Present.haveField(entry.Name) ? entry.Name : PreTranslateField(entry.Name),
                entry.Value);
    }
    std::vector<Place> places;
    places.reserve(given.fields().size());
    for (const metaMap::field& field : given.fields()) places.push_back(PlaceOf(field));
    std::stable_sort(places.begin(), places.end());
    metaMap fields;
    for (const Place& place : places) Add(*place.Field, fields);
    return fields;
  }

 private:
  // Where a field stands, so that the same fields give the same tag in whatever order they come:
  // first those that have a place in every tag, then those of the present tag, then new ones.
  struct Place {
    const fieldRow* Row;  // null after all others
    size_t Position;
    const metaMap::field* Field;

    bool operator<(const Place& other) const {
      if (Row != other.Row) return other.Row == nullptr || (Row != nullptr && Row < other.Row);
      return Position < other.Position;
    }
  };
  [[nodiscard]] Place PlaceOf(const metaMap::field& field) const {
    const fieldRow* row = findFieldRow(std::string_view{field.name});
    if (row != nullptr && row->isWrittenLast()) row = nullptr;
    return {row, Present.positionOf(field.name), &field};
  }

  // Names that begin with "_" travel between the module and its host only. A user text of such a
  // name that is in the tag is a field like others, though.
  [[nodiscard]] bool IsInternal(std::string_view name) const {
    return isReservedName(name) || (name.starts_with('_') && !Present.haveField(name));
  }

  void Add(const metaMap::field& field, metaMap& fields) const {
    const auto add = [&](std::string_view value) { fields.add(field.name, value); };
    const metaMap::valueList* present = Present.find(field.name);
    std::map<std::string, std::string, std::less<>> wide;  // values of the tag by what hosts get
    if (present != nullptr) {
      const std::string joined = present->joined(kBetweenValues);
      const std::string given = field.values.joined(kBetweenValues);
      if (given == joined || given == FromBlock(joined)) return present->forEach(add);
      if (IsWide(joined)) {
        present->forEach(
            [&](std::string_view value) { wide.emplace(FromBlock(value), std::string(value)); });
      }
    }
    const bool splits = isMultiValField(field.name) || (present != nullptr && present->count() > 1);
    const auto add_piece = [&](std::string_view value) {
      const auto same = wide.find(value);
      add(same != wide.end() ? same->second : value);
    };
    field.values.forEach([&](std::string_view value) {
      if (splits) {
        ForEachPiece(value, add_piece);
      } else {
        add_piece(value);
      }
    });
  }

  // The pieces between carriage returns. One at the end of a line, beside another, or with nothing
  // on one side is part of the text: frames cannot hold the empty value.
  template <typename Work>
  static void ForEachPiece(std::string_view value, Work work) {
    const auto is_border = [&](size_t at) {
      return at != 0 && at + 1 < value.size() && value[at - 1] != kBetweenValues &&
             value[at + 1] != kBetweenValues && value[at + 1] != '\n';
    };
    size_t start = 0;
    for (size_t at = value.find(kBetweenValues); at != value.npos;
         at = value.find(kBetweenValues, at + 1)) {
      if (!is_border(at)) continue;
      work(value.substr(start, at - start));
      start = at + 1;
    }
    work(value.substr(start));
  }

  metaMap Present;
};

// The pictures of the present tag, taken out of it.
class PictureShelf {
 public:
  explicit PictureShelf(t_tag& tag) {
    t_picture picture;
    for (auto frame = tag.Frames().begin(); frame != tag.Frames().end();) {
      const auto here = frame++;
      if (!here->view().isPicture() || !here->view().readPicture(picture)) continue;
      Frames.splice(Frames.end(), tag.Frames(), here);
      ByContent.emplace(Key{FromBlock(PictureLabel(picture)), {picture.data, picture.size}}, here);
    }
  }

  // Puts the pictures of a tag set into the tag, in the order of their numbers. A picture that the
  // tag had, with the same kind and description, is put back as it was.
  void Put(const NTag& tags, t_tag& tag) {
    std::vector<std::pair<uint32_t, size_t>> order;
    for (size_t i = 0; i < tags.Count(); ++i) {
      if (IsAlbumArt(tags.At(i))) order.emplace_back(NumberOf(tags.At(i).Name), i);
    }
    std::sort(order.begin(), order.end());
    for (const auto& [number, index] : order) Put(tags.At(index), tag);
  }

 private:
  struct Key {
    std::string Label;
    std::span<const uint8_t> Data;

    bool operator<(const Key& other) const {
      if (Data.size() != other.Data.size()) return Data.size() < other.Data.size();
      const int bytes = Data.empty() ? 0 : std::memcmp(Data.data(), other.Data.data(), Data.size());
      return bytes != 0 ? bytes < 0 : Label < other.Label;
    }
  };

  static uint32_t NumberOf(std::string_view name) {
    uint32_t number = UINT32_MAX;
    std::from_chars(name.data() + tag_name::kAlbumArt.size(), name.data() + name.size(), number);
    return number;
  }

  void Put(const NTag::Entry& entry, t_tag& tag) {
    const size_t bar = entry.Name.find('_', tag_name::kAlbumArt.size() + 1);
    const std::string label = FromBlock(entry.Name.substr(std::min(bar, entry.Name.size())));
    const auto had = ByContent.find(Key{label, entry.Data});
    if (had != ByContent.end()) {
      tag.Frames().splice(tag.Frames().end(), Frames, had->second);
      ByContent.erase(had);
    } else if (!entry.Data.empty()) {
      XStr kind;
      XStr description;
      SpiltAlbumArtDesctiptionLine(FromUtf8(entry.Name), kind, description);
      tag.AddFrame(frameID("APIC"))
          ->setPicture(GetPictureType(kind), DetectPictureMimeType(entry.Data),
                       ToWholeUtf8(description), entry.Data.data(), entry.Data.size());
    }
  }

  t_tag::t_frames Frames;
  std::multimap<Key, t_tag::t_frames::iterator> ByContent;  // equal ones in their order
};

void PutCDIdentifier(const NTag& tags, t_tag& tag) {
  constexpr uint32_t kFrame = frameID("MCDI");
  const auto given = tags.FindElement(tag_name::kCDToc);
  const auto bytes = given ? given->Data : std::span<const uint8_t>();
  const auto present = std::find_if(tag.Frames().begin(), tag.Frames().end(),
                                    [](const t_frame& frame) { return frame.id == kFrame; });
  if (present != tag.Frames().end()) {
    const t_frameView frame = present->view();
    if (std::equal(bytes.begin(), bytes.end(), frame.data, frame.data + frame.size)) return;
  }
  tag.RemoveFrameID(kFrame);
  if (!bytes.empty()) tag.AddFrame(kFrame)->data.append_fromptr(bytes.data(), bytes.size());
}

}  // namespace

void TagID3v2::SetOption(const wchar_t* key) {
  const std::wstring_view option = key != nullptr ? key : L"";
  if (option == L"ID3v2EncodeUni") Encoding = encodingUTF16;
  if (option == L"ID3v2EncodeUTF8") Encoding = encodingUTF8;
  if (option == L"ID3v2WriteV22" || option == L"ID3v2WriteV221") NewRevision = revision3;
  if (option == L"ID3v2WriteV24") NewRevision = revision4;
  if (option == L"WriteStrictYearDate") StrictYearDate = true;
}

bool TagID3v2::Measure(uint64_t& size) {
  const uint64_t claimed = GetID3v2TagSize();
  if (Room >= kTagHeaderSize && Bytes.IsEmpty()) return false;
  size = std::min(claimed, Room);
  if (Align == 2) size += size % 2;
  const int64_t left = File.Size() - Position;
  size = std::min(size, static_cast<uint64_t>(std::max(left, int64_t{0})));
  return true;
}

bool TagID3v2::LoadTag(t_tag& tag) {
  const uint64_t size = GetID3v2TagSize();
  if (size != 0 && size <= Room) {
    if (!Load(size)) return false;
    try {
      parseCallback keep_all;
      tag.Parse_MemBlock(Bytes.Data(), static_cast<size_t>(size), keep_all);
    } catch (const parseError&) {
      tag.Reset(revisionNone);
    }
  }
  Bytes.Free();
  if (tag.Revision() == revisionNone) tag.Reset(t_tagRevision{NewRevision});
  return true;
}

bool TagID3v2::MakeTag(XMem& out, const NTag& tags) {
  out.Free();
  try {
    t_tag tag;
    uint64_t held = 0;
    if (!Measure(held) || !LoadTag(tag)) return false;
    PictureShelf pictures(tag);
    const tagCreateArgs args{.encoding = Encoding, .lenientYearDate = !StrictYearDate};
    metaMap_to_tag(tag, FieldGatherer(tag).Gather(tags), args);
    PutCDIdentifier(tags, tag);
    pictures.Put(tags, tag);
    tag.SanitizeAPICOrder();
    if (tag.Frames().empty()) return true;
    MemoryOut stream(out);
    tag.Write(stream, held, kMaxPadding, Align);
    return true;
  } catch (const std::exception&) {  // no memory, or more than a tag can hold
    out.Free();
    return false;
  }
}

bool TagID3v2::Replace(uint64_t held, const XMem& tag) {
  Bytes.Free();
  const int64_t end = Position + static_cast<int64_t>(held);
  const int64_t delta = static_cast<int64_t>(tag.Size()) - static_cast<int64_t>(held);
  if (delta > 0 && !File.Shuffle(end, delta)) return false;
  if (!tag.IsEmpty() && !(File.SetPosition(Position) && File.Write(tag.Data(), tag.Size()))) {
    return false;
  }
  if (delta < 0 && !File.Shuffle(end, delta)) return false;
  Room = std::max(Room, held) - held + tag.Size();
  return true;
}

bool TagID3v2::Write(const NTag& tags) {
  XMem tag;
  uint64_t held = 0;
  return Measure(held) && MakeTag(tag, tags) && Replace(held, tag);
}

bool TagID3v2::DeleteAllTags() {
  uint64_t held = 0;
  return Measure(held) && Replace(held, XMem());
}

bool TagID3v2::DeleteATag(const wchar_t* name) {
  if (name == nullptr) return false;
  try {
    const std::string field = ToWholeUtf8(name);
    NTag tags;
    if (!HasTag()) return true;
    if (!Read(tags)) return false;
    bool there = tags.RemoveTag(field);
    there = tags.RemoveTag(PreTranslateField(field)) || there;
    return !there || Write(tags);
  } catch (const std::exception&) {
    return false;
  }
}

}  // namespace wavecodec
