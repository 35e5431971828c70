#include "tests/support/dump_bytes.h"

#include <algorithm>
#include <bit>

namespace varnel::support {
namespace {

constexpr std::size_t kPage = 4096;

std::uint64_t Word(std::span<const std::byte> bytes, std::size_t offset) {
  std::uint64_t value = 0;
  std::memcpy(&value, bytes.data() + offset, sizeof(value));
  return value;
}

}  // namespace

void GrowingBytes::PutBytes(std::size_t offset, std::span<const std::byte> bytes) {
  if (bytes_.size() < offset + bytes.size()) bytes_.resize(offset + bytes.size());
  std::copy(bytes.begin(), bytes.end(), bytes_.begin() + static_cast<std::ptrdiff_t>(offset));
}

std::string AsText(const GrowingBytes& bytes) {
  return {reinterpret_cast<const char*>(bytes.bytes().data()), bytes.size()};
}

GrowingBytes FillerBytes(std::size_t size) {
  GrowingBytes out(size);
  for (std::size_t at = 0; at < size; at += 4) out.PutText(at, "PAGE");
  return out;
}

GrowingBytes MakeDumpHeader(std::uint32_t type) {
  GrowingBytes out = FillerBytes(0x2000);
  out.PutText(4, "DU64");
  out.Put<std::uint32_t>(0x08, 15);
  out.Put<std::uint32_t>(0x0C, 22631);
  out.Put<std::uint64_t>(0x10, 0x100000);
  out.Put<std::uint32_t>(0x30, 0x8664);
  out.Put<std::uint32_t>(0x34, 1);
  out.Put<std::uint32_t>(0x38, 0xD1);
  for (std::size_t i = 0; i < 4; ++i) out.Put<std::uint64_t>(0x40 + 8 * i, 0x1000 + i);
  out.Put<std::uint32_t>(0xF98, type);
  return out;
}

GrowingBytes MakeDumpHeader32(std::uint32_t type) {
  GrowingBytes out = FillerBytes(0x1000);
  out.PutText(4, "DUMP");
  out.Put<std::uint32_t>(0x08, 12);
  out.Put<std::uint32_t>(0x0C, 7601);
  out.Put<std::uint32_t>(0x20, 0x14C);
  out.Put<std::uint32_t>(0x24, 1);
  out.Put<std::uint32_t>(0x28, 0xA);
  for (std::uint32_t i = 0; i < 4; ++i) out.Put<std::uint32_t>(0x2C + 4 * i, 0x10 * (i + 1));
  out.Put<std::uint32_t>(0xF88, type);
  return out;
}

GrowingBytes MakeDebuggerData() {
  GrowingBytes out(0x3A0);
  out.PutText(0x10, "KDBG");
  out.Put<std::uint32_t>(0x14, 0x3A0);
  out.Put<std::uint16_t>(0x2A0, made_layout::kThreadApcProcess);
  out.Put<std::uint16_t>(0x2A8, made_layout::kSizeProcess);
  out.Put<std::uint16_t>(0x2B0, made_layout::kSizePrcb);
  out.Put<std::uint16_t>(0x2B4, made_layout::kPrcbCurrentThread);
  out.Put<std::uint16_t>(0x2BE, made_layout::kPrcbNumber);
  out.Put<std::uint16_t>(0x2C0, made_layout::kSizeThread);
  out.Put<std::uint16_t>(0x2F2, made_layout::kPrcbSpecialRegisters);
  out.Put<std::uint16_t>(0x338, made_layout::kPrcbContext);
  out.Put<std::uint32_t>(0x340, made_layout::kThreadStackLimit);
  out.Put<std::uint32_t>(0x344, made_layout::kThreadStackBase);
  return out;
}

std::vector<std::byte> ScrambleDebuggerData(std::span<const std::byte> plain, std::uint64_t never,
                                            std::uint64_t address, std::uint64_t always) {
  GrowingBytes out;
  for (std::size_t at = 0; at + 8 <= plain.size(); at += 8) {
    const std::uint64_t swapped = __builtin_bswap64(Word(plain, at) ^ always);
    out.Put<std::uint64_t>(at, std::rotr(swapped ^ address, static_cast<int>(never & 0x3F)) ^ never);
  }
  return out.bytes();
}

SmallDumpBytes::SmallDumpBytes() : file_(MakeDumpHeader(4)) {
  file_.Resize(0x2080);
  Set(0x0C, 0x348);
  Set(0x10, 0xF00);
}

std::uint32_t SmallDumpBytes::AddPart(std::span<const std::byte> bytes) {
  file_.Resize((file_.size() + 7) / 8 * 8);
  const auto offset = static_cast<std::uint32_t>(file_.size());
  file_.PutBytes(offset, bytes);
  return offset;
}

void SmallDumpBytes::AddStack(std::uint64_t address, std::span<const std::byte> bytes) {
  Set(0x28, AddPart(bytes));
  Set(0x2C, static_cast<std::uint32_t>(bytes.size()));
  file_.Put<std::uint64_t>(0x2048, address);
}

void SmallDumpBytes::AddDebuggerData(std::uint64_t address, const GrowingBytes& block) {
  Set(0x70, AddPart(block.bytes()));
  Set(0x74, static_cast<std::uint32_t>(block.size()));
  file_.Put<std::uint64_t>(0x80, address);
}

void SmallDumpBytes::AddDriver(std::u16string_view name, std::uint64_t base, std::uint32_t size, std::uint32_t stamp,
                               std::uint32_t sum) {
  GrowingBytes entry(0x90);
  entry.Put<std::uint64_t>(0x38, base);
  entry.Put<std::uint32_t>(0x48, size);
  entry.Put<std::uint32_t>(0x80, sum);
  entry.Put<std::uint32_t>(0x88, stamp);
  Driver driver{{}, std::u16string(name)};
  std::copy(entry.bytes().begin(), entry.bytes().end(), driver.entry.begin());
  drivers_.push_back(driver);
}

void SmallDumpBytes::AddUnloaded(std::u16string_view name, std::uint64_t start, std::uint64_t end) {
  GrowingBytes entry(0x38);
  entry.Put<std::uint16_t>(0, static_cast<std::uint16_t>(2 * name.size()));
  entry.PutText16(0x10, name.substr(0, 12));
  entry.Put<std::uint64_t>(0x28, start);
  entry.Put<std::uint64_t>(0x30, end);
  std::copy(entry.bytes().begin(), entry.bytes().end(), unloaded_.emplace_back().begin());
}

void SmallDumpBytes::AddBlock(std::uint64_t address, std::span<const std::byte> bytes) {
  GrowingBytes entry;
  entry.Put<std::uint64_t>(0, address);
  entry.Put<std::uint32_t>(8, AddPart(bytes));
  entry.Put<std::uint32_t>(12, static_cast<std::uint32_t>(bytes.size()));
  std::copy(entry.bytes().begin(), entry.bytes().end(), blocks_.emplace_back().begin());
}

void SmallDumpBytes::AddSecondary(std::uint8_t tag, std::span<const std::byte> data, std::uint32_t pre_pad,
                                  std::uint32_t post_pad) {
  GrowingBytes out;
  if (secondary_.empty()) {
    out.PutText(0, "DumpBlob");
    out.Put<std::uint32_t>(8, 0x10);
    out.Put<std::uint32_t>(12, 0xF0005867);
  }
  const std::size_t at = out.size();
  out.Put<std::uint32_t>(at, 0x20);
  for (std::size_t i = 0; i < 16; ++i) out.Put<std::uint8_t>(at + 4 + i, tag);
  out.Put<std::uint32_t>(at + 0x14, static_cast<std::uint32_t>(data.size()));
  out.Put<std::uint32_t>(at + 0x18, pre_pad);
  out.Put<std::uint32_t>(at + 0x1C, post_pad);
  out.PutBytes(at + 0x20 + pre_pad, data);
  out.Resize(at + 0x20 + pre_pad + data.size() + post_pad);
  secondary_.insert(secondary_.end(), out.bytes().begin(), out.bytes().end());
}

void SmallDumpBytes::WriteDrivers() {
  for (Driver& driver : drivers_) {
    GrowingBytes text;
    text.Put<std::uint32_t>(0, static_cast<std::uint32_t>(driver.name.size()));
    text.PutText16(4, driver.name);
    text.Put<std::uint16_t>(text.size(), 0);
    const std::uint32_t offset = driver.name.empty() ? 0 : AddPart(text.bytes());
    std::memcpy(driver.entry.data(), &offset, sizeof(offset));
  }
  GrowingBytes list;
  for (const Driver& driver : drivers_) list.PutBytes(list.size(), driver.entry);
  if (drivers_.empty()) return;
  Set(0x30, AddPart(list.bytes()));
  Set(0x34, static_cast<std::uint32_t>(drivers_.size()));
}

void SmallDumpBytes::WriteUnloaded() {
  if (unloaded_.empty()) return;
  GrowingBytes list(8);
  list.Put<std::uint32_t>(0, static_cast<std::uint32_t>(unloaded_.size()));
  for (const auto& entry : unloaded_) list.PutBytes(list.size(), entry);
  Set(0x18, AddPart(list.bytes()));
}

void SmallDumpBytes::WriteBlocks() {
  if (blocks_.empty()) return;
  GrowingBytes list;
  for (const auto& entry : blocks_) list.PutBytes(list.size(), entry);
  Set(0x78, AddPart(list.bytes()));
  Set(0x7C, static_cast<std::uint32_t>(blocks_.size()));
}

std::vector<std::byte> SmallDumpBytes::Finish() {
  WriteDrivers();
  WriteUnloaded();
  WriteBlocks();
  const std::string_view mark = "TRGD";
  const std::uint32_t at = AddPart(std::as_bytes(std::span(mark)));
  Set(0x08, at);
  Set(0x04, at + 4);
  file_.PutBytes(file_.size(), secondary_);
  return file_.bytes();
}

PagedDumpBytes::PagedDumpBytes(int levels) : levels_(levels), header_(MakeDumpHeader(1)) {
  root_ = NewPage();
  header_.Put<std::uint64_t>(0x10, root_ * kPage | 1);  // with a tag of the processor's, which is no part of the place
}

std::uint64_t PagedDumpBytes::NewPage() {
  // A hole now and then, so that the pages are no single run.
  if (next_page_ % 16 == 0 && next_page_ < 0x200) next_page_ += 3;
  pages_[next_page_].resize(kPage);
  return next_page_++;
}

std::uint64_t PagedDumpBytes::TablePage(std::uint64_t address, int level) {
  std::uint64_t table = root_;
  for (int above = levels_; above > level; --above) {
    const std::size_t at = 8 * ((address >> (12 + 9 * (above - 1))) & 0x1FF);
    std::uint64_t entry = Word(pages_[table], at);
    if ((entry & 1) == 0) {
      entry = NewPage() * kPage | 3;
      std::memcpy(pages_[table].data() + at, &entry, sizeof(entry));
    }
    table = (entry & 0xFFFFFFFFF000) / kPage;
  }
  return table;
}

void PagedDumpBytes::SetEntry(std::uint64_t address, int level, std::uint64_t entry) {
  const std::size_t at = 8 * ((address >> (12 + 9 * (level - 1))) & 0x1FF);
  std::memcpy(pages_[TablePage(address, level)].data() + at, &entry, sizeof(entry));
}

std::uint64_t PagedDumpBytes::Map(std::uint64_t address, std::uint64_t flags) {
  const std::uint64_t page = NewPage();
  SetEntry(address, 1, page * kPage | flags | 1);
  mapped_[address / kPage] = page;
  return page;
}

void PagedDumpBytes::Write(std::uint64_t address, std::span<const std::byte> bytes) {
  for (std::size_t i = 0; i < bytes.size(); ++i) {
    const std::uint64_t at = address + i;
    if (mapped_.count(at / kPage) == 0) Map(at);
    pages_[mapped_[at / kPage]][at % kPage] = bytes[i];
  }
}

std::vector<std::byte> PagedDumpBytes::AsRuns() {
  GrowingBytes out = header_;
  out.Put<std::uint32_t>(0xF98, 1);
  out.Put<std::uint64_t>(0x90, pages_.size());
  std::uint32_t runs = 0;
  std::uint64_t behind = 0;
  std::uint64_t begin = 0;
  for (const auto& [page, bytes] : pages_) {
    if (page != behind) {
      begin = page;
      ++runs;
    }
    behind = page + 1;
    out.Put<std::uint64_t>(0x98 + 16 * (runs - 1), begin);
    out.Put<std::uint64_t>(0xA0 + 16 * (runs - 1), behind - begin);
    out.PutBytes(out.size(), bytes);
  }
  out.Put<std::uint32_t>(0x88, runs);
  return out.bytes();
}

std::vector<std::byte> PagedDumpBytes::AsBitmap(std::uint32_t type) {
  GrowingBytes out = header_;
  out.Put<std::uint32_t>(0xF98, type);
  const std::uint64_t bits = pages_.rbegin()->first + 1;
  const std::uint64_t first = (0x2038 + (bits + 7) / 8 + kPage - 1) / kPage * kPage;
  out.Resize(first);
  out.PutText(0x2000, type == 5 ? "FDMPDUMP" : "SDMPDUMP");
  out.Put<std::uint64_t>(0x2020, first);
  out.Put<std::uint64_t>(0x2028, pages_.size());
  out.Put<std::uint64_t>(0x2030, bits);
  for (const auto& [page, bytes] : pages_) {
    const std::size_t at = 0x2038 + page / 8;
    out.Put<std::byte>(at, out.bytes()[at] | std::byte(1u << (page % 8)));
    out.PutBytes(out.size(), bytes);
  }
  return out.bytes();
}

}  // namespace varnel::support
