#include "support/xregistry.h"

#include <algorithm>
#include <cstdlib>
#include <mutex>
#include <new>
#include <optional>
#include <string_view>
#include <utility>

#include "support/json.h"
#include "support/json_text.h"
#include "support/xregistry_file.h"
#include "support/xregistry_transaction.h"

namespace wavecodec {
namespace {

// The document that was read last, and where the file is said to be.
struct State {
  std::mutex Guard;
  std::optional<std::string> Location;  // instead of the environment's
  XStr MainKey;                         // what hDefMainKey points to after SetDefault

  std::optional<JsonDocument> Document;  // of `Path`
  std::string Path;
  XFileStamp Stamp;
  int Patience = XRegistryFile::kPatience;
  bool Trusted = false;  // the document is what is in a file with this stamp
};

State& TheState() {
  static State state;
  return state;
}

std::string InHomeFolder(std::string path) {
  if (!path.starts_with("~") || (path.size() > 1 && path[1] != '/')) return path;
  const char* home = std::getenv("HOME");
  if (home == nullptr || *home == '\0') return {};
  return home + path.substr(1);
}

std::string Locate(const State& state) {
  if (state.Location) return InHomeFolder(*state.Location);
  const char* set = std::getenv("XCLASS_XREGISTRY_LOCATION");
  return InHomeFolder(set != nullptr && *set != '\0' ? set : "~/.XRegistry");
}

// Brings the cached document up to date. As long as nothing changed this is one `stat`.
void Refresh(State& state) {
  std::string path = Locate(state);
  if (state.Trusted && path == state.Path && XFileStamp::Of(path) == state.Stamp) return;
  state.Trusted = false;
  if (path != state.Path) state.Document.reset();
  state.Path = std::move(path);
  const bool read = XRegistryFile::Read(state.Path, state.Document, state.Stamp, state.Patience);
  state.Trusted = read && !state.Stamp.IsTooYoung();
}

// Shows the present document to `look`; not at all when there is no memory for that.
template <typename Look>
void Read(Look look) {
  State& state = TheState();
  const std::lock_guard lock(state.Guard);
  try {
    Refresh(state);
    static const JsonDocument none;
    look(state.Document ? std::as_const(*state.Document) : none);
  } catch (const std::bad_alloc&) {
    return;
  }
}

std::wstring_view OrEmpty(const wchar_t* text) {
  return text != nullptr ? std::wstring_view(text) : std::wstring_view();
}

// Writes one thing.
template <typename Edit>
bool Write(Edit edit) {
  XRegistryTransaction transaction;
  edit(transaction);
  static_cast<void>(transaction.Commit());
  return true;
}

}  // namespace

bool XRegistry::SetDefault(const wchar_t* mainKey, const wchar_t* path) {
  State& state = TheState();
  const std::lock_guard lock(state.Guard);
  DefaultKeyPath = OrEmpty(path);
  state.MainKey = OrEmpty(mainKey);
  hDefMainKey = mainKey != nullptr ? state.MainKey.c_str() : nullptr;
  return true;
}

XRegistryKey XRegistry::Key(const wchar_t* mainKey, const wchar_t* path) {
  if (mainKey == nullptr) mainKey = hDefMainKey;
  XRegistryKey key{L"UNSPEC", DefaultKeyPath};
  if (mainKey != nullptr) key.Main = mainKey;
  if (path != nullptr) key.Path = path;
  return key;
}

std::string XRegistry::FilePath() {
  State& state = TheState();
  const std::lock_guard lock(state.Guard);
  return Locate(state);
}

void XRegistry::ForgetCache() {
  State& state = TheState();
  const std::lock_guard lock(state.Guard);
  state.Trusted = false;
  state.Document.reset();  // even where the file cannot be locked, one's own write is seen
}

JsonDocument XRegistry::Present() {
  JsonDocument copy;
  Read([&](const JsonDocument& document) { copy = document; });
  return copy;
}

XRegistryValue XRegistry::Value(const wchar_t* name, const wchar_t* mainKey, const wchar_t* path,
                                bool* exists) {
  XRegistryValue value;
  Read([&](const JsonDocument& document) {
    value = XRegistryValue(document, Key(mainKey, path), OrEmpty(name));
  });
  if (exists != nullptr) *exists = value.Exists();
  return value;
}

uint32_t XRegistry::GetDWORD(const wchar_t* name, const wchar_t* mainKey, const wchar_t* path,
                             bool* exists) {
  return static_cast<uint32_t>(Value(name, mainKey, path, exists).Number());
}

void XRegistry::GetDWORDs(std::span<const wchar_t* const> names, std::span<uint32_t> values,
                          const wchar_t* mainKey, const wchar_t* path) {
  std::fill(values.begin(), values.end(), 0U);
  Read([&](const JsonDocument& document) {
    const JsonDocument::ObjectId key = Key(mainKey, path).Find(document);
    for (size_t i = 0; i < names.size(); ++i) {
      values[i] = static_cast<uint32_t>(XRegistryValue(document, key, OrEmpty(names[i])).Number());
    }
  });
}

int32_t XRegistry::GetInt32(const wchar_t* name, const wchar_t* mainKey, const wchar_t* path,
                            bool* exists) {
  return static_cast<int32_t>(Value(name, mainKey, path, exists).Number());
}

int64_t XRegistry::GetInt64(const wchar_t* name, const wchar_t* mainKey, const wchar_t* path,
                            bool* exists) {
  return Value(name, mainKey, path, exists).Number();
}

XStr XRegistry::GetString(const wchar_t* name, const wchar_t* mainKey, const wchar_t* path,
                          bool* exists) {
  return Value(name, mainKey, path, exists).String();
}

size_t XRegistry::GetBinaryData(const wchar_t* name, void* buffer, size_t size,
                                const wchar_t* mainKey, const wchar_t* path) {
  return Value(name, mainKey, path).Bytes(static_cast<uint8_t*>(buffer), size);
}

bool XRegistry::GetBinaryDataToXMem(const wchar_t* name, XMem& memory, const wchar_t* mainKey,
                                    const wchar_t* path) {
  return Value(name, mainKey, path).Bytes(memory);
}

bool XRegistry::GetStringList(XStrList& list, const wchar_t* name, const wchar_t* mainKey,
                              const wchar_t* path) {
  return Value(name, mainKey, path).List(list);
}

size_t XRegistry::GetValueLength(const wchar_t* name, const wchar_t* mainKey, const wchar_t* path) {
  return Value(name, mainKey, path).Length();
}

bool XRegistry::DoesValueExist(const wchar_t* name, const wchar_t* mainKey, const wchar_t* path) {
  return Value(name, mainKey, path).Exists();
}

bool XRegistry::DoesKeyExist(const wchar_t* mainKey, const wchar_t* path) {
  bool found = false;
  Read([&](const JsonDocument& document) {
    found = Key(mainKey, path).Find(document) != JsonDocument::kNone;
  });
  return found;
}

bool XRegistry::ListNames(XStrList& list, bool objects, const wchar_t* mainKey,
                          const wchar_t* path) {
  list.clear();
  bool found = false;
  Read([&](const JsonDocument& document) {
    const JsonDocument::ObjectId object = Key(mainKey, path).Find(document);
    if (object == JsonDocument::kNone) return;
    for (const JsonDocument::Member& member : document.MembersOf(object)) {
      if (member.IsObject() == objects) list.push_back(FromJsonString(member.Key));
    }
    found = true;
  });
  if (!found) list.clear();
  return found;
}

bool XRegistry::EnumKeys(XStrList& list, const wchar_t* mainKey, const wchar_t* path) {
  return ListNames(list, true, mainKey, path);
}

bool XRegistry::EnumValueNames(XStrList& list, const wchar_t* mainKey, const wchar_t* path) {
  return ListNames(list, false, mainKey, path);
}

bool XRegistry::SetDWORD(uint32_t value, const wchar_t* name, const wchar_t* mainKey,
                         const wchar_t* path) {
  return SetInt64(int64_t{value}, name, mainKey, path);
}

bool XRegistry::SetInt32(int32_t value, const wchar_t* name, const wchar_t* mainKey,
                         const wchar_t* path) {
  return SetInt64(int64_t{value}, name, mainKey, path);
}

bool XRegistry::SetInt64(int64_t value, const wchar_t* name, const wchar_t* mainKey,
                         const wchar_t* path) {
  return Write([&](XRegistryTransaction& edit) { edit.SetInt64(value, name, mainKey, path); });
}

bool XRegistry::SetString(const XStr& value, const wchar_t* name, const wchar_t* mainKey,
                          const wchar_t* path) {
  return Write([&](XRegistryTransaction& edit) { edit.SetString(value, name, mainKey, path); });
}

bool XRegistry::SetBinaryData(const wchar_t* name, const void* bytes, size_t size,
                              const wchar_t* mainKey, const wchar_t* path) {
  return Write(
      [&](XRegistryTransaction& edit) { edit.SetBinaryData(name, bytes, size, mainKey, path); });
}

bool XRegistry::SetStringList(const XStrList& list, const wchar_t* name, const wchar_t* mainKey,
                              const wchar_t* path) {
  return Write([&](XRegistryTransaction& edit) { edit.SetStringList(list, name, mainKey, path); });
}

bool XRegistry::DeleteVal(const wchar_t* name, const wchar_t* mainKey, const wchar_t* path) {
  return Write([&](XRegistryTransaction& edit) { edit.DeleteVal(name, mainKey, path); });
}

bool XRegistry::DeleteKeyAndSubKeys(const wchar_t* mainKey, const wchar_t* path) {
  return Write([&](XRegistryTransaction& edit) { edit.DeleteKeyAndSubKeys(mainKey, path); });
}

XStr XRegistry::RegFileLocation() { return FromFileNameBytes(FilePath()); }

void XRegistry::SetRegFileLocation(const wchar_t* path, bool flag) {
  State& state = TheState();
  const std::lock_guard lock(state.Guard);
  state.Location.reset();
  // A name that no file can have leads to no file, not to another one.
  if (path != nullptr && flag) state.Location = ToFileNameBytes(path).value_or("");
}

bool XRegistry::IsRegFileLocationSet() {
  State& state = TheState();
  const std::lock_guard lock(state.Guard);
  return state.Location.has_value();
}

}  // namespace wavecodec
