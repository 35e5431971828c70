#include "base/registry_services.h"

#include "base/log.h"
#include "base/text.h"
#include "platform/platform.h"

namespace varnel {
namespace {

using platform::RegistryPort;
using platform::SystemPort;

platform::HKEY OpenMachineKey(const char16_t* path) {
  platform::HKEY key = nullptr;
  const std::uint32_t error =
      RegistryPort().RegOpenKeyExW(platform::kHkeyLocalMachine, path, 0, platform::kKeyRead, &key);
  return error == platform::kErrorSuccess ? key : nullptr;
}

/// Whether a flush of that hive was possible and failed; its code then.
std::uint32_t FlushHive(const char16_t* hive) {
  const platform::HKEY key = OpenMachineKey(hive);
  if (key == nullptr) return platform::kErrorSuccess;
  const std::uint32_t error = RegistryPort().RegFlushKey(key);
  RegistryPort().RegCloseKey(key);
  return error;
}

}  // namespace

std::int32_t GetVarnelFullPathByGuid(const GUID* guid, char16_t* path, std::uint32_t capacity) {
  const GUID tool = *guid;
  auto result = static_cast<std::int32_t>(kStatusUnsuccessful);
  char16_t wcsSubKeyPath[kMaxPath];
  CopyText(wcsSubKeyPath, kMaxPath, u"SOFTWARE\\KelvoCLSID");
  char16_t text[kGuidTextCapacity] = {};
  if (SystemPort().StringFromGUID2(tool, text, kGuidTextCapacity) != 0) {
    PathAppendW(wcsSubKeyPath, text);
    PathAppendW(wcsSubKeyPath, u"InprocServer32");
  }
  const platform::HKEY key = OpenMachineKey(wcsSubKeyPath);
  if (key == nullptr) {
    WrapLogPrint(LOG_ERROR, u"GetVarnelFullPathByGuid func RegOpenKeyExW wcsSubKeyPath(%s) failed.\r\n", wcsSubKeyPath);
    return result;
  }
  // One character more than is asked for: a value that fills the room may come without its NUL.
  char16_t value[kMaxPath + 1] = {};
  std::uint32_t size = kMaxPath * sizeof(char16_t);
  if (RegistryPort().RegQueryValueExW(key, nullptr, nullptr, value, &size) == platform::kErrorSuccess) {
    CopyText(path, capacity, value);
    result = 0;
  }
  // A wrong close of long standing that callers' machines live with: where keys and handles are apart, the key stays
  // open for the life of the process.
  SystemPort().CloseHandle(key);
  return result;
}

void FlushMachineHives() {
  if (const std::uint32_t error = FlushHive(u"SOFTWARE"); error != platform::kErrorSuccess) {
    WrapLogPrint(LOG_DETAIL, u"InstallVarnel func RegFlushKey for HKEY_LOCAL_MACHINE\\SOFTWARE failed(0x%x).\r\n",
                 error);
  }
  if (const std::uint32_t error = FlushHive(u"SYSTEM"); error != platform::kErrorSuccess) {
    WrapLogPrint(LOG_DETAIL, u"InstallVarnel func RegFlushKey for HKEY_LOCAL_MACHINE\\SYSTEM failed(0x%x).\r\n", error);
  }
}

}  // namespace varnel
