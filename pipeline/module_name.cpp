#include "pipeline/module_name.h"

#include <array>
#include <bit>

#include "base/format.h"
#include "pipeline/target_consumer.h"

namespace varnel {
namespace {

constexpr int kFirstNamedBit = 3;
constexpr int kLastNamedBit = 33;
constexpr std::array<const char*, kLastNamedBit - kFirstNamedBit + 1> kNames = {
    "ModuleVNMgr", "ModuleReserve1", "ModuleReserve2", "ModuleReserve3", "Module01", "Module02", "Module03", "Module04",
    "Module05",    "Module06",       "Module07",       "Module08",       "Module09", "Module10", "Module11", "Module12",
    "Module13",    "Module14",       "Module15",       "Module16",       "Module17", "Module18", "Module19", "Module20",
    "Module21",    "Module22",       "Module23",       "Module24",       "Module25", "Module26", "Module27",
};

void CopyName(const char* name, char* text, std::uint32_t capacity) {
  std::uint32_t length = 0;
  for (; name[length] != '\0' && length + 1 < capacity; ++length) text[length] = name[length];
  text[length] = '\0';
}

}  // namespace

void GetModuleNameByKeyWord(std::uint64_t keyword, char* text, std::uint32_t capacity) {
  if (text == nullptr || capacity == 0) return;
  keyword &= ~kNoModuleBits;
  if (keyword == 0) return CopyName("None", text, capacity);
  const int bit = std::countr_zero(keyword);
  if (bit <= kLastNamedBit) return CopyName(kNames[bit - kFirstNamedBit], text, capacity);
  FormatTo(text, capacity, "Unknown_0x%llX", keyword);
}

}  // namespace varnel
