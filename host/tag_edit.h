// What the user wants of the tags of files.
#pragma once

#include <cstddef>
#include <stdexcept>
#include <string>
#include <string_view>
#include <vector>

#include "tag_block.h"

namespace wavehost {

struct NewPicture {
  std::string kind;  // one of PictureKind
  std::vector<std::byte> bytes;
};

struct TagEdit {
  std::vector<UserTag> set;  // in place of the file's tags of these names; all others stay
  std::vector<std::string> remove;
  std::vector<NewPicture> pictures;
  bool remove_all = false;

  [[nodiscard]] bool Sets(std::string_view name) const;
  [[nodiscard]] bool Removes(std::string_view name) const;
};

// How a file is changed.
struct EditOptions {
  bool keep_mtime = false;
  bool dry_run = false;
  bool verify = false;  // the audio is the same afterwards
};

// A wrong argument.
struct WrongUsage : std::runtime_error {
  using std::runtime_error::runtime_error;
};

// "Name=Value", taken apart at the first "=".
struct Assignment {
  std::string name;
  std::string value;
};

// The functions below throw WrongUsage for text that cannot be meant, Error for a file that cannot
// be read.
Assignment ParseAssignment(std::string_view text);
// A name that may be set or removed; removing takes reserved names, too.
void CheckTagName(std::string_view name, bool may_be_reserved);
// "FILE" or "FILE:KIND".
NewPicture ReadPicture(const std::string& argument);
// Reads what `wavehost tags --json` prints, its "tags" alone, or {"Name": "Value" or ["a", "b"]}; a
// file, or the standard input ("-").
std::vector<Assignment> ReadTagsJson(const std::string& file);

// Sets the values; what is named several times has several values. A name of which all values are
// empty is removed.
void AddAssignments(const std::vector<Assignment>& assignments, TagEdit& edit);

}  // namespace wavehost
