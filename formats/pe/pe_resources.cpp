#include "formats/pe/pe_resources.h"

#include <algorithm>
#include <optional>

#include "formats/pe/pe_format.h"

namespace varnel::formats {
namespace {

constexpr std::uint32_t kMostEntries = 4096;
constexpr std::uint32_t kEnglish = 0x0409;
constexpr std::uint32_t kNeutral = 0;

class ResourceTree {
 public:
  ResourceTree(const PeImage& image, const PeRange& root) : memory_(image.memory()), root_(root) {}

  // Gives the entry of the directory at `offset` with the lowest rank; a rank of nothing leaves an entry out.
  template <typename Rank>
  PeLookup<pe::ResourceEntry> Choose(std::uint32_t offset, Rank rank) const {
    const auto place = PlaceOf(offset, sizeof(pe::ResourceDirectory));
    if (!place.found()) return place.state();
    const auto directory = memory_.Copy<pe::ResourceDirectory>(place.value());
    if (!directory.found()) return directory.state();
    const std::uint32_t named = directory.value().number_of_named_entries;
    const std::uint32_t all = named + directory.value().number_of_id_entries;
    std::optional<pe::ResourceEntry> best;
    std::optional<int> best_rank;
    const auto visit = [&](std::uint32_t index, const pe::ResourceEntry& entry) {
      const std::optional<int> entry_rank = rank(index < named, entry.id);
      if (entry_rank.has_value() && (!best_rank.has_value() || *entry_rank < *best_rank)) {
        best = entry;
        best_rank = entry_rank;
      }
      return best_rank != std::optional<int>(0);
    };
    const PeState state = memory_.ForEach<pe::ResourceEntry>(
        place.value() + static_cast<std::uint32_t>(sizeof(pe::ResourceDirectory)), std::min(all, kMostEntries), visit);
    if (best.has_value()) return *best;
    return state == PeState::kFound ? PeState::kAbsent : state;
  }

  // The directory that an entry leads to, as an offset for Choose.
  static PeLookup<std::uint32_t> Directory(const PeLookup<pe::ResourceEntry>& entry) {
    if (!entry.found()) return entry.state();
    if ((entry.value().offset & pe::kResourceHighBit) == 0) return PeState::kDamaged;
    return entry.value().offset & ~pe::kResourceHighBit;
  }

  PeLookup<PeRange> Data(const pe::ResourceEntry& entry) const {
    if ((entry.offset & pe::kResourceHighBit) != 0) return PeState::kDamaged;
    const auto place = PlaceOf(entry.offset, sizeof(pe::ResourceData));
    if (!place.found()) return place.state();
    const auto data = memory_.Copy<pe::ResourceData>(place.value());
    if (!data.found()) return data.state();
    const PeRange range{data.value().rva, data.value().size};
    if (range.rva >= memory_.size() || range.size > memory_.size() - range.rva) return PeState::kDamaged;
    return range;
  }

 private:
  PeLookup<std::uint32_t> PlaceOf(std::uint32_t offset, std::uint32_t size) const {
    if (offset > root_.size || size > root_.size - offset) return PeState::kDamaged;
    return root_.rva + offset;
  }

  PeMemory memory_;
  PeRange root_;
};

}  // namespace

PeLookup<PeRange> FindPeResource(const PeImage& image, std::uint16_t type) {
  const auto root = image.Directory(PeDirectory::kResource);
  if (!root.found()) return root.state();
  const ResourceTree tree(image, root.value());
  const auto of_type = [type](bool named, std::uint32_t id) {
    return !named && id == type ? std::optional<int>(0) : std::nullopt;
  };
  const auto any = [](bool, std::uint32_t) { return std::optional<int>(0); };
  const auto by_language = [](bool, std::uint32_t id) {
    return std::optional<int>(id == kEnglish ? 0 : id == kNeutral ? 1 : 2);
  };
  const auto names = ResourceTree::Directory(tree.Choose(0, of_type));
  if (!names.found()) return names.state();
  const auto languages = ResourceTree::Directory(tree.Choose(names.value(), any));
  if (!languages.found()) return languages.state();
  const auto leaf = tree.Choose(languages.value(), by_language);
  if (!leaf.found()) return leaf.state();
  return tree.Data(leaf.value());
}

}  // namespace varnel::formats
