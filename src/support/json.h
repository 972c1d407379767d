// A JSON document (RFC 8259) whose top level is an object, kept so that what is not edited survives
// a rewrite: members stay in order, doubles included, and every value that is no object is held as
// the very text that was read.
#pragma once

#include <cstddef>
#include <cstdint>
#include <string>
#include <string_view>
#include <unordered_map>
#include <vector>

namespace wavecodec {

// Objects are numbered and stand side by side: however deep a document is, nothing here recurses.
class JsonDocument {
 public:
  using ObjectId = size_t;
  static constexpr ObjectId kRoot = 0;
  static constexpr ObjectId kNone = SIZE_MAX;

  struct Member {
    std::string Key;          // a JSON string, with its quotation marks
    std::string Text;         // the value as JSON; empty when it is an object
    ObjectId Object = kNone;  // the value when it is an object

    [[nodiscard]] bool IsObject() const { return Object != kNone; }
  };
  using Members = std::vector<Member>;

  // Replaces the document. False, and an empty document, when `text` is not JSON or has another top
  // level than an object. Strict in structure; but a byte that is no UTF-8 is taken as it is, since
  // one broken byte must not hide all other members.
  bool Parse(std::string_view text);
  // The document with one member a line, indented by two blanks, and a line end behind it.
  [[nodiscard]] std::string Write() const;

  [[nodiscard]] const Members& MembersOf(ObjectId object) const { return Objects[object]; }

  // The first member that is an object, or that is not, with this name; names are compared without
  // regard to the case of ASCII letters. kNone and null when there is none.
  [[nodiscard]] ObjectId FindObject(ObjectId in, std::wstring_view name) const;
  [[nodiscard]] const std::string* FindValue(ObjectId in, std::wstring_view name) const;

  // The same object, added behind the other members when it is missing.
  ObjectId MakeObject(ObjectId in, std::wstring_view name);
  // Replaces a value in its place, or adds it behind the other members. `text` must be valid JSON
  // and no object.
  void SetValue(ObjectId in, std::wstring_view name, std::string_view text);
  // Removes every member with this name that is an object, or that is not.
  void Remove(ObjectId in, std::wstring_view name, bool objects);
  // Adds copies of all members of `source`, an object of `other`; values and objects that are there
  // already are replaced and filled up.
  void Merge(ObjectId target, const JsonDocument& other, ObjectId source);

  // Whether the document was edited since it was read.
  [[nodiscard]] bool IsChanged() const { return Changed; }

 private:
  class Reader;

  // Where the first member with each name stands in an object, by a hash of the name. It is made
  // for objects that are edited again and again, as it costs more than a few searches.
  struct Index {
    size_t Searches = 0;
    std::unordered_map<uint64_t, size_t> Places;  // empty before there were many searches
  };

  [[nodiscard]] size_t IndexOf(ObjectId in, std::wstring_view name, bool object) const;
  void PrepareSearch(ObjectId in);
  void Append(ObjectId in, Member member, std::wstring_view name);

  std::vector<Members> Objects = std::vector<Members>(1);
  std::unordered_map<ObjectId, Index> Indexes;
  bool Changed = false;
};

// The strings among the elements of an array that a document holds; none when it is no array.
std::vector<std::string_view> JsonStringElements(std::string_view array);

}  // namespace wavecodec
