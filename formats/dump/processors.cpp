#include "formats/dump/processors.h"

#include <algorithm>

#include "formats/dump/read_values.h"

namespace varnel::formats {
namespace {

namespace field = debugger_data_field;

constexpr std::uint64_t kCr8InSpecialRegisters = 0xA0;
constexpr std::uint64_t kRspInContext = 0x98;

}  // namespace

std::uint32_t Processors::Count() const noexcept {
  return std::min(header_.processors, kMaxProcessors);
}

std::optional<std::uint64_t> Processors::Block(std::uint32_t number) const noexcept {
  const auto array = data_.At<std::uint64_t>(field::kKiProcessorBlock);
  if (!array || *array == 0 || number >= Count()) return {};
  const auto block = ReadMemory<std::uint64_t>(memory_, *array + std::uint64_t{8} * number);
  if (!block || *block == 0) return {};
  return block;
}

std::vector<std::uint64_t> Processors::Blocks() const {
  std::vector<std::uint64_t> out(Count());
  for (std::uint32_t i = 0; i < out.size(); ++i) out[i] = Block(i).value_or(0);
  return out;
}

std::optional<std::uint64_t> Processors::SavedContextAt(std::uint32_t number) const noexcept {
  const auto offset = data_.At<std::uint16_t>(field::kPrcbContext);
  const auto block = Block(number);
  if (!block || !offset || *offset == 0) return {};
  return ReadMemory<std::uint64_t>(memory_, *block + *offset);
}

std::optional<ProcessorContext> Processors::SavedContext(std::uint32_t number) const noexcept {
  const auto address = SavedContextAt(number);
  ProcessorContext out;
  if (!address || *address == 0 || memory_.ReadVirtual(*address, out.bytes) != out.bytes.size()) return {};
  return out;
}

std::optional<std::uint32_t> Processors::Crashing() const noexcept {
  if (header_.processors == 1) return 0;
  if (!header_.context) return {};
  for (std::uint32_t i = 0; i < Count(); ++i) {
    const auto address = SavedContextAt(i);
    if (address && *address != 0 &&
        ReadMemory<std::uint64_t>(memory_, *address + kRspInContext) == header_.context->Rsp()) {
      return i;
    }
  }
  return {};
}

std::optional<std::uint64_t> Processors::Cr8(std::uint32_t number) const noexcept {
  const auto offset = data_.At<std::uint16_t>(field::kPrcbSpecialRegisters);
  const auto block = Block(number);
  if (!block || !offset || *offset == 0) return {};
  return ReadMemory<std::uint64_t>(memory_, *block + *offset + kCr8InSpecialRegisters);
}

std::optional<std::uint64_t> Processors::CurrentThread(std::uint32_t number) const noexcept {
  const auto offset = data_.At<std::uint16_t>(field::kPrcbCurrentThread);
  const auto block = Block(number);
  if (!block || !offset || *offset == 0) return {};
  return ReadMemory<std::uint64_t>(memory_, *block + *offset);
}

std::optional<std::uint64_t> Processors::ProcessOf(std::uint64_t thread) const noexcept {
  const auto offset = data_.At<std::uint16_t>(field::kThreadApcProcess);
  if (!offset || *offset == 0) return {};
  return ReadMemory<std::uint64_t>(memory_, thread + *offset);
}

std::optional<AddressRange> Processors::StackOf(std::uint64_t thread) const noexcept {
  const auto limit_at = data_.At<std::uint32_t>(field::kThreadStackLimit);
  const auto base_at = data_.At<std::uint32_t>(field::kThreadStackBase);
  if (!limit_at || !base_at || *limit_at == 0 || *base_at == 0) return {};
  const auto limit = ReadMemory<std::uint64_t>(memory_, thread + *limit_at);
  const auto base = ReadMemory<std::uint64_t>(memory_, thread + *base_at);
  if (!limit || !base || *limit >= *base) return {};
  return AddressRange{*limit, *base};
}

}  // namespace varnel::formats
