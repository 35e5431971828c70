// Feeds a bitmap of pages, and holds the index to a count bit by bit.
#include <cstddef>
#include <cstdint>
#include <memory>
#include <optional>
#include <vector>

#include "formats/dump/bitmap_store.h"
#include "tests/support/drain_dump.h"
#include "tests/support/dump_bytes.h"
#include "tests/support/dump_file.h"

namespace {

using namespace varnel;

std::uint64_t Number(const support::GrowingBytes& file, std::size_t offset) {
  std::uint64_t value = 0;
  std::memcpy(&value, file.bytes().data() + offset, sizeof(value));
  return value;
}

bool Bit(const support::GrowingBytes& file, std::uint64_t page) {
  const auto byte = std::to_integer<unsigned>(file.bytes()[0x2038 + page / 8]);
  return (byte >> (page % 8) & 1) != 0;
}

void HoldToBits(const support::GrowingBytes& file, const formats::PageStore& store) {
  const std::uint64_t bits = Number(file, 0x2030);
  const std::uint64_t there = (file.size() - 0x2038) * 8;
  std::uint64_t offset = Number(file, 0x2020);
  for (std::uint64_t page = 0; page < std::min({bits, there, std::uint64_t{1} << 16}); ++page) {
    const auto found = store.OffsetOf(page);
    // A piece that the file does not hold whole is missing as one.
    if (Bit(file, page) && bits <= there) support::Demand(found == offset);
    if (!Bit(file, page)) support::Demand(!found);
    if (Bit(file, page)) offset += 0x1000;
  }
  support::Demand(!store.OffsetOf(bits));
  static_cast<void>(store.CountsAgree());
}

}  // namespace

extern "C" int LLVMFuzzerTestOneInput(const std::uint8_t* data, std::size_t size) {
  support::GrowingBytes file = support::MakeDumpHeader(6);
  file.PutText(0x2000, "SDMPDUMP");
  file.PutBytes(0x2008, std::as_bytes(std::span(data, size)));
  const support::DumpFileSource source(file.bytes());
  std::unique_ptr<formats::PageStore> store;
  const formats::DumpProblem problem = formats::BitmapStore::Open(source, &store);
  support::Demand(problem == formats::DumpProblem::kNone || store == nullptr);
  if (store) HoldToBits(file, *store);
  return 0;
}
