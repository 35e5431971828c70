// Feeds physical memory whose first page is the root of the page tables. Input: a byte of choices, addresses to ask
// for, and the pages.
#include <algorithm>
#include <cstddef>
#include <cstdint>
#include <cstring>
#include <memory>
#include <vector>

#include "formats/dump/kernel_dump.h"
#include "tests/support/drain_dump.h"
#include "tests/support/dump_bytes.h"
#include "tests/support/dump_file.h"

namespace {

constexpr std::size_t kAddresses = 4;
constexpr std::size_t kHead = 1 + 8 * kAddresses;

}  // namespace

extern "C" int LLVMFuzzerTestOneInput(const std::uint8_t* data, std::size_t size) {
  using namespace varnel;
  if (size < kHead) return 0;
  std::uint64_t addresses[kAddresses];
  std::memcpy(addresses, data + 1, sizeof(addresses));
  // The first address is the list of modules, by which the reader finds how many levels there are.
  support::GrowingBytes file = support::MakeDumpHeader(1);
  const std::uint64_t pages = (size - kHead + 0xFFF) / 0x1000;
  file.Put<std::uint64_t>(0x10, 0);
  file.Put<std::uint64_t>(0x20, addresses[0]);
  file.Put<std::uint32_t>(0x88, 1);
  file.Put<std::uint64_t>(0x90, pages);
  file.Put<std::uint64_t>(0x98, 0);
  file.Put<std::uint64_t>(0xA0, pages);
  if ((data[0] & 1) != 0) file.Put<std::uint64_t>(0x80, addresses[1]);
  file.PutBytes(0x2000, std::as_bytes(std::span(data + kHead, size - kHead)));
  const formats::OpenedDump opened = formats::KernelDump::Open(std::make_shared<support::DumpFileSource>(file.bytes()));
  support::Demand(opened.ok());
  for (const std::uint64_t address : addresses) support::DrainMemory(*opened.dump, address);
  support::DrainDump(*opened.dump);
  return 0;
}
