// A dumped machine with foreign bytes in what its memory tells of it: lists, processors, the debugger's block, the
// header. Input: a byte of choices (its low two bits the form of dump, the rest the machine), then records of a
// structure (1 byte), an offset in it (2 bytes), a length (1 byte) and the bytes to write there. Answers must agree
// with each other.
#include <algorithm>
#include <array>
#include <cstddef>
#include <cstdint>
#include <iterator>
#include <memory>
#include <span>
#include <vector>

#include "formats/byte_cursor.h"
#include "formats/dump/kernel_dump.h"
#include "tests/support/drain_dump.h"
#include "tests/support/dump_bytes.h"
#include "tests/support/dump_file.h"

namespace {

using namespace varnel;
namespace machine = support::made_machine;

constexpr std::size_t kHeaderSize = 0x2000;
/// What a record can name besides the header, which is the first.
constexpr std::uint64_t kStructures[] = {machine::kDebuggerData, machine::kModuleListHead,  machine::kFirstModule,
                                         machine::kProcessHead,  machine::kProcessorBlocks, machine::kFirstPrcb,
                                         machine::kThread,       machine::kProcess,         machine::kUnloadedArray};

support::PagedDumpBytes Made(bool scramble, int levels) {
  support::PagedDumpBytes dump(levels);
  support::MakeMachine(&dump, scramble, levels);
  return dump;
}

void Apply(formats::ByteCursor input, support::PagedDumpBytes* dump) {
  std::uint8_t structure;
  std::uint16_t offset;
  std::uint8_t length;
  std::span<const std::byte> bytes;
  while (input.Read(&structure) && input.Read(&offset) && input.Read(&length) &&
         input.Take(std::min<std::size_t>(length, input.remaining()), &bytes)) {
    const std::size_t chosen = structure % (std::size(kStructures) + 1);
    if (chosen != 0) {
      dump->Write(kStructures[chosen - 1] + offset, bytes);
    } else {
      const std::size_t at = offset % kHeaderSize;
      dump->header().PutBytes(at, bytes.first(std::min(bytes.size(), kHeaderSize - at)));
    }
  }
}

std::vector<std::byte> InForm(unsigned form, support::PagedDumpBytes* dump) {
  if (form == 0) return dump->AsRuns();
  return dump->AsBitmap(form == 1 ? 5 : 6);
}

}  // namespace

extern "C" int LLVMFuzzerTestOneInput(const std::uint8_t* data, std::size_t size) {
  static const std::array<support::PagedDumpBytes, 3> machines = {Made(false, 4), Made(true, 4), Made(true, 5)};
  if (size == 0) return 0;
  support::PagedDumpBytes dump = machines[(data[0] >> 2) % machines.size()];
  Apply(formats::ByteCursor(std::as_bytes(std::span(data, size)).subspan(1)), &dump);
  const formats::OpenedDump opened =
      formats::KernelDump::Open(std::make_shared<support::DumpFileSource>(InForm(data[0] & 3, &dump)));
  support::Demand(opened.ok() == (opened.problem == formats::DumpProblem::kNone));
  if (opened.ok()) support::DrainDump(*opened.dump);
  return 0;
}
