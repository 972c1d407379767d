// What a settings file says about one key or one value.
#pragma once

#include <cstdint>
#include <optional>
#include <string>
#include <string_view>

#include "support/json.h"
#include "support/xmem.h"
#include "support/xstr.h"

namespace wavecodec {

// The place of a key: the first level of the document, and the path below it, components separated
// by backslashes. The texts belong to the caller.
struct XRegistryKey {
  std::wstring_view Main;
  std::wstring_view Path;

  // The object of the key; kNone when there is no such key.
  [[nodiscard]] JsonDocument::ObjectId Find(const JsonDocument& document) const;
  // The same, with all that is missing on the way added.
  JsonDocument::ObjectId Make(JsonDocument& document) const;
  void Delete(JsonDocument& document) const;
};

// A value as it is stored. Each way of looking at it gives an empty result for another kind of
// value, and when there is no memory.
class XRegistryValue {
 public:
  XRegistryValue() = default;
  XRegistryValue(const JsonDocument& document, const XRegistryKey& key, std::wstring_view name);
  // The same, of a key that was found.
  XRegistryValue(const JsonDocument& document, JsonDocument::ObjectId key, std::wstring_view name);

  [[nodiscard]] bool Exists() const { return Json.has_value(); }
  [[nodiscard]] int64_t Number() const;
  [[nodiscard]] XStr String() const;
  [[nodiscard]] bool Bytes(XMem& memory) const;
  // Copies what fits; the number of bytes copied.
  [[nodiscard]] size_t Bytes(uint8_t* buffer, size_t size) const;
  // False when the value is no list. Elements that are no strings are left out.
  [[nodiscard]] bool List(XStrList& list) const;
  // The bytes of binary data, or the characters of another string; 0 for anything else.
  [[nodiscard]] size_t Length() const;

 private:
  std::optional<std::string> Json;
};

// The reverse: a list as JSON.
std::string ToJsonList(const XStrList& list);

}  // namespace wavecodec
