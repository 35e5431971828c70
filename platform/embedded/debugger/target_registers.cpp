#include "platform/embedded/debugger/target_registers.h"

#include <algorithm>
#include <cstring>

namespace varnel::embedded {
namespace {

constexpr std::uint32_t kInt16 = 2;
constexpr std::uint32_t kInt32 = platform::kDebugValueInt32;
constexpr std::uint32_t kInt64 = platform::kDebugValueInt64;
constexpr std::uint16_t kNotInContext = 0xFFFF;

struct Register {
  std::string_view name;
  std::uint16_t place;  // in the context record
  std::uint32_t type;
};
constexpr Register kRegisters[] = {
    {"rax", 0x78, kInt64}, {"rcx", 0x80, kInt64}, {"rdx", 0x88, kInt64},   {"rbx", 0x90, kInt64},
    {"rsp", 0x98, kInt64}, {"rbp", 0xA0, kInt64}, {"rsi", 0xA8, kInt64},   {"rdi", 0xB0, kInt64},
    {"r8", 0xB8, kInt64},  {"r9", 0xC0, kInt64},  {"r10", 0xC8, kInt64},   {"r11", 0xD0, kInt64},
    {"r12", 0xD8, kInt64}, {"r13", 0xE0, kInt64}, {"r14", 0xE8, kInt64},   {"r15", 0xF0, kInt64},
    {"rip", 0xF8, kInt64}, {"efl", 0x44, kInt32}, {"cs", 0x38, kInt16},    {"ds", 0x3A, kInt16},
    {"es", 0x3C, kInt16},  {"fs", 0x3E, kInt16},  {"gs", 0x40, kInt16},    {"ss", 0x42, kInt16},
    {"dr0", 0x48, kInt64}, {"dr1", 0x50, kInt64}, {"dr2", 0x58, kInt64},   {"dr3", 0x60, kInt64},
    {"dr6", 0x68, kInt64}, {"dr7", 0x70, kInt64}, {"mxcsr", 0x34, kInt32}, {"cr8", kNotInContext, kInt64},
};

bool SameName(std::string_view a, std::string_view b) {
  const auto fold = [](char c) { return c >= 'A' && c <= 'Z' ? static_cast<char>(c - 'A' + 'a') : c; };
  return std::equal(a.begin(), a.end(), b.begin(), b.end(), [fold](char x, char y) { return fold(x) == fold(y); });
}

std::size_t WidthOf(std::uint32_t type) {
  return type == kInt64 ? 8 : type == kInt32 ? 4 : 2;
}

}  // namespace

std::uint32_t RegisterCount() {
  return std::size(kRegisters);
}

std::optional<std::uint32_t> FindRegister(std::string_view name) {
  for (std::uint32_t i = 0; i < RegisterCount(); ++i) {
    if (SameName(kRegisters[i].name, name)) return i;
  }
  return {};
}

std::string_view RegisterName(std::uint32_t index) {
  return kRegisters[index].name;
}

std::uint32_t RegisterType(std::uint32_t index) {
  return kRegisters[index].type;
}

std::optional<platform::DEBUG_VALUE> ReadRegister(const formats::KernelDump& dump, std::uint32_t index) {
  const Register& known = kRegisters[index];
  platform::DEBUG_VALUE value{};
  value.Type = known.type;
  if (known.place == kNotInContext) {
    const auto level = dump.Cr8();
    if (!level) return {};
    value.I64 = *level;
    return value;
  }
  const auto& context = dump.header().context;
  if (!context) return {};
  std::memcpy(value.RawBytes, context->bytes.data() + known.place, WidthOf(known.type));
  return value;
}

}  // namespace varnel::embedded
