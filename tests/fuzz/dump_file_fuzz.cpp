// Feeds bytes to the reader of kernel crash dumps and asks everything of it. Answers must agree with each other.
#include <cstddef>
#include <cstdint>
#include <memory>
#include <vector>

#include "formats/dump/kernel_dump.h"
#include "tests/support/drain_dump.h"
#include "tests/support/dump_file.h"

extern "C" int LLVMFuzzerTestOneInput(const std::uint8_t* data, std::size_t size) {
  using namespace varnel;
  const auto* bytes = reinterpret_cast<const std::byte*>(data);
  auto source = std::make_shared<support::DumpFileSource>(std::vector<std::byte>(bytes, bytes + size));
  const formats::OpenedDump opened = formats::KernelDump::Open(std::move(source));
  support::Demand(opened.ok() == (opened.problem == formats::DumpProblem::kNone));
  if (opened.ok()) support::DrainDump(*opened.dump);
  return 0;
}
