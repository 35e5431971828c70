#include "formats/pe/pe_exports.h"

#include <algorithm>
#include <optional>

#include "formats/pe/pe_format.h"
#include "formats/text_encoding.h"

namespace varnel::formats {
namespace {

constexpr std::uint32_t kMostExports = 65'536;  // ordinals have 16 bits
constexpr std::size_t kLongestName = 4096;

// A name with control characters is none: the table leads into something else.
PeLookup<std::string> ReadName(const PeMemory& memory, std::uint32_t rva) {
  auto text = memory.Text(rva, kLongestName);
  if (!text.found()) return text.state();
  const auto control = [](char c) { return static_cast<unsigned char>(c) < 0x20 || c == 0x7F; };
  if (text.value().empty() || std::any_of(text.value().begin(), text.value().end(), control)) return PeState::kDamaged;
  return ToValidUtf8(text.value());
}

}  // namespace

PeLookup<PeExports> PeExports::Open(const PeImage& image) {
  const auto directory = image.Directory(PeDirectory::kExport);
  if (!directory.found()) return directory.state();
  const auto table = image.memory().Copy<pe::ExportDirectory>(directory.value().rva);
  if (!table.found()) return table.state();
  const pe::ExportDirectory& from = table.value();
  if (from.number_of_functions > kMostExports || from.number_of_names > kMostExports) return PeState::kDamaged;

  PeExports exports(image);
  exports.name_rva_ = from.name;
  exports.ordinal_base_ = from.base;
  exports.names_ = from.number_of_names;
  exports.names_rva_ = from.address_of_names;
  exports.ordinals_rva_ = from.address_of_name_ordinals;
  const PeState state = exports.ReadPlaces(directory.value(), from.address_of_functions, from.number_of_functions);
  if (state == PeState::kDamaged) return state;
  exports.complete_ = state == PeState::kFound;
  return exports;
}

PeState PeExports::ReadPlaces(const PeRange& directory, std::uint32_t table, std::uint32_t count) {
  const auto add = [this, &directory](std::uint32_t index, std::uint32_t rva) {
    const bool forwarder = directory.Holds(rva);
    if (rva != 0 && rva < image_.memory().size() && !forwarder) places_.push_back({rva, index});
    return true;
  };
  const PeState state = image_.memory().ForEach<std::uint32_t>(table, count, add);
  const auto before = [](const Place& a, const Place& b) { return a.rva != b.rva ? a.rva < b.rva : a.index < b.index; };
  std::sort(places_.begin(), places_.end(), before);
  return state;
}

PeLookup<PeExport> PeExports::At(std::uint32_t rva) const {
  const auto below = [](const Place& place, std::uint32_t value) { return place.rva < value; };
  const auto found = std::lower_bound(places_.begin(), places_.end(), rva, below);
  if (found == places_.end() || found->rva != rva) return complete_ ? PeState::kAbsent : PeState::kMissing;
  return NameThem(rva);
}

PeLookup<PeExport> PeExports::AtOrBelow(std::uint32_t rva) const {
  const auto above = [](std::uint32_t value, const Place& place) { return value < place.rva; };
  const auto next = std::upper_bound(places_.begin(), places_.end(), rva, above);
  const PeSection* section = image_.SectionAt(rva);
  const bool exact = next != places_.begin() && std::prev(next)->rva == rva;
  if (!complete_ && !exact) return PeState::kMissing;
  if (next == places_.begin() || section == nullptr || !section->range.Holds(std::prev(next)->rva)) {
    return PeState::kAbsent;
  }
  return NameThem(std::prev(next)->rva);
}

// Looks for the first name that leads to any of the entries of one place.
PeLookup<PeExport> PeExports::NameThem(std::uint32_t rva) const {
  const auto first = std::lower_bound(places_.begin(), places_.end(), rva,
                                      [](const Place& place, std::uint32_t value) { return place.rva < value; });
  const auto last = std::find_if(first, places_.end(), [rva](const Place& place) { return place.rva != rva; });
  const auto leads_here = [first, last](std::uint16_t index) {
    const auto below = [](const Place& place, std::uint32_t value) { return place.index < value; };
    const auto found = std::lower_bound(first, last, std::uint32_t{index}, below);
    return found != last && found->index == index;
  };
  struct Match {
    std::uint32_t name;
    std::uint16_t index;
  };
  std::optional<Match> match;
  const PeState state = image_.memory().ForEach<std::uint16_t>(ordinals_rva_, names_, [&](std::uint32_t i, auto index) {
    if (leads_here(index)) match = {i, index};
    return !match.has_value();
  });
  if (!match.has_value()) {
    if (state != PeState::kFound) return state;
    return PeExport{rva, ordinal_base_ + first->index, {}};
  }
  const std::uint64_t name_place = std::uint64_t{names_rva_} + std::uint64_t{match->name} * sizeof(std::uint32_t);
  if (name_place > image_.memory().size()) return PeState::kDamaged;
  const auto name_rva = image_.memory().Copy<std::uint32_t>(static_cast<std::uint32_t>(name_place));
  if (!name_rva.found()) return name_rva.state();
  auto name = ReadName(image_.memory(), name_rva.value());
  if (!name.found()) return name.state();
  return PeExport{rva, ordinal_base_ + match->index, std::move(name).value()};
}

PeLookup<std::string> PeExports::ImageName() const {
  return ReadName(image_.memory(), name_rva_);
}

}  // namespace varnel::formats
