#include "tag_edit.h"

#include <fmt/format.h>

#include <algorithm>
#include <array>
#include <cstdio>
#include <memory>
#include <nlohmann/json.hpp>

#include "error.h"
#include "input_file.h"
#include "picture.h"
#include "process.h"
#include "source_name.h"
#include "text.h"

namespace wavehost {
namespace {

using Json = nlohmann::json;  // finds a name among a million, unlike ordered_json

bool IsEmpty(const UserTag& tag) {
  return std::all_of(tag.values.begin(), tag.values.end(),
                     [](const std::string& value) { return value.empty(); });
}

std::vector<std::byte> Contents(const std::string& file) {
  constexpr uint64_t kMost = uint64_t{256} << 20U;  // what a whole ID3v2 tag can hold
  const InputFile input(file);
  if (input.Size() > kMost) {
    throw Error(fmt::format("the picture '{}' is too large", Displayable(file)));
  }
  std::vector<std::byte> bytes(static_cast<size_t>(input.Size()));
  bytes.resize(input.ReadAt(0, bytes));
  return bytes;
}

std::string TextOf(const Json& value) {
  if (value.is_string()) return value.get<std::string>();
  if (value.is_number()) return value.dump();
  throw Error("a tag's value is a text or a list of texts");
}

void AddJsonValues(const std::string& name, const Json& values, std::vector<Assignment>& tags) {
  CheckTagName(name, false);
  if (SameName(name, kVersionTag)) return;
  if (!values.is_array()) return tags.push_back({name, TextOf(values)});
  for (const Json& value : values) tags.push_back({name, TextOf(value)});
  if (values.empty()) tags.push_back({name, ""});
}

void AddJsonList(const Json& list, std::vector<Assignment>& tags) {
  for (const Json& item : list) {
    const bool is_tag = item.is_object() && item.contains("name") && item["name"].is_string() &&
                        (item.contains("value") || item.contains("values"));
    if (!is_tag) throw Error(R"(a tag in the list is no {"name": …, "value": …})");
    AddJsonValues(item["name"], item.contains("values") ? item["values"] : item["value"], tags);
  }
}

// Reads a file of any type, pipes too.
std::string ReadAll(const std::string& file) {
  struct Closer {
    void operator()(FILE* opened) const { static_cast<void>(std::fclose(opened)); }
  };
  std::unique_ptr<FILE, Closer> opened;
  if (file != "-") opened.reset(std::fopen(file.c_str(), "rbe"));
  FILE* const input = file == "-" ? stdin : opened.get();
  std::string text;
  std::array<char, 4096> piece;
  size_t got = 0;
  while (input != nullptr && (got = std::fread(piece.data(), 1, piece.size(), input)) > 0) {
    text.append(piece.data(), got);
  }
  ThrowIfInterrupted();
  if (input != nullptr && std::ferror(input) == 0) return text;
  throw SystemError(fmt::format("cannot read '{}'", Displayable(file)));
}

// True for what `wavehost tags --json` prints of a file: a list of tags among other things.
bool HoldsTagList(const Json& json) {
  const auto tags = json.find("tags");
  return tags != json.end() && tags->is_array() &&
         std::all_of(tags->begin(), tags->end(), [](const Json& tag) { return tag.is_object(); });
}

}  // namespace

bool TagEdit::Sets(std::string_view name) const {
  return std::any_of(set.begin(), set.end(),
                     [&](const UserTag& tag) { return SameName(tag.name, name); });
}

bool TagEdit::Removes(std::string_view name) const {
  return std::any_of(remove.begin(), remove.end(),
                     [&](const std::string& removed) { return SameName(removed, name); });
}

void CheckTagName(std::string_view name, bool may_be_reserved) {
  if (name.empty()) throw WrongUsage("a tag without a name");
  if (!IsUtf8(name) || name.find('\0') != std::string_view::npos) {
    throw WrongUsage(fmt::format("the tag name '{}' is no text", Displayable(name)));
  }
  if (!may_be_reserved && name.starts_with('_')) {
    throw WrongUsage(
        fmt::format("'{}' cannot be set: names that begin with _ are reserved", Displayable(name)));
  }
}

Assignment ParseAssignment(std::string_view text) {
  const size_t mark = text.find('=');
  Assignment assignment{std::string(text.substr(0, mark)), std::string(text.substr(mark + 1))};
  CheckTagName(assignment.name, false);
  if (!IsUtf8(assignment.value)) {
    throw WrongUsage(fmt::format("the value of '{}' is not UTF-8", Displayable(assignment.name)));
  }
  return assignment;
}

NewPicture ReadPicture(const std::string& argument) {
  constexpr size_t kColumns = 78;
  NewPicture picture{"Front Album Cover", {}};
  std::string file = argument;
  const size_t mark = argument.rfind(':');
  if (mark != std::string::npos && !FileExists(argument)) {
    const std::string word = argument.substr(mark + 1);
    const auto kind = PictureKind(word);
    if (!kind) {
      throw WrongUsage(fmt::format("'{}' is no kind of picture; there are:\n{}", Displayable(word),
                                   PictureKindWords(kColumns)));
    }
    picture.kind = *kind;
    file.resize(mark);
  }
  picture.bytes = Contents(file);
  if (!KnownPictureFormat(picture.bytes)) {
    throw Error(
        fmt::format("'{}' is no picture (JPEG, PNG, GIF, WebP, BMP, TIFF)", Displayable(file)));
  }
  return picture;
}

std::vector<Assignment> ReadTagsJson(const std::string& file) {
  std::vector<Assignment> tags;
  try {
    const Json json = Json::parse(ReadAll(file));
    if (json.is_array()) {
      AddJsonList(json, tags);
    } else if (!json.is_object()) {
      throw Error("it is no list of tags");
    } else if (HoldsTagList(json)) {
      AddJsonList(json["tags"], tags);
    } else {
      for (const auto& [name, value] : json.items()) AddJsonValues(name, value, tags);
    }
  } catch (const Json::exception& error) {
    throw Error(fmt::format("'{}' is no JSON: {}", Displayable(file), Displayable(error.what())));
  }
  return tags;
}

void AddAssignments(const std::vector<Assignment>& assignments, TagEdit& edit) {
  std::vector<TagEntry> entries;
  entries.reserve(assignments.size());
  NameSet names;
  for (const Assignment& tag : assignments) {
    entries.push_back({tag.name, tag.value, {}});
    names.Add(tag.name);
  }
  std::erase_if(edit.set, [&](const UserTag& old) { return names.Has(old.name); });
  for (UserTag& tag : UserTags(entries)) {
    if (IsEmpty(tag)) {
      edit.remove.push_back(std::move(tag.name));
    } else {
      edit.set.push_back(std::move(tag));
    }
  }
}

}  // namespace wavehost
