#include "tag_block.h"

#include <algorithm>
#include <cstdint>
#include <unordered_map>

#include "error.h"
#include "little_endian.h"
#include "text.h"

namespace wavehost {
namespace {

constexpr size_t kNumberSize = 4;
constexpr size_t kUnitSize = 2;

// Takes parts off the front of a block, which a module may have made badly.
class BlockReader {
 public:
  explicit BlockReader(std::span<const std::byte> bytes) : rest_(bytes) {}

  uint32_t Number() { return static_cast<uint32_t>(LittleEndian(Bytes(kNumberSize))); }
  std::span<const std::byte> Bytes(size_t count) {
    if (count > rest_.size()) throw Error("the module gave a damaged tag block");
    const auto taken = rest_.first(count);
    rest_ = rest_.subspan(count);
    return taken;
  }
  std::string Text() {
    std::wstring text;
    while (const uint64_t unit = LittleEndian(Bytes(kUnitSize))) {
      text.push_back(static_cast<wchar_t>(unit));
    }
    return Utf8(text);
  }
  [[nodiscard]] std::span<const std::byte> Rest() const { return rest_; }

 private:
  std::span<const std::byte> rest_;
};

// A carriage return parts values, except in a line end CR LF.
void AppendValues(std::string_view text, std::vector<std::string>& values) {
  size_t start = 0;
  for (size_t i = 0; i < text.size(); ++i) {
    if (text[i] != '\r' || (i + 1 < text.size() && text[i + 1] == '\n')) continue;
    values.emplace_back(text.substr(start, i - start));
    start = i + 1;
  }
  values.emplace_back(text.substr(start));
}

// Puts parts together.
class BlockWriter {
 public:
  void Number(uint32_t number) { AppendLittleEndian(bytes, number, kNumberSize); }
  void Text(std::string_view text) {
    constexpr uint32_t kReplacement = 0xFFFD;
    constexpr uint32_t kMostUnit = 0xFFFF;
    while (!text.empty() && text.front() != '\0') {
      const uint32_t code = TakeCodePoint(text);
      AppendLittleEndian(bytes, code > kMostUnit ? kReplacement : code, kUnitSize);
    }
    AppendLittleEndian(bytes, 0, kUnitSize);
  }
  void Entry(const TagEntry& entry) {
    BlockWriter texts;
    texts.Text(entry.name);
    texts.Text(entry.value);
    const size_t size = kNumberSize + texts.bytes.size() + entry.payload.size();
    if (size > INT32_MAX - bytes.size()) throw Error("this is more than the module can take");
    Number(static_cast<uint32_t>(size));
    bytes.insert(bytes.end(), texts.bytes.begin(), texts.bytes.end());
    bytes.insert(bytes.end(), entry.payload.begin(), entry.payload.end());
  }

  std::vector<std::byte> bytes;
};

}  // namespace

std::vector<TagEntry> ReadTagBlock(const void* data, size_t size) {
  std::vector<TagEntry> entries;
  if (data == nullptr) return entries;
  BlockReader block({static_cast<const std::byte*>(data), size});
  for (uint32_t left = block.Number(); left > 0; --left) {
    const uint32_t entry_size = block.Number();  // a negative one is larger than any block
    BlockReader entry(block.Bytes(entry_size - std::min<size_t>(entry_size, kNumberSize)));
    TagEntry read;
    read.name = entry.Text();
    read.value = entry.Text();
    read.payload = entry.Rest();
    entries.push_back(std::move(read));
  }
  return entries;
}

std::vector<std::byte> WriteTagBlock(std::span<const TagEntry> entries) {
  BlockWriter block;
  block.Number(static_cast<uint32_t>(entries.size()));
  for (const TagEntry& entry : entries) block.Entry(entry);
  return std::move(block.bytes);
}

std::string JoinedValues(const std::vector<std::string>& values) {
  std::string joined;
  for (const std::string& value : values) {
    if (&value != values.data()) joined += '\r';
    joined += value;
  }
  return joined;
}

bool SameName(std::string_view a, std::string_view b) {
  return std::equal(a.begin(), a.end(), b.begin(), b.end(),
                    [](char x, char y) { return LowerASCII(x) == LowerASCII(y); });
}

std::vector<UserTag> UserTags(const std::vector<TagEntry>& entries) {
  std::vector<UserTag> tags;
  std::unordered_map<std::string, size_t> places;
  for (const TagEntry& entry : entries) {
    if (IsReserved(entry)) continue;
    const auto [place, is_new] = places.try_emplace(LowerASCII(entry.name), tags.size());
    if (is_new) tags.push_back({entry.name, {}});
    AppendValues(entry.value, tags[place->second].values);
  }
  return tags;
}

std::string_view ValueOf(const std::vector<TagEntry>& entries, std::string_view name) {
  const auto found = std::find_if(entries.begin(), entries.end(), [&](const TagEntry& entry) {
    return SameName(entry.name, name);
  });
  return found == entries.end() ? std::string_view() : found->value;
}

}  // namespace wavehost
