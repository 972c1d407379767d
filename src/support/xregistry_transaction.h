// Several changes of the settings store in one write.
#pragma once

#include <cstddef>
#include <cstdint>
#include <functional>
#include <optional>
#include <vector>

#include "support/json.h"
#include "support/xmem.h"
#include "support/xregistry_file.h"
#include "support/xregistry_value.h"
#include "support/xstr.h"

namespace wavecodec {

// Collects changes in memory until Commit() writes them all at once; without it they are forgotten.
// The gets see the store as it was at the first of them, with the changes that are pending. The
// parameters and results are those of XRegistry. For one thread at a time.
class XRegistryTransaction {
 public:
  // Takes the store's lock now and keeps it until the end of the transaction: the gets then see
  // what Commit() will change, so that a value can be computed from the one before without losing
  // the update of another process. Keep this short, and leave the XRegistry operations alone
  // meanwhile: writing would wait for the lock for ever. False when the store cannot be written.
  [[nodiscard]] bool Lock();
  // False when the changes could not be written, or one of them was lost for want of memory, which
  // was thrown then; the store is as it was. Either way the transaction is empty again, and may be
  // used for the next one.
  [[nodiscard]] bool Commit();

  uint32_t GetDWORD(const wchar_t* name, const wchar_t* mainKey, const wchar_t* path,
                    bool* exists = nullptr);
  int32_t GetInt32(const wchar_t* name, const wchar_t* mainKey, const wchar_t* path,
                   bool* exists = nullptr);
  int64_t GetInt64(const wchar_t* name, const wchar_t* mainKey, const wchar_t* path,
                   bool* exists = nullptr);
  XStr GetString(const wchar_t* name, const wchar_t* mainKey, const wchar_t* path,
                 bool* exists = nullptr);
  bool GetBinaryDataToXMem(const wchar_t* name, XMem& memory, const wchar_t* mainKey,
                           const wchar_t* path);
  bool GetStringList(XStrList& list, const wchar_t* name, const wchar_t* mainKey,
                     const wchar_t* path);
  bool DoesValueExist(const wchar_t* name, const wchar_t* mainKey, const wchar_t* path);
  bool DoesKeyExist(const wchar_t* mainKey, const wchar_t* path);

  bool SetDWORD(uint32_t value, const wchar_t* name, const wchar_t* mainKey, const wchar_t* path);
  bool SetInt32(int32_t value, const wchar_t* name, const wchar_t* mainKey, const wchar_t* path);
  bool SetInt64(int64_t value, const wchar_t* name, const wchar_t* mainKey, const wchar_t* path);
  bool SetString(const XStr& value, const wchar_t* name, const wchar_t* mainKey,
                 const wchar_t* path);
  bool SetBinaryData(const wchar_t* name, const void* bytes, size_t size, const wchar_t* mainKey,
                     const wchar_t* path);
  bool SetStringList(const XStrList& list, const wchar_t* name, const wchar_t* mainKey,
                     const wchar_t* path);
  bool DeleteVal(const wchar_t* name, const wchar_t* mainKey, const wchar_t* path);
  bool DeleteKeyAndSubKeys(const wchar_t* mainKey, const wchar_t* path);
  // Copies all values and keys below one key to another, which keeps what it has besides. A key
  // that is not there is not copied.
  bool CopyKey(const wchar_t* fromMainKey, const wchar_t* fromPath, const wchar_t* toMainKey,
               const wchar_t* toPath);

 private:
  using Change = std::function<void(JsonDocument&)>;

  void Clear();
  template <typename Work>
  auto OrClear(Work work);
  bool Add(Change change);
  bool SetJson(std::string json, const wchar_t* name, const wchar_t* mainKey, const wchar_t* path);
  JsonDocument& Seen();
  XRegistryValue Value(const wchar_t* name, const wchar_t* mainKey, const wchar_t* path,
                       bool* exists = nullptr);

  std::vector<Change> Changes;        // not yet in `File`
  std::optional<JsonDocument> View;   // what the gets see without the lock
  std::optional<XRegistryFile> File;  // while the lock is held
  bool Incomplete = false;            // a change was lost
};

}  // namespace wavecodec
