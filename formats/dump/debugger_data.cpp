#include "formats/dump/debugger_data.h"

#include <algorithm>
#include <bit>

#include "formats/dump/read_values.h"

namespace varnel::formats {
namespace {

constexpr std::uint32_t kTag = 0x4742444B;  // "KDBG"
constexpr std::size_t kTagAt = 0x10;
constexpr std::size_t kSizeAt = 0x14;
constexpr std::size_t kMinSize = 0x88;  // holds at least the addresses of the lists
constexpr std::size_t kMaxClaimed = 0x4000;

constexpr std::uint64_t SwapBytes(std::uint64_t value) {
  return __builtin_bswap64(value);
}

}  // namespace

std::optional<DebuggerData> DebuggerData::FromPlain(std::span<const std::byte> bytes) noexcept {
  if (bytes.size() < kMinSize || Field<std::uint32_t>(bytes, kTagAt) != kTag) return {};
  const auto claimed = Field<std::uint32_t>(bytes, kSizeAt);
  if (claimed < kMinSize || claimed > kMaxClaimed) return {};
  DebuggerData out;
  out.size_ = std::min({static_cast<std::size_t>(claimed), bytes.size(), kMaxSize});
  std::memcpy(out.bytes_.data(), bytes.data(), out.size_);
  return out;
}

// Each 64 bits e of the block stand there as bswap(rotl(e ^ a, r) ^ b) ^ c with the same secrets for all of them, so
// that of two the secrets cancel out: plain_i ^ plain_k = bswap(rotl(e_i ^ e_k, r)). One plain value and the turn r
// give all the others; a second plain value and the tag tell the right turn among the 64.
std::optional<DebuggerData> DebuggerData::FromEncoded(std::span<const std::byte> bytes,
                                                      std::uint64_t loaded_module_list,
                                                      std::uint64_t active_process_head) noexcept {
  namespace field = debugger_data_field;
  if (bytes.size() < kMinSize) return {};
  const auto known = Field<std::uint64_t>(bytes, field::kPsLoadedModuleList);
  const auto checked = Field<std::uint64_t>(bytes, field::kPsActiveProcessHead);
  for (int turn = 0; turn < 64; ++turn) {
    const auto decode = [=](std::uint64_t encoded) {
      return loaded_module_list ^ SwapBytes(std::rotl(encoded ^ known, turn));
    };
    if (decode(checked) != active_process_head) continue;
    std::array<std::byte, kMaxSize> plain{};
    const std::size_t size = std::min(bytes.size(), kMaxSize) / 8 * 8;
    for (std::size_t at = 0; at < size; at += 8) {
      const std::uint64_t value = decode(Field<std::uint64_t>(bytes, at));
      std::memcpy(plain.data() + at, &value, sizeof(value));
    }
    auto out = FromPlain(std::span(plain).first(size));
    if (!out) continue;
    out->was_encoded_ = true;
    return out;
  }
  return {};
}

int DebuggerData::PagingLevels() const noexcept {
  const auto bits = At<std::uint16_t>(debugger_data_field::kPagingLevels).value_or(0);
  return ((bits >> 2) & 0xF) == 5 ? 5 : 4;
}

}  // namespace varnel::formats
