// The tag block and the properties block of a module.
#pragma once

#include <cstddef>
#include <span>
#include <string>
#include <string_view>
#include <unordered_set>
#include <vector>

#include "text.h"

namespace wavehost {

struct TagEntry {
  std::string name;   // UTF-8
  std::string value;  // UTF-8
  // Lies in the module's block: good until the session opens another file or ends.
  std::span<const std::byte> payload;
};

// The entries in their order; none of no block. Throws Error when the block is not what the
// interface says.
std::vector<TagEntry> ReadTagBlock(const void* data, size_t size);

// The block of these entries. A text ends at a zero character; a character beyond the 16 bits of a
// unit becomes U+FFFD. Throws Error when the block would be larger than the interface can say.
std::vector<std::byte> WriteTagBlock(std::span<const TagEntry> entries);

// A name that looks like a user tag's, but tells about the file's ID3v2 tag.
inline constexpr std::string_view kVersionTag = "TagVersion";

// Reserved names are no user tags.
[[nodiscard]] inline bool IsReserved(const TagEntry& entry) { return entry.name.starts_with('_'); }

// Compares without regard to the case of ASCII letters.
[[nodiscard]] bool SameName(std::string_view a, std::string_view b);

// Names, compared as SameName does.
class NameSet {
 public:
  void Add(std::string_view name) { names_.insert(LowerASCII(name)); }
  [[nodiscard]] bool Has(std::string_view name) const { return names_.contains(LowerASCII(name)); }

 private:
  std::unordered_set<std::string> names_;
};

// A user tag with its values in their order.
struct UserTag {
  std::string name;
  std::vector<std::string> values;
};

// Several values as the value of one entry, joined by carriage returns.
std::string JoinedValues(const std::vector<std::string>& values);

// Entries of one name come together where the first of them is; values are taken apart.
std::vector<UserTag> UserTags(const std::vector<TagEntry>& entries);

// The value of the first entry of this name; empty when there is none.
std::string_view ValueOf(const std::vector<TagEntry>& entries, std::string_view name);

}  // namespace wavehost
