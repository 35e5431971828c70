// PeVersion is the version resource of an image: fixed numbers, and texts by language.
// Holds a copy of the block (65,535 bytes at most), so that it outlives the image. Not changed after it was made; any
// thread may ask. Bounded for any bytes.
#pragma once

#include <cstddef>
#include <cstdint>
#include <string>
#include <string_view>
#include <vector>

#include "formats/pe/pe_image.h"

namespace varnel::formats {

/// The fixed part, VS_FIXEDFILEINFO, 52 bytes; fields in its order.
struct PeFixedVersion {
  std::uint32_t signature = 0;  ///< 0xFEEF04BD
  std::uint32_t struct_version = 0;
  std::uint32_t file_version_ms = 0;
  std::uint32_t file_version_ls = 0;
  std::uint32_t product_version_ms = 0;
  std::uint32_t product_version_ls = 0;
  std::uint32_t file_flags_mask = 0;
  std::uint32_t file_flags = 0;
  std::uint32_t file_os = 0;
  std::uint32_t file_type = 0;
  std::uint32_t file_subtype = 0;
  std::uint32_t file_date_ms = 0;
  std::uint32_t file_date_ls = 0;
};

/// What a query of an item gives.
struct PeVersionValue {
  bool is_text = false;
  std::u16string text;           ///< without its NUL; for texts
  std::vector<std::byte> bytes;  ///< for everything else
};

class PeVersion {
 public:
  /// @return kAbsent when the image has no version resource, kMissing when none of it is in the dump.
  static PeLookup<PeVersion> Open(const PeImage& image);
  /// From the bytes of a resource. `size` is what the resource says of itself; what is behind `bytes` is missing.
  explicit PeVersion(std::vector<std::byte> bytes, std::size_t size);

  /// The value of an item as the platform's query of version values names them: "\" for the fixed part,
  /// "\VarFileInfo\Translation", "\StringFileInfo\040904B0\FileVersion". Names are compared without the case of ASCII
  /// letters. An item without a value of its own (a table of texts) has an empty one.
  /// @return kAbsent, kMissing or kDamaged.
  PeLookup<PeVersionValue> Query(std::u16string_view item) const;

  /// The fixed part. @return kAbsent when the block has none, or one with another signature.
  PeLookup<PeFixedVersion> Fixed() const;

 private:
  struct Node;
  PeLookup<Node> ReadNode(std::size_t at, std::size_t end) const;
  PeLookup<Node> FindChild(const Node& parent, std::u16string_view key) const;
  PeLookup<PeVersionValue> ValueOf(const Node& node, bool is_text) const;
  PeState Check(std::size_t at, std::size_t size) const noexcept;

  std::vector<std::byte> bytes_;
  std::size_t size_;
};

}  // namespace varnel::formats
