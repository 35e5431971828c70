#include "tests/support/dump_bytes.h"

namespace varnel::support {
namespace {

namespace machine = made_machine;

constexpr std::uint64_t kPrcbDistance = 0x10000;
constexpr std::uint32_t kProcessors = 3;
constexpr std::uint32_t kCrashed = 1;

void PutUnicodeString(PagedDumpBytes* dump, std::uint64_t where, std::uint64_t buffer, std::u16string_view text) {
  dump->Put<std::uint16_t>(where, static_cast<std::uint16_t>(2 * text.size()));
  dump->Put<std::uint16_t>(where + 2, static_cast<std::uint16_t>(2 * text.size() + 2));
  dump->Put<std::uint64_t>(where + 8, text.empty() ? 0 : buffer);
  if (!text.empty()) dump->PutText16(buffer, text);
}

void PutHeader(PagedDumpBytes* dump) {
  GrowingBytes& header = dump->header();
  header.Put<std::uint64_t>(0x20, machine::kModuleListHead);
  header.Put<std::uint64_t>(0x28, machine::kProcessHead);
  header.Put<std::uint32_t>(0x34, kProcessors);
  header.Put<std::uint64_t>(0x80, machine::kDebuggerData);
  GrowingBytes context(1232);
  context.Put<std::uint32_t>(0x30, 0x10001F);
  context.Put<std::uint64_t>(0x98, machine::kRsp);
  context.Put<std::uint64_t>(0xF8, machine::kKernelBase + 0x1234);
  header.PutBytes(0x348, context.bytes());
}

void PutDebuggerData(PagedDumpBytes* dump, bool scramble, int levels) {
  GrowingBytes data = MakeDebuggerData();
  data.Put<std::uint64_t>(0x18, machine::kKernelBase);
  data.Put<std::uint16_t>(0x36, static_cast<std::uint16_t>(levels << 2));
  data.Put<std::uint64_t>(0x48, machine::kModuleListHead);
  data.Put<std::uint64_t>(0x50, machine::kProcessHead);
  data.Put<std::uint64_t>(0x218, machine::kProcessorBlocks);
  data.Put<std::uint64_t>(0x220, machine::kUnloadedArray);
  data.Put<std::uint64_t>(0x228, machine::kUnloadedArray + 8);
  if (!scramble) return dump->Write(machine::kDebuggerData, data.bytes());
  dump->Write(machine::kDebuggerData,
              ScrambleDebuggerData(data.bytes(), 0x0123456789ABCD13, 0xFFFFF80012AA0010, 0xFEDCBA9876543210));
}

void PutProcessors(PagedDumpBytes* dump) {
  for (std::uint32_t i = 0; i < kProcessors; ++i) {
    const std::uint64_t prcb = machine::kFirstPrcb + kPrcbDistance * i;
    dump->Put<std::uint64_t>(machine::kProcessorBlocks + 8 * i, prcb);
    dump->Put<std::uint64_t>(prcb + made_layout::kPrcbCurrentThread, machine::kThread + 0x10000 * (i - kCrashed));
    dump->Put<std::uint32_t>(prcb + made_layout::kPrcbNumber, i);
    dump->Put<std::uint64_t>(prcb + made_layout::kPrcbSpecialRegisters + 0xA0, 2 + i);
    const std::uint64_t context = prcb + 0x2100;
    dump->Put<std::uint64_t>(prcb + made_layout::kPrcbContext, context);
    GrowingBytes saved(1232);
    saved.Put<std::uint64_t>(0x98, machine::kRsp + 0x100000 * i - 0x100000 * kCrashed);
    saved.Put<std::uint64_t>(0xF8, machine::kKernelBase + 0x9000 + i);
    dump->Write(context, saved.bytes());
  }
}

void PutUnloaded(PagedDumpBytes* dump) {
  // The variables, then the slots; the kernel counted to 51, so that the newest is in the first slot.
  const std::uint64_t slots = machine::kUnloadedArray + 0x100;
  dump->Put<std::uint64_t>(machine::kUnloadedArray, slots);
  dump->Put<std::uint32_t>(machine::kUnloadedArray + 8, 51);
  dump->Write(slots, std::vector<std::byte>(50 * 0x28));
  const auto put = [&](std::uint32_t slot, std::u16string_view name, std::uint64_t start) {
    const std::uint64_t where = slots + 0x28 * slot;
    PutUnicodeString(dump, where, machine::kUnloadedArray + 0x2000 + 0x80 * slot, name);
    dump->Put<std::uint64_t>(where + 0x10, start);
    dump->Put<std::uint64_t>(where + 0x18, start + 0x8000);
    dump->Put<std::uint64_t>(where + 0x20, 0x01DA000000000000 + slot);
  };
  put(0, u"a_name_of_more_than_twelve.sys", 0xFFFFF80031000000);
  put(49, u"older.sys", 0xFFFFF80032000000);
}

}  // namespace

void AddLiveModule(PagedDumpBytes* dump, std::uint64_t where, std::uint64_t previous, std::uint64_t base,
                   std::u16string_view path, std::u16string_view name) {
  dump->Put<std::uint64_t>(previous, where);
  dump->Put<std::uint64_t>(where, machine::kModuleListHead);
  dump->Put<std::uint64_t>(where + 0x10, base + 0x9000);
  dump->Put<std::uint32_t>(where + 0x18, 0x600);
  dump->Put<std::uint64_t>(where + 0x30, base);
  dump->Put<std::uint64_t>(where + 0x38, base + 0x1000);
  dump->Put<std::uint32_t>(where + 0x40, 0x20000);
  PutUnicodeString(dump, where + 0x48, where + 0x100, path);
  PutUnicodeString(dump, where + 0x58, where + 0x200, name);
  dump->Put<std::uint32_t>(where + 0x68, 0x49104000);
  dump->Put<std::uint32_t>(where + 0x78, 0x123456);
  dump->Put<std::uint32_t>(where + 0x80, 0x5F000001);
}

void MakeMachine(PagedDumpBytes* dump, bool scramble, int levels) {
  PutHeader(dump);
  PutDebuggerData(dump, scramble, levels);
  PutProcessors(dump);
  PutUnloaded(dump);
  dump->Put<std::uint64_t>(machine::kThread + made_layout::kThreadApcProcess, machine::kProcess);
  dump->Put<std::uint64_t>(machine::kThread + made_layout::kThreadStackLimit, machine::kStackLimit);
  dump->Put<std::uint64_t>(machine::kThread + made_layout::kThreadStackBase, machine::kStackBase);
  dump->Put<std::uint64_t>(machine::kRsp, machine::kKernelBase + 0x1111);
  dump->Put<std::uint64_t>(machine::kModuleListHead + 8, machine::kFirstModule);
  AddLiveModule(dump, machine::kFirstModule, machine::kModuleListHead, machine::kKernelBase,
                u"\\SystemRoot\\system32\\ntoskrnl.exe", u"ntoskrnl.exe");
  AddLiveModule(dump, machine::kFirstModule + 0x1000, machine::kFirstModule, machine::kDriverBase, u"", u"driver.sys");
}

}  // namespace varnel::support
