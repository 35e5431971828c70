#include "formats/dump/dump_header.h"

#include <algorithm>
#include <span>

#include "formats/dump/read_values.h"

namespace varnel::formats {
namespace {

constexpr std::uint32_t kSignature = 0x45474150;  // "PAGE"
constexpr std::uint32_t kValid64 = 0x34365544;    // "DU64"
constexpr std::uint32_t kValid32 = 0x504D5544;    // "DUMP"
constexpr std::size_t kHeaderSize64 = 0x2000;
constexpr std::size_t kHeaderSize32 = 0x1000;
constexpr std::size_t kFieldsSize64 = 0x1058;  // where the last field that is read ends
constexpr std::size_t kRunsAt = 0x98;
constexpr std::uint32_t kMaxRuns = 42;

using Bytes = std::span<const std::byte>;

std::optional<std::uint32_t> Optional32(Bytes bytes, std::size_t offset) {
  const auto value = Field<std::uint32_t>(bytes, offset);
  if (value == kAbsent32) return {};
  return value;
}

std::optional<std::uint64_t> Optional64(Bytes bytes, std::size_t offset) {
  const auto value = Field<std::uint64_t>(bytes, offset);
  if (value == kAbsent64) return {};
  return value;
}

// A text that begins with a null is as empty as one that nobody wrote.
std::optional<std::string> OptionalText(Bytes bytes, std::size_t offset, std::size_t size) {
  if (Field<std::uint32_t>(bytes, offset) == kAbsent32) return {};
  std::string text(reinterpret_cast<const char*>(bytes.data()) + offset, size);
  text.resize(std::min(text.find('\0'), size));
  if (text.empty()) return {};
  return text;
}

/// Of a 32-bit header: numbers of half the size, and room for 86 runs.
std::optional<PhysicalMemoryDescriptor> ReadDescriptor32(Bytes bytes) {
  constexpr std::uint32_t kMaxRuns32 = 86;
  PhysicalMemoryDescriptor out;
  out.number_of_runs = Field<std::uint32_t>(bytes, 0x64);
  out.number_of_pages = Field<std::uint32_t>(bytes, 0x68);
  if (out.number_of_runs == kAbsent32) return {};
  const std::uint32_t count = std::min(out.number_of_runs, kMaxRuns32);
  for (std::uint32_t i = 0; i < count; ++i) {
    const std::size_t at = 0x6C + 8 * i;
    out.runs.push_back({Field<std::uint32_t>(bytes, at), Field<std::uint32_t>(bytes, at + 4)});
  }
  return out;
}

std::optional<PhysicalMemoryDescriptor> ReadDescriptor(Bytes bytes) {
  PhysicalMemoryDescriptor out;
  out.number_of_runs = Field<std::uint32_t>(bytes, 0x88);
  out.number_of_pages = Field<std::uint64_t>(bytes, 0x90);
  if (out.number_of_runs == kAbsent32) return {};
  const std::uint32_t count = std::min(out.number_of_runs, kMaxRuns);
  for (std::uint32_t i = 0; i < count; ++i) {
    const std::size_t at = kRunsAt + 16 * i;
    out.runs.push_back({Field<std::uint64_t>(bytes, at), Field<std::uint64_t>(bytes, at + 8)});
  }
  return out;
}

std::optional<DumpExceptionRecord> ReadException(Bytes bytes) {
  constexpr std::size_t kAt = 0xF00;
  DumpExceptionRecord out;
  out.code = Field<std::uint32_t>(bytes, kAt);
  if (out.code == kAbsent32) return {};
  out.flags = Field<std::uint32_t>(bytes, kAt + 4);
  out.record = Field<std::uint64_t>(bytes, kAt + 8);
  out.address = Field<std::uint64_t>(bytes, kAt + 0x10);
  const auto count = std::min<std::uint32_t>(Field<std::uint32_t>(bytes, kAt + 0x18), 15);
  for (std::uint32_t i = 0; i < count; ++i) {
    out.parameters.push_back(Field<std::uint64_t>(bytes, kAt + 0x20 + 8 * i));
  }
  return out;
}

std::optional<ProcessorContext> ReadContext(Bytes bytes) {
  ProcessorContext out;
  std::memcpy(out.bytes.data(), bytes.data() + 0x348, ProcessorContext::kSize);
  if (out.Flags() == kAbsent32) return {};
  return out;
}

void ReadMachine64(Bytes bytes, DumpHeader* out) {
  out->is_64_bit = true;
  out->major_version = Field<std::uint32_t>(bytes, 0x08);
  out->build = Field<std::uint32_t>(bytes, 0x0C);
  out->directory_table_base = Field<std::uint64_t>(bytes, 0x10);
  out->pfn_database = Optional64(bytes, 0x18);
  out->loaded_module_list = Field<std::uint64_t>(bytes, 0x20);
  out->active_process_head = Field<std::uint64_t>(bytes, 0x28);
  out->machine = Field<std::uint32_t>(bytes, 0x30);
  out->processors = Field<std::uint32_t>(bytes, 0x34);
  out->bug_check_code = Field<std::uint32_t>(bytes, 0x38);
  for (std::size_t i = 0; i < 4; ++i) out->bug_check_parameters[i] = Field<std::uint64_t>(bytes, 0x40 + 8 * i);
  out->type = DumpType{Field<std::uint32_t>(bytes, 0xF98)};
}

void ReadRest64(Bytes bytes, DumpHeader* out) {
  out->version_user = OptionalText(bytes, 0x60, 32);
  out->debugger_data_block = Optional64(bytes, 0x80);
  out->physical_memory = ReadDescriptor(bytes);
  if (out->machine == kMachineAmd64) out->context = ReadContext(bytes);
  out->exception = ReadException(bytes);
  out->required_dump_space = Optional64(bytes, 0xFA0);
  out->system_time = Optional64(bytes, 0xFA8);
  out->comment = OptionalText(bytes, 0xFB0, 128);
  out->system_up_time = Optional64(bytes, 0x1030);
  out->mini_dump_fields = Optional32(bytes, 0x1038);
  out->secondary_data_state = Optional32(bytes, 0x103C);
  out->product_type = Optional32(bytes, 0x1040);
  out->suite_mask = Optional32(bytes, 0x1044);
  out->writer_status = Optional32(bytes, 0x1048);
  // A field of one byte: its neighbours are nobody's and stay filler where it is written.
  if (const auto version = Field<std::uint8_t>(bytes, 0x104D); version != (kAbsent32 >> 8 & 0xFF)) {
    out->kd_secondary_version = version;
  }
  out->attributes = Optional32(bytes, 0x1050);
  out->boot_id = Optional32(bytes, 0x1054);
}

void ReadMachine32(Bytes bytes, DumpHeader* out) {
  out->major_version = Field<std::uint32_t>(bytes, 0x08);
  out->build = Field<std::uint32_t>(bytes, 0x0C);
  out->directory_table_base = Field<std::uint32_t>(bytes, 0x10);
  out->loaded_module_list = Field<std::uint32_t>(bytes, 0x18);
  out->active_process_head = Field<std::uint32_t>(bytes, 0x1C);
  out->machine = Field<std::uint32_t>(bytes, 0x20);
  out->processors = Field<std::uint32_t>(bytes, 0x24);
  out->bug_check_code = Field<std::uint32_t>(bytes, 0x28);
  for (std::size_t i = 0; i < 4; ++i) out->bug_check_parameters[i] = Field<std::uint32_t>(bytes, 0x2C + 4 * i);
  out->type = DumpType{Field<std::uint32_t>(bytes, 0xF88)};
  if (const auto pfn_database = Optional32(bytes, 0x14)) out->pfn_database = *pfn_database;
  out->physical_memory = ReadDescriptor32(bytes);
  out->comment = OptionalText(bytes, 0x820, 128);
  out->required_dump_space = Optional64(bytes, 0xFA0);
  out->system_time = Optional64(bytes, 0xFC0);
}

}  // namespace

DumpProblem ReadDumpHeader(const DumpSource& source, DumpHeader* out) {
  *out = {};
  std::array<std::byte, kFieldsSize64> bytes{};
  const std::size_t size = source.Read(0, bytes);
  if (size < 8) return DumpProblem::kTooShort;
  const auto valid = Field<std::uint32_t>(bytes, 4);
  if (Field<std::uint32_t>(bytes, 0) != kSignature || (valid != kValid64 && valid != kValid32)) {
    return DumpProblem::kNotADump;
  }
  const bool is_64_bit = valid == kValid64;
  const std::size_t wanted = is_64_bit ? kFieldsSize64 : kHeaderSize32;
  if (source.Size() < (is_64_bit ? kHeaderSize64 : kHeaderSize32) || size < wanted) return DumpProblem::kTooShort;
  if (is_64_bit) {
    ReadMachine64(bytes, out);
    ReadRest64(bytes, out);
  } else {
    ReadMachine32(bytes, out);
  }
  return DumpProblem::kNone;
}

}  // namespace varnel::formats
