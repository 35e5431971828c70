// PeImage knows the headers of a 64-bit image in a machine's memory: what it is, its sections, where its directories
// lie. Everything else that can be asked of an image begins here.
// A view over an address space, which must outlive it; copied freely. Reading is bounded for any bytes.
#pragma once

#include <array>
#include <cstdint>
#include <string>
#include <vector>

#include "formats/pe/pe_lookup.h"
#include "formats/pe/pe_memory.h"

namespace varnel::formats {

/// A place in the image: bytes from its base, and how many.
struct PeRange {
  std::uint32_t rva = 0;
  std::uint32_t size = 0;

  bool Holds(std::uint32_t place) const noexcept { return place >= rva && place - rva < size; }
};

enum class PeDirectory : std::uint8_t { kExport = 0, kImport = 1, kResource = 2, kException = 3, kDebug = 6 };

struct PeSection {
  std::string name;  ///< at most eight bytes, without the NULs behind it
  PeRange range;     ///< as it lies in memory, cut at the image's end
  std::uint32_t characteristics = 0;

  bool executable() const noexcept { return (characteristics & 0x2000'0000) != 0; }
};

/// The fields of the file header and the optional header that are of use for a dump.
struct PeHeaders {
  std::uint16_t machine = 0;          ///< 0x8664: x64
  std::uint32_t time_date_stamp = 0;  ///< seconds since 1970, or a hash of the build
  std::uint16_t characteristics = 0;
  std::uint32_t entry_point = 0;  ///< an RVA, 0 without one
  std::uint64_t image_base = 0;   ///< where the image was linked for, or where it was loaded
  std::uint32_t section_alignment = 0;
  std::uint32_t size_of_image = 0;
  std::uint32_t size_of_headers = 0;
  std::uint32_t checksum = 0;
  std::uint16_t subsystem = 0;
  std::uint16_t dll_characteristics = 0;
};

class PeImage {
 public:
  /// Reads the headers at `base`. `size` is the image's size in bytes as the machine's module list tells it; with 0 the
  /// header's own counts. Nothing outside of it is read, whatever the headers say.
  /// @return the image; else kMissing, kDamaged, kNotAnImage, kPe32, kRomImage or kOtherKind.
  static PeLookup<PeImage> Open(const AddressSpace& space, std::uint64_t base, std::uint32_t size);

  const PeHeaders& headers() const noexcept { return headers_; }
  const std::vector<PeSection>& sections() const noexcept { return sections_; }
  const PeMemory& memory() const noexcept { return memory_; }

  /// Where a directory lies. @return kAbsent when the image has none, kDamaged when it leaves the image.
  PeLookup<PeRange> Directory(PeDirectory which) const noexcept;
  /// The section that holds a place; null between sections and in the headers. Lives as long as the image.
  const PeSection* SectionAt(std::uint32_t rva) const noexcept;
  bool IsExecutable(std::uint32_t rva) const noexcept;

 private:
  explicit PeImage(const PeMemory& memory) : memory_(memory) {}
  PeState ReadOptionalHeader(std::uint32_t rva, std::uint16_t size);
  PeState ReadSections(std::uint32_t rva, std::uint16_t count);

  PeMemory memory_;
  PeHeaders headers_;
  std::array<PeRange, 16> directories_{};
  std::vector<PeSection> sections_;
};

}  // namespace varnel::formats
