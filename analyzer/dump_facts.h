// What is read out of an open crash dump. Wide text; addresses are those of the crashed machine.
#pragma once

#include <cstdint>
#include <map>
#include <string>

namespace varnel {

struct SystemInfo {
  std::u16string osVersion;          // empty when the engine gave nothing
  std::uint32_t uptimeMs = 0;        // 0: unknown. Wraps after about 49.7 days
  std::uint64_t crashTime = 0;       // a FILETIME count, 0: unknown
  std::uint32_t processorCount = 0;  // always 0: the count is never asked for
  std::u16string machineType;        // "x64" and the like, empty: unknown
};

struct IrqlInfo {
  std::uint32_t level = 0;
  std::uint32_t valid = 0;  // 1 when `level` was read
  std::u16string name;
};

struct StackFrameInfo {
  std::u16string symbol;
  std::uint64_t codeAddress = 0;
  std::uint64_t stackAddress = 0;
  std::uint32_t memoryProtect = 0;  // page protection of the code address, 0: unknown
  std::uint32_t inModule = 0;       // 1 when the address lies in a known module
};

struct ModuleInfo {
  std::u16string moduleName;
  std::u16string imagePath;
  std::uint64_t baseAddress = 0;
  std::uint32_t size = 0;
  std::uint32_t timestamp = 0;
  std::uint32_t checksum = 0;
  std::u16string loadedImagePath;
};

/// Registers by name, in the order of the names' characters: "r10" before "r8".
using RegisterMap = std::map<std::u16string, std::uint64_t>;

}  // namespace varnel
