// DebuggerData is the block by which a kernel tells debuggers where its lists are and how its structures are laid out.
// A kernel scrambles it in memory; the copy in a small dump is plain. Plain values; any thread.
#pragma once

#include <array>
#include <cstddef>
#include <cstdint>
#include <cstring>
#include <optional>
#include <span>

namespace varnel::formats {

/// The block as it reads when it is plain. Older kernels have a shorter one: a field behind its end is empty.
class DebuggerData {
 public:
  static constexpr std::size_t kMaxSize = 0x3A0;  ///< what is known of it; a longer one is cut

  /// @return nothing when `bytes` are not a plain block.
  static std::optional<DebuggerData> FromPlain(std::span<const std::byte> bytes) noexcept;
  /// Unscrambles. The key is found from two values that the block and the dump's header both hold.
  static std::optional<DebuggerData> FromEncoded(std::span<const std::byte> bytes, std::uint64_t loaded_module_list,
                                                 std::uint64_t active_process_head) noexcept;

  std::size_t size() const noexcept { return size_; }
  std::span<const std::byte> bytes() const noexcept { return std::span(bytes_).first(size_); }
  /// A number at a place of the block; empty behind its end.
  template <typename T>
  std::optional<T> At(std::size_t offset) const noexcept {
    if (size_ < sizeof(T) || offset > size_ - sizeof(T)) return {};
    T value{};
    std::memcpy(&value, bytes_.data() + offset, sizeof(T));
    return value;
  }

  /// 4 or 5.
  int PagingLevels() const noexcept;
  /// Whether the block was scrambled in the dump.
  bool was_encoded() const noexcept { return was_encoded_; }

 private:
  DebuggerData() = default;

  std::array<std::byte, kMaxSize> bytes_{};
  std::size_t size_ = 0;
  bool was_encoded_ = false;
};

/// Places in the block, of addresses (64 bits) unless told.
namespace debugger_data_field {
inline constexpr std::size_t kKernBase = 0x18;
inline constexpr std::size_t kPagingLevels = 0x36;  ///< 16 bits; the levels in bits 2 to 5
inline constexpr std::size_t kPsLoadedModuleList = 0x48;
inline constexpr std::size_t kPsActiveProcessHead = 0x50;
inline constexpr std::size_t kKiBugcheckData = 0x88;
inline constexpr std::size_t kNtBuildLab = 0x208;
inline constexpr std::size_t kKiProcessorBlock = 0x218;
inline constexpr std::size_t kMmUnloadedDrivers = 0x220;
inline constexpr std::size_t kMmLastUnloadedDriver = 0x228;
inline constexpr std::size_t kThreadApcProcess = 0x2A0;  ///< 16 bits, an offset, as all below
inline constexpr std::size_t kSizeProcess = 0x2A8;
inline constexpr std::size_t kSizePrcb = 0x2B0;
inline constexpr std::size_t kPrcbCurrentThread = 0x2B4;
inline constexpr std::size_t kPrcbNumber = 0x2BE;
inline constexpr std::size_t kSizeThread = 0x2C0;
inline constexpr std::size_t kPrcbSpecialRegisters = 0x2F2;
inline constexpr std::size_t kPrcbContext = 0x338;
inline constexpr std::size_t kThreadStackLimit = 0x340;  ///< 32 bits
inline constexpr std::size_t kThreadStackBase = 0x344;   ///< 32 bits
}  // namespace debugger_data_field

}  // namespace varnel::formats
