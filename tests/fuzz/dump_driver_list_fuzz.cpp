// Feeds what stands behind the header of a small dump: where its parts are, its lists, blocks and secondary data.
#include <cstddef>
#include <cstdint>
#include <memory>
#include <vector>

#include "formats/dump/kernel_dump.h"
#include "tests/support/drain_dump.h"
#include "tests/support/dump_bytes.h"
#include "tests/support/dump_file.h"

extern "C" int LLVMFuzzerTestOneInput(const std::uint8_t* data, std::size_t size) {
  using namespace varnel;
  support::GrowingBytes file = support::MakeDumpHeader(4);
  file.PutBytes(0x2000, std::as_bytes(std::span(data, size)));
  const formats::OpenedDump opened = formats::KernelDump::Open(std::make_shared<support::DumpFileSource>(file.bytes()));
  support::Demand(opened.ok());
  support::DrainDump(*opened.dump);
  // What has a name takes it out of the file.
  std::size_t units = 0;
  for (const formats::DumpModule& module : opened.dump->Modules()) units += module.path.size();
  support::Demand(2 * units <= file.size());
  return 0;
}
