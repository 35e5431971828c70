// The registry port: the Reg...W family as the module uses it. All results are Win32 error numbers, 0 for success;
// none of these calls touches the thread's last error. Any thread may call. Names are compared without regard to case
// and kept as first written. Key paths use '\' between names.
#pragma once

#include "platform/types.h"

namespace varnel::platform {

// Predefined keys; never closed, and closing one is harmless.
inline const HKEY kHkeyClassesRoot = reinterpret_cast<HKEY>(std::uintptr_t{0xFFFFFFFF80000000u});
inline const HKEY kHkeyCurrentUser = reinterpret_cast<HKEY>(std::uintptr_t{0xFFFFFFFF80000001u});
inline const HKEY kHkeyLocalMachine = reinterpret_cast<HKEY>(std::uintptr_t{0xFFFFFFFF80000002u});
inline const HKEY kHkeyUsers = reinterpret_cast<HKEY>(std::uintptr_t{0xFFFFFFFF80000003u});

// Access rights (REGSAM).
inline constexpr std::uint32_t kKeyQueryValue = 0x1;
inline constexpr std::uint32_t kKeySetValue = 0x2;
inline constexpr std::uint32_t kKeyCreateSubKey = 0x4;
inline constexpr std::uint32_t kKeyEnumerateSubKeys = 0x8;
inline constexpr std::uint32_t kDelete = 0x10000;
inline constexpr std::uint32_t kKeyRead = 0x20019;
inline constexpr std::uint32_t kKeyWrite = 0x20006;

// Value types.
inline constexpr std::uint32_t kRegNone = 0;
inline constexpr std::uint32_t kRegSz = 1;
inline constexpr std::uint32_t kRegExpandSz = 2;
inline constexpr std::uint32_t kRegBinary = 3;
inline constexpr std::uint32_t kRegDword = 4;
inline constexpr std::uint32_t kRegMultiSz = 7;
inline constexpr std::uint32_t kRegQword = 11;

inline constexpr std::uint32_t kRegOptionNonVolatile = 0;
inline constexpr std::uint32_t kRegOptionVolatile = 1;
inline constexpr std::uint32_t kRegCreatedNewKey = 1;
inline constexpr std::uint32_t kRegOpenedExistingKey = 2;

class Registry {
 public:
  virtual ~Registry() = default;

  /// `sub_key` may be null or empty, which opens the key itself once more. 2 when it does not exist.
  virtual std::uint32_t RegOpenKeyExW(HKEY key, const char16_t* sub_key, std::uint32_t options, std::uint32_t access,
                                      HKEY* result) = 0;
  /// Creates every missing key of the path. `disposition` may be null. The platform asks the key's own protection
  /// whether a sub-key may be made or deleted, not the rights of the handle. Directly below a root no key is made: 87.
  virtual std::uint32_t RegCreateKeyExW(HKEY key, const char16_t* sub_key, std::uint32_t options, std::uint32_t access,
                                        HKEY* result, std::uint32_t* disposition) = 0;
  virtual std::uint32_t RegCloseKey(HKEY key) = 0;
  /// A null or empty name is the default value. `data_size` is in bytes, in and out; with null `data` it tells the size
  /// needed; 234 (size told) when the room is too small, 2 when there is no such value. `type` may be null.
  virtual std::uint32_t RegQueryValueExW(HKEY key, const char16_t* name, std::uint32_t* type, void* data,
                                         std::uint32_t* data_size) = 0;
  virtual std::uint32_t RegSetValueExW(HKEY key, const char16_t* name, std::uint32_t type, const void* data,
                                       std::uint32_t data_size) = 0;
  virtual std::uint32_t RegDeleteValueW(HKEY key, const char16_t* name) = 0;
  /// `name_length` in characters, in with room for the NUL and out without it. 259 behind the last value.
  virtual std::uint32_t RegEnumValueW(HKEY key, std::uint32_t index, char16_t* name, std::uint32_t* name_length,
                                      std::uint32_t* type, void* data, std::uint32_t* data_size) = 0;
  virtual std::uint32_t RegEnumKeyExW(HKEY key, std::uint32_t index, char16_t* name, std::uint32_t* name_length) = 0;
  /// Either out value may be null.
  virtual std::uint32_t RegQueryInfoKeyW(HKEY key, std::uint32_t* sub_key_count, std::uint32_t* value_count) = 0;
  /// Deletes one key without sub-keys. 5 when it has some.
  virtual std::uint32_t RegDeleteKeyW(HKEY key, const char16_t* sub_key) = 0;
  /// Deletes the sub-key with all below it; with a null name what is below the key itself. 2 when it does not exist.
  virtual std::uint32_t RegDeleteTreeW(HKEY key, const char16_t* sub_key) = 0;
  /// Returns when what was written to the key's hive is on the disk.
  virtual std::uint32_t RegFlushKey(HKEY key) = 0;
};

}  // namespace varnel::platform
