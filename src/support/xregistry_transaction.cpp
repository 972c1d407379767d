#include "support/xregistry_transaction.h"

#include <new>
#include <string>
#include <utility>

#include "support/base64.h"
#include "support/json_text.h"
#include "support/xregistry.h"

namespace wavecodec {
namespace {

// The place of a key, kept beyond the call that named it.
struct OwnKey {
  explicit OwnKey(const XRegistryKey& key) : Main(key.Main), Path(key.Path) {}
  [[nodiscard]] XRegistryKey Get() const { return {Main, Path}; }

  XStr Main;
  XStr Path;
};

XStr OrEmpty(const wchar_t* text) { return text != nullptr ? text : L""; }

}  // namespace

void XRegistryTransaction::Clear() {
  File.reset();
  Changes.clear();
  View.reset();
}

// A document that was edited by half is never written.
template <typename Work>
auto XRegistryTransaction::OrClear(Work work) {
  try {
    return work();
  } catch (...) {
    Clear();
    Incomplete = true;
    throw;
  }
}

bool XRegistryTransaction::Lock() {
  if (File) return true;
  return OrClear([&] {
    File.emplace(XRegistry::FilePath());
    if (!File->Lock()) {
      File.reset();
      return false;
    }
    for (const Change& change : Changes) change(File->Document());
    Changes.clear();
    View.reset();
    return true;
  });
}

bool XRegistryTransaction::Commit() {
  const bool nothing = !File && Changes.empty();
  const bool done = !Incomplete && (nothing || OrClear([&] { return Lock() && File->Store(); }));
  Clear();
  Incomplete = false;
  // Only now: whoever holds the cache may be waiting for the file.
  if (!nothing) XRegistry::ForgetCache();
  return done;
}

bool XRegistryTransaction::Add(Change change) {
  return OrClear([&] {
    if (File) {
      change(File->Document());
    } else {
      if (View) change(*View);
      Changes.push_back(std::move(change));
    }
    return true;
  });
}

JsonDocument& XRegistryTransaction::Seen() {
  if (File) return File->Document();
  if (!View) {
    JsonDocument document = XRegistry::Present();
    for (const Change& change : Changes) change(document);
    View = std::move(document);
  }
  return *View;
}

XRegistryValue XRegistryTransaction::Value(const wchar_t* name, const wchar_t* mainKey,
                                           const wchar_t* path, bool* exists) {
  XRegistryValue value;
  try {
    value = XRegistryValue(Seen(), XRegistry::Key(mainKey, path), OrEmpty(name));
  } catch (const std::bad_alloc&) {
    value = {};
  }
  if (exists != nullptr) *exists = value.Exists();
  return value;
}

uint32_t XRegistryTransaction::GetDWORD(const wchar_t* name, const wchar_t* mainKey,
                                        const wchar_t* path, bool* exists) {
  return static_cast<uint32_t>(Value(name, mainKey, path, exists).Number());
}

int32_t XRegistryTransaction::GetInt32(const wchar_t* name, const wchar_t* mainKey,
                                       const wchar_t* path, bool* exists) {
  return static_cast<int32_t>(Value(name, mainKey, path, exists).Number());
}

int64_t XRegistryTransaction::GetInt64(const wchar_t* name, const wchar_t* mainKey,
                                       const wchar_t* path, bool* exists) {
  return Value(name, mainKey, path, exists).Number();
}

XStr XRegistryTransaction::GetString(const wchar_t* name, const wchar_t* mainKey,
                                     const wchar_t* path, bool* exists) {
  return Value(name, mainKey, path, exists).String();
}

bool XRegistryTransaction::GetBinaryDataToXMem(const wchar_t* name, XMem& memory,
                                               const wchar_t* mainKey, const wchar_t* path) {
  return Value(name, mainKey, path).Bytes(memory);
}

bool XRegistryTransaction::GetStringList(XStrList& list, const wchar_t* name,
                                         const wchar_t* mainKey, const wchar_t* path) {
  return Value(name, mainKey, path).List(list);
}

bool XRegistryTransaction::DoesValueExist(const wchar_t* name, const wchar_t* mainKey,
                                          const wchar_t* path) {
  return Value(name, mainKey, path).Exists();
}

bool XRegistryTransaction::DoesKeyExist(const wchar_t* mainKey, const wchar_t* path) {
  try {
    return XRegistry::Key(mainKey, path).Find(Seen()) != JsonDocument::kNone;
  } catch (const std::bad_alloc&) {
    return false;
  }
}

bool XRegistryTransaction::SetJson(std::string json, const wchar_t* name, const wchar_t* mainKey,
                                   const wchar_t* path) {
  return Add([json = std::move(json), name = OrEmpty(name),
              key = OwnKey(XRegistry::Key(mainKey, path))](JsonDocument& document) {
    document.SetValue(key.Get().Make(document), name, json);
  });
}

bool XRegistryTransaction::SetDWORD(uint32_t value, const wchar_t* name, const wchar_t* mainKey,
                                    const wchar_t* path) {
  return SetJson(std::to_string(value), name, mainKey, path);
}

bool XRegistryTransaction::SetInt32(int32_t value, const wchar_t* name, const wchar_t* mainKey,
                                    const wchar_t* path) {
  return SetJson(std::to_string(value), name, mainKey, path);
}

bool XRegistryTransaction::SetInt64(int64_t value, const wchar_t* name, const wchar_t* mainKey,
                                    const wchar_t* path) {
  return SetJson(std::to_string(value), name, mainKey, path);
}

bool XRegistryTransaction::SetString(const XStr& value, const wchar_t* name, const wchar_t* mainKey,
                                     const wchar_t* path) {
  return SetJson(ToJsonString(value), name, mainKey, path);
}

bool XRegistryTransaction::SetBinaryData(const wchar_t* name, const void* bytes, size_t size,
                                         const wchar_t* mainKey, const wchar_t* path) {
  const std::string text =
      ToBase64(static_cast<const uint8_t*>(bytes), bytes != nullptr ? size : 0);
  return SetJson(ToJsonString(FromUtf8(text)), name, mainKey, path);
}

bool XRegistryTransaction::SetStringList(const XStrList& list, const wchar_t* name,
                                         const wchar_t* mainKey, const wchar_t* path) {
  return SetJson(ToJsonList(list), name, mainKey, path);
}

bool XRegistryTransaction::DeleteVal(const wchar_t* name, const wchar_t* mainKey,
                                     const wchar_t* path) {
  return Add(
      [name = OrEmpty(name), key = OwnKey(XRegistry::Key(mainKey, path))](JsonDocument& document) {
        const JsonDocument::ObjectId object = key.Get().Find(document);
        if (object != JsonDocument::kNone) document.Remove(object, name, false);
      });
}

bool XRegistryTransaction::DeleteKeyAndSubKeys(const wchar_t* mainKey, const wchar_t* path) {
  return Add([key = OwnKey(XRegistry::Key(mainKey, path))](JsonDocument& document) {
    key.Get().Delete(document);
  });
}

bool XRegistryTransaction::CopyKey(const wchar_t* fromMainKey, const wchar_t* fromPath,
                                   const wchar_t* toMainKey, const wchar_t* toPath) {
  return Add([from = OwnKey(XRegistry::Key(fromMainKey, fromPath)),
              to = OwnKey(XRegistry::Key(toMainKey, toPath))](JsonDocument& document) {
    const JsonDocument before = document;  // a key may be copied into itself
    const JsonDocument::ObjectId source = from.Get().Find(before);
    if (source != JsonDocument::kNone) {
      document.Merge(to.Get().Make(document), before, source);
    }
  });
}

}  // namespace wavecodec
