#include "support/xregistry_value.h"

#include <algorithm>
#include <cstring>
#include <new>

#include "support/base64.h"
#include "support/json_text.h"

namespace wavecodec {
namespace {

using ObjectId = JsonDocument::ObjectId;

// Backslashes before the first and behind the last component mean nothing.
std::wstring_view Trimmed(std::wstring_view path) {
  path.remove_prefix(std::min(path.find_first_not_of(L'\\'), path.size()));
  return path.substr(0, path.find_last_not_of(L'\\') + 1);
}

// Goes down the path with `step(object, component)` from the top.
template <typename Step>
ObjectId Descend(const XRegistryKey& key, Step step) {
  ObjectId object = step(JsonDocument::kRoot, key.Main);
  std::wstring_view rest = Trimmed(key.Path);
  while (object != JsonDocument::kNone && !rest.empty()) {
    const size_t end = std::min(rest.find(L'\\'), rest.size());
    object = step(object, rest.substr(0, end));
    rest.remove_prefix(std::min(end + 1, rest.size()));
  }
  return object;
}

template <typename Result, typename Call>
Result OrNothing(Call call) {
  try {
    return call();
  } catch (const std::bad_alloc&) {
    return Result{};
  }
}

}  // namespace

ObjectId XRegistryKey::Find(const JsonDocument& document) const {
  return Descend(*this, [&](ObjectId object, std::wstring_view name) {
    return document.FindObject(object, name);
  });
}

ObjectId XRegistryKey::Make(JsonDocument& document) const {
  return Descend(*this, [&](ObjectId object, std::wstring_view name) {
    return document.MakeObject(object, name);
  });
}

void XRegistryKey::Delete(JsonDocument& document) const {
  const std::wstring_view path = Trimmed(Path);
  if (path.empty()) return document.Remove(JsonDocument::kRoot, Main, true);
  const size_t last = path.rfind(L'\\') + 1;  // 0 when there is none
  const ObjectId parent = XRegistryKey{Main, path.substr(0, last)}.Find(document);
  if (parent != JsonDocument::kNone) document.Remove(parent, path.substr(last), true);
}

XRegistryValue::XRegistryValue(const JsonDocument& document, const XRegistryKey& key,
                               std::wstring_view name)
    : XRegistryValue(document, key.Find(document), name) {}

XRegistryValue::XRegistryValue(const JsonDocument& document, JsonDocument::ObjectId object,
                               std::wstring_view name) {
  if (object == JsonDocument::kNone) return;
  if (const std::string* value = document.FindValue(object, name)) Json = *value;
}

int64_t XRegistryValue::Number() const { return Json ? FromJsonNumber(*Json).value_or(0) : 0; }

XStr XRegistryValue::String() const {
  if (!Json || !IsJsonString(*Json)) return {};
  return OrNothing<XStr>([&] { return FromJsonString(*Json); });
}

bool XRegistryValue::Bytes(XMem& memory) const {
  if (Json && IsJsonString(*Json)) {
    return OrNothing<bool>([&] { return FromBase64(FromJsonString(*Json), memory); });
  }
  memory.Free();
  return false;
}

size_t XRegistryValue::Bytes(uint8_t* buffer, size_t size) const {
  XMem memory;
  if (buffer == nullptr || !Bytes(memory)) return 0;
  const size_t copied = std::min(size, memory.Size());
  if (copied != 0) std::memcpy(buffer, memory.Data(), copied);
  return copied;
}

bool XRegistryValue::List(XStrList& list) const {
  list.clear();
  if (!Json || !Json->starts_with('[')) return false;
  const bool done = OrNothing<bool>([&] {
    for (const std::string_view json : JsonStringElements(*Json)) {
      list.push_back(FromJsonString(json));
    }
    return true;
  });
  if (!done) list.clear();
  return done;
}

size_t XRegistryValue::Length() const {
  const XStr text = String();
  return Base64Size(text).value_or(text.size());
}

std::string ToJsonList(const XStrList& list) {
  std::string json = "[";
  for (const XStr& text : list) {
    if (json.size() > 1) json += ", ";
    json += ToJsonString(text);
  }
  return json += ']';
}

}  // namespace wavecodec
