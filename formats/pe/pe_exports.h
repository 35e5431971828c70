// PeExports answers which function an image tells the world by which name. Names are those of code and data that lie in
// the image: what only leads on into another image (a forwarder) has no place here and is not given.
// Holds the table of places, sorted (8 bytes an entry, 65,536 at most); names are read when they are asked for.
// A view over the image's address space, which must outlive it. Reading is bounded for any bytes.
#pragma once

#include <cstdint>
#include <string>
#include <vector>

#include "formats/pe/pe_image.h"

namespace varnel::formats {

struct PeExport {
  std::uint32_t rva = 0;
  std::uint32_t ordinal = 0;  ///< with the table's base in it, as importers give it
  std::string name;           ///< valid UTF-8; empty when it is exported by its ordinal alone
};

class PeExports {
 public:
  /// @return kAbsent when the image exports nothing.
  static PeLookup<PeExports> Open(const PeImage& image);

  /// The export that begins exactly there. Of several, the one whose name stands first in the image's table (the tables
  /// are sorted by name); one with a name goes before one without.
  /// @return kAbsent when there is none; kMissing when its name, or the entry that might be it, is not in the dump.
  PeLookup<PeExport> At(std::uint32_t rva) const;

  /// The last export at or below a place within the same section; nothing proves that it goes as far as that.
  /// @return kMissing also when one that is nearer may stand in a part of the table that is not in the dump.
  PeLookup<PeExport> AtOrBelow(std::uint32_t rva) const;

  /// The image's own name, as its makers called it.
  PeLookup<std::string> ImageName() const;

  /// Whether the whole table of places was in the dump.
  bool complete() const noexcept { return complete_; }
  /// How many entries lead to code or data of the image.
  std::size_t size() const noexcept { return places_.size(); }

 private:
  struct Place {
    std::uint32_t rva;
    std::uint32_t index;
  };

  explicit PeExports(const PeImage& image) : image_(image) {}
  PeState ReadPlaces(const PeRange& directory, std::uint32_t table, std::uint32_t count);
  PeLookup<PeExport> NameThem(std::uint32_t rva) const;

  PeImage image_;
  std::vector<Place> places_;  // sorted by rva, then index
  std::uint32_t name_rva_ = 0;
  std::uint32_t ordinal_base_ = 0;
  std::uint32_t names_ = 0;
  std::uint32_t names_rva_ = 0;
  std::uint32_t ordinals_rva_ = 0;
  bool complete_ = false;
};

}  // namespace varnel::formats
