// Unpacking for the formats: the packings of trace files, by what the linked platform has for it. It needs nothing else
// of the platform, so that the tools that only read files link it alone. No state; any thread may call.
#pragma once

#include <cstddef>
#include <cstdint>
#include <optional>
#include <span>

namespace varnel::platform {

/// Unpacks `in` so that it fills `out` exactly. `format` counts as the platform's own function does: 2 LZNT1, 3 XPRESS,
/// 4 XPRESS with Huffman coding. @return false for another format, for bytes that are no packing of it, and when the
/// result is shorter than `out`; `out` may then hold anything.
[[nodiscard]] bool Unpack(std::uint16_t format, std::span<const std::byte> in, std::span<std::byte> out) noexcept;

/// The same for a result that may be shorter than `out`. @return its size; nothing where Unpack gives false for another
/// reason.
[[nodiscard]] std::optional<std::size_t> UnpackUpTo(std::uint16_t format, std::span<const std::byte> in,
                                                    std::span<std::byte> out) noexcept;

}  // namespace varnel::platform
