#include "platform/embedded/crashdump/context_record.h"

#include "platform/embedded/crashdump/bytes.h"

namespace varnel::embedded {

std::vector<std::byte> ContextRecord(const CrashRegisters& registers) {
  std::vector<std::byte> context(1232);
  Store<std::uint32_t>(context, 0x30, 0x0010001F);  // which parts are filled: all
  Store<std::uint32_t>(context, 0x34, 0x1F80);      // MxCsr, and once more among the floating-point registers
  Store<std::uint32_t>(context, 0x118, 0x1F80);
  Store<std::uint16_t>(context, 0x100, 0x27F);
  constexpr std::uint16_t kSegments[] = {0x10, 0x2B, 0x2B, 0x53, 0x2B, 0x18};  // cs ds es fs gs ss
  for (std::size_t i = 0; i < std::size(kSegments); ++i) Store<std::uint16_t>(context, 0x38 + 2 * i, kSegments[i]);
  Store<std::uint32_t>(context, 0x44, 0x00040246);  // EFlags
  Store<std::uint64_t>(context, 0x68, 0xFFFF0FF0);  // Dr6
  Store<std::uint64_t>(context, 0x70, 0x400);       // Dr7
  for (std::size_t i = 0; i < 16; ++i) Store<std::uint64_t>(context, 0x78 + 8 * i, registers.general.at(i));
  Store<std::uint64_t>(context, 0xF8, registers.rip);
  return context;
}

}  // namespace varnel::embedded
