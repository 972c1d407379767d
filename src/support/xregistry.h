// Named values under key paths that the programs of the host suite share: one JSON document in one
// file.
#pragma once

#include <cstddef>
#include <cstdint>
#include <span>
#include <string>

#include "support/json.h"
#include "support/xmem.h"
#include "support/xregistry_value.h"
#include "support/xstr.h"

namespace wavecodec {

// Every read sees the file's present contents, every write is in the file when it returns. A value
// is named by its name, a main key ("HKCU") and a key path ("Software\Vendor\Product"), all
// compared without regard to the case of ASCII letters. A null main key or path means the default.
// Reading never fails: what is not there, or cannot be read, is 0 or empty. Writing always returns
// true, and leaves the file as it was when it cannot be written; an XRegistryTransaction tells. A
// file that another program keeps locked for about a second is not waited for any longer: reads
// then give what was read last, until the lock is gone. Nothing is thrown but std::bad_alloc, and
// never by reading a value. Any thread may call.
class XRegistry {
 public:
  // What null stands for. Without a default main key it is "UNSPEC".
  static inline const wchar_t* hDefMainKey = nullptr;
  static inline XStr DefaultKeyPath;
  // Keeps copies; to be called before other threads use the store.
  static bool SetDefault(const wchar_t* mainKey, const wchar_t* path);

  // The numbers are cut to the width of the result. `exists` tells whether there is a value of any
  // type.
  static uint32_t GetDWORD(const wchar_t* name, const wchar_t* mainKey, const wchar_t* path,
                           bool* exists = nullptr);
  // The same for several values of one key, as they are at one moment.
  static void GetDWORDs(std::span<const wchar_t* const> names, std::span<uint32_t> values,
                        const wchar_t* mainKey, const wchar_t* path);
  static int32_t GetInt32(const wchar_t* name, const wchar_t* mainKey, const wchar_t* path,
                          bool* exists = nullptr);
  static int64_t GetInt64(const wchar_t* name, const wchar_t* mainKey, const wchar_t* path,
                          bool* exists = nullptr);
  static XStr GetString(const wchar_t* name, const wchar_t* mainKey, const wchar_t* path,
                        bool* exists = nullptr);
  // Copies as many bytes as fit and returns how many those are.
  static size_t GetBinaryData(const wchar_t* name, void* buffer, size_t size,
                              const wchar_t* mainKey, const wchar_t* path);
  // False, and no memory, when the value is not there or not binary.
  static bool GetBinaryDataToXMem(const wchar_t* name, XMem& memory, const wchar_t* mainKey,
                                  const wchar_t* path);
  // False, and an empty list, when the value is not there or no list.
  static bool GetStringList(XStrList& list, const wchar_t* name, const wchar_t* mainKey,
                            const wchar_t* path);
  // The bytes of binary data, or the characters of another string; 0 for anything else. A string
  // that is valid base64 counts as binary data, as the file does not tell the two apart.
  static size_t GetValueLength(const wchar_t* name, const wchar_t* mainKey, const wchar_t* path);
  static bool DoesValueExist(const wchar_t* name, const wchar_t* mainKey, const wchar_t* path);
  static bool DoesKeyExist(const wchar_t* mainKey, const wchar_t* path);
  // The names in the order of the file. False when there is no such key.
  static bool EnumKeys(XStrList& list, const wchar_t* mainKey, const wchar_t* path);
  static bool EnumValueNames(XStrList& list, const wchar_t* mainKey, const wchar_t* path);

  static bool SetDWORD(uint32_t value, const wchar_t* name, const wchar_t* mainKey,
                       const wchar_t* path);
  static bool SetInt32(int32_t value, const wchar_t* name, const wchar_t* mainKey,
                       const wchar_t* path);
  static bool SetInt64(int64_t value, const wchar_t* name, const wchar_t* mainKey,
                       const wchar_t* path);
  static bool SetString(const XStr& value, const wchar_t* name, const wchar_t* mainKey,
                        const wchar_t* path);
  static bool SetBinaryData(const wchar_t* name, const void* bytes, size_t size,
                            const wchar_t* mainKey, const wchar_t* path);
  static bool SetStringList(const XStrList& list, const wchar_t* name, const wchar_t* mainKey,
                            const wchar_t* path);
  static bool DeleteVal(const wchar_t* name, const wchar_t* mainKey, const wchar_t* path);
  static bool DeleteKeyAndSubKeys(const wchar_t* mainKey, const wchar_t* path);

  // The file: the environment variable XCLASS_XREGISTRY_LOCATION names it, else it is
  // "~/.XRegistry"; a leading "~" is the user's home folder. Empty when there is no such folder.
  static XStr RegFileLocation();
  // Another file from now on, whatever the environment says; with a null path or without the flag,
  // the environment's again.
  static void SetRegFileLocation(const wchar_t* path, bool flag = true);
  static bool IsRegFileLocationSet();

 private:
  friend class XRegistryTransaction;

  static XRegistryKey Key(const wchar_t* mainKey, const wchar_t* path);
  static std::string FilePath();
  static void ForgetCache();
  static JsonDocument Present();
  static XRegistryValue Value(const wchar_t* name, const wchar_t* mainKey, const wchar_t* path,
                              bool* exists = nullptr);
  static bool ListNames(XStrList& list, bool objects, const wchar_t* mainKey, const wchar_t* path);
};

}  // namespace wavecodec
