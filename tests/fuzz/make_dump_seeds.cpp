// Writes the seeds of the fuzz targets for crash dumps into a corpus folder: make_dump_seeds tests/fuzz/corpus
#include <cstddef>
#include <cstdint>
#include <fstream>
#include <span>
#include <string>
#include <vector>

#include "tests/support/dump_bytes.h"

namespace {

using namespace varnel::support;

void Write(const std::string& path, std::span<const std::byte> bytes) {
  std::ofstream(path, std::ios::binary | std::ios::trunc)
      .write(reinterpret_cast<const char*>(bytes.data()), static_cast<std::streamsize>(bytes.size()));
}

std::vector<std::byte> Filled(std::size_t size) {
  return std::vector<std::byte>(size, std::byte{0x41});
}

std::vector<std::byte> Small(bool lists) {
  SmallDumpBytes dump;
  dump.AddDebuggerData(0xFFFFF80012345B20, MakeDebuggerData());
  if (lists) {
    dump.AddDriver(u"\\SystemRoot\\ntoskrnl.exe", 0xFFFFF80000000000, 0x1000, 1, 2);
    dump.AddDriver(u"hal.dll", 0xFFFFF80000100000, 0x1000, 3, 4);
    dump.AddUnloaded(u"gone.sys", 0x1000, 0x2000);
  }
  dump.AddStack(0xFFFFC00000015100, Filled(0x40));
  dump.AddBlock(0xFFFFC00000015140, Filled(0x10));
  dump.AddBlock(0xFFFFC00000015148, Filled(0x10));
  dump.AddSecondary(1, Filled(3), 1, 2);
  return dump.Finish();
}

std::vector<std::byte> Tables(int levels) {
  PagedDumpBytes dump(levels);
  const std::uint64_t address = 0xFFFFA00000200000;
  dump.Write(address, Filled(8));
  dump.SetEntry(address + 0x1000, 1, 0x0000200000101880);
  dump.SetEntry(address + 0x2000, 1, address << 16 | 0x400);
  dump.SetEntry(address + 0x200000, 2, 0x81);
  dump.header().Put<std::uint64_t>(0x20, address);
  return dump.AsBitmap(6);
}

// A machine of four pages, the root first: one page mapped, one in transition, one shared, a large one.
std::vector<std::byte> Pages() {
  GrowingBytes out;
  const std::uint64_t address = 0xFFFF800000200000;
  out.Put<std::uint8_t>(0, 1);
  for (std::size_t i = 0; i < 4; ++i) out.Put<std::uint64_t>(1 + 8 * i, address + 0x1000 * i);
  const std::size_t pages = 33;
  out.Put<std::uint64_t>(pages + 8 * 256, 0x1003);
  out.Put<std::uint64_t>(pages + 0x1000, 0x2003);
  out.Put<std::uint64_t>(pages + 0x2008, 0x3003);
  out.Put<std::uint64_t>(pages + 0x2010, 0x83);
  out.Put<std::uint64_t>(pages + 0x3000, 0x3003);
  out.Put<std::uint64_t>(pages + 0x3008, 0x0000200000001880);
  out.Put<std::uint64_t>(pages + 0x3010, address << 16 | 0x400);
  out.Put<std::uint64_t>(pages + 0x3018, 0x0000123400000080);
  out.Resize(pages + 0x4000);
  return out.bytes();
}

std::vector<std::byte> Bitmap(std::uint64_t bits) {
  GrowingBytes out;
  out.Put<std::uint64_t>(0x18, 0x4000);
  out.Put<std::uint64_t>(0x20, bits / 2);
  out.Put<std::uint64_t>(0x28, bits);
  for (std::size_t i = 0; i < bits / 8; ++i) out.Put<std::uint8_t>(0x30 + i, 0x5A);
  return out.bytes();
}

// One of the machine target's: its choices and a record that overwrites a pointer or a number.
void WriteMachine(const std::string& path, std::uint8_t choices, std::uint8_t structure, std::uint16_t offset,
                  std::uint64_t value) {
  GrowingBytes out;
  out.Put<std::uint8_t>(0, choices);
  out.Put<std::uint8_t>(1, structure);
  out.Put<std::uint16_t>(2, offset);
  out.Put<std::uint8_t>(4, 8);
  out.Put<std::uint64_t>(5, value);
  Write(path, out.bytes());
}

}  // namespace

int main(int argc, char** argv) {
  if (argc != 2) return 2;
  const std::string root = argv[1];
  const std::vector<std::byte> small = Small(true);
  Write(root + "/dump_file_fuzz/small", small);
  Write(root + "/dump_file_fuzz/tables", Tables(4));
  Write(root + "/dump_file_fuzz/five_levels", Tables(5));
  Write(root + "/dump_driver_list_fuzz/lists", std::span(small).subspan(0x2000));
  const std::vector<std::byte> blocks = Small(false);
  Write(root + "/dump_driver_list_fuzz/blocks", std::span(blocks).subspan(0x2000));
  Write(root + "/dump_bitmap_fuzz/short", Bitmap(64));
  Write(root + "/dump_bitmap_fuzz/long", Bitmap(9000));
  Write(root + "/dump_page_tables_fuzz/pages", Pages());
  GrowingBytes x86 = MakeDumpHeader32(1);
  x86.Put<std::uint32_t>(0x64, 2);
  Write(root + "/dump_file_fuzz/x86", x86.bytes());
  const std::string machines = root + "/dump_machine_fuzz";
  WriteMachine(machines + "/runs", 0, 0, 0x1030, 35'000'000);
  WriteMachine(machines + "/full_list_ends_at_once", 1, 2, 0, made_machine::kModuleListHead);
  WriteMachine(machines + "/kernel_scrambled_list_of_itself", 2 + 4, 3, 0, made_machine::kFirstModule);
  WriteMachine(machines + "/five_levels_no_prcb", 2 + 8, 5, 8, 0);
  WriteMachine(machines + "/unloaded_count", 0, 9, 8, 0x100000007);
  return 0;
}
