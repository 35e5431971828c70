#include "formats/pe/pe_image.h"

#include <algorithm>
#include <limits>
#include <span>

#include "formats/pe/pe_format.h"

namespace varnel::formats {
namespace {

constexpr std::uint16_t kMostSections = 512;

// Where "PE\0\0" stands.
PeLookup<std::uint32_t> FindSignature(const PeMemory& memory) {
  const auto magic = memory.Copy<std::uint16_t>(0);
  if (!magic.found()) return magic.state();
  if (magic.value() != pe::kDosMagic) return PeState::kNotAnImage;
  const auto place = memory.Copy<std::uint32_t>(pe::kDosNewHeaderPlace);
  if (!place.found()) return place.state();
  const auto signature = memory.Copy<std::uint32_t>(place.value());
  if (!signature.found()) return signature.state();
  if (signature.value() != pe::kSignature) return PeState::kNotAnImage;
  return place.value();
}

PeState KindOf(std::uint16_t magic) {
  switch (magic) {
    case pe::kMagicPe32Plus:
      return PeState::kFound;
    case pe::kMagicPe32:
      return PeState::kPe32;
    case pe::kMagicRom:
      return PeState::kRomImage;
    default:
      return PeState::kOtherKind;
  }
}

}  // namespace

PeLookup<PeImage> PeImage::Open(const AddressSpace& space, std::uint64_t base, std::uint32_t size) {
  const PeMemory unbounded(space, base, size != 0 ? size : std::numeric_limits<std::uint32_t>::max());
  const auto signature = FindSignature(unbounded);
  if (!signature.found()) return signature.state();
  const std::uint64_t file_header_rva = std::uint64_t{signature.value()} + sizeof(pe::kSignature);
  const std::uint64_t optional_rva = file_header_rva + sizeof(pe::FileHeader);
  if (optional_rva > unbounded.size()) return PeState::kDamaged;
  const auto file = unbounded.Copy<pe::FileHeader>(static_cast<std::uint32_t>(file_header_rva));
  if (!file.found()) return file.state();

  PeImage image(unbounded);
  image.headers_.machine = file.value().machine;
  image.headers_.time_date_stamp = file.value().time_date_stamp;
  image.headers_.characteristics = file.value().characteristics;
  const std::uint16_t optional_size = file.value().size_of_optional_header;
  PeState state = image.ReadOptionalHeader(static_cast<std::uint32_t>(optional_rva), optional_size);
  if (state != PeState::kFound) return state;
  if (size == 0) image.memory_ = PeMemory(space, base, image.headers_.size_of_image);
  const std::uint64_t sections_rva = optional_rva + optional_size;
  if (sections_rva > image.memory_.size()) return PeState::kDamaged;
  state = image.ReadSections(static_cast<std::uint32_t>(sections_rva), file.value().number_of_sections);
  if (state != PeState::kFound) return state;
  return image;
}

PeState PeImage::ReadOptionalHeader(std::uint32_t rva, std::uint16_t size) {
  const auto magic = memory_.Copy<std::uint16_t>(rva);
  if (!magic.found()) return magic.state();
  if (const PeState kind = KindOf(magic.value()); kind != PeState::kFound) return kind;
  if (size < sizeof(pe::OptionalHeader)) return PeState::kDamaged;
  const auto header = memory_.Copy<pe::OptionalHeader>(rva);
  if (!header.found()) return header.state();
  const pe::OptionalHeader& from = header.value();
  headers_.entry_point = from.address_of_entry_point;
  headers_.image_base = from.image_base;
  headers_.section_alignment = from.section_alignment;
  headers_.size_of_image = from.size_of_image;
  headers_.size_of_headers = from.size_of_headers;
  headers_.checksum = from.checksum;
  headers_.subsystem = from.subsystem;
  headers_.dll_characteristics = from.dll_characteristics;

  const auto room = static_cast<std::uint32_t>((size - sizeof(pe::OptionalHeader)) / sizeof(pe::DataDirectory));
  const auto count = std::min<std::uint32_t>({from.number_of_rva_and_sizes, room, 16});
  return memory_.ForEach<pe::DataDirectory>(rva + sizeof(pe::OptionalHeader), count,
                                            [this](std::uint32_t index, const pe::DataDirectory& directory) {
                                              directories_.at(index) = {directory.rva, directory.size};
                                              return true;
                                            });
}

PeState PeImage::ReadSections(std::uint32_t rva, std::uint16_t count) {
  if (count > kMostSections) return PeState::kDamaged;
  return memory_.ForEach<pe::SectionHeader>(rva, count, [this](std::uint32_t, const pe::SectionHeader& header) {
    const std::span<const char> name(header.name);
    PeSection section;
    section.name.assign(name.begin(), std::find(name.begin(), name.end(), '\0'));
    const std::uint32_t size = header.virtual_size != 0 ? header.virtual_size : header.size_of_raw_data;
    const std::uint32_t begin = std::min(header.virtual_address, memory_.size());
    section.range = {begin, std::min(size, memory_.size() - begin)};
    section.characteristics = header.characteristics;
    sections_.push_back(std::move(section));
    return true;
  });
}

PeLookup<PeRange> PeImage::Directory(PeDirectory which) const noexcept {
  const PeRange range = directories_.at(static_cast<std::size_t>(which));
  if (range.rva == 0 || range.size == 0) return PeState::kAbsent;
  if (range.rva >= memory_.size() || range.size > memory_.size() - range.rva) return PeState::kDamaged;
  return range;
}

const PeSection* PeImage::SectionAt(std::uint32_t rva) const noexcept {
  const auto holds = [rva](const PeSection& section) { return section.range.Holds(rva); };
  const auto found = std::find_if(sections_.begin(), sections_.end(), holds);
  return found != sections_.end() ? &*found : nullptr;
}

bool PeImage::IsExecutable(std::uint32_t rva) const noexcept {
  const PeSection* section = SectionAt(rva);
  return section != nullptr && section->executable();
}

}  // namespace varnel::formats
