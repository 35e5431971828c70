#include "formats/dump/secondary_data.h"

#include <array>

#include "formats/dump/read_values.h"

namespace varnel::formats {
namespace {

constexpr std::uint64_t kSignature = 0x626F6C42706D7544;  // "DumpBlob"
constexpr std::uint32_t kChainHeader = 0x10;
constexpr std::uint32_t kBlockHeader = 0x20;
// Far more than any system writes.
constexpr std::size_t kMaxBlocks = 65'536;

}  // namespace

SecondaryDataChain ReadSecondaryDataChain(const DumpSource& source, std::uint64_t offset) {
  SecondaryDataChain out;
  const std::uint64_t file_size = source.Size();
  if (offset > file_size || ReadFile<std::uint64_t>(source, offset) != kSignature ||
      ReadFile<std::uint32_t>(source, offset + 8) != kChainHeader) {
    return out;
  }
  std::uint64_t at = offset + kChainHeader;
  while (at < file_size && out.blocks.size() < kMaxBlocks) {
    std::array<std::byte, kBlockHeader> header{};
    if (source.Read(at, header) != header.size() || Field<std::uint32_t>(header, 0) != kBlockHeader) break;
    SecondaryDataBlock block;
    block.tag = Field<GUID>(header, 4);
    block.size = Field<std::uint32_t>(header, 0x14);
    block.offset = at + kBlockHeader + Field<std::uint32_t>(header, 0x18);
    at = block.offset + block.size + Field<std::uint32_t>(header, 0x1C);
    out.blocks.push_back(block);
  }
  out.end = at;
  return out;
}

}  // namespace varnel::formats
