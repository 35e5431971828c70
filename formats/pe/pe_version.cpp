#include "formats/pe/pe_version.h"

#include <algorithm>
#include <cstring>
#include <span>

#include "formats/pe/pe_resources.h"

namespace varnel::formats {
namespace {

constexpr std::size_t kLargestBlock = 65'535;  // a block tells its length in 16 bits
constexpr std::uint32_t kFixedSignature = 0xFEEF'04BD;

constexpr std::size_t Align4(std::size_t value) {
  return (value + 3) & ~std::size_t{3};
}

char16_t Folded(char16_t c) {
  return c >= u'a' && c <= u'z' ? static_cast<char16_t>(c - u'a' + u'A') : c;
}

bool SameName(std::u16string_view a, std::u16string_view b) {
  return std::equal(a.begin(), a.end(), b.begin(), b.end(),
                    [](char16_t x, char16_t y) { return Folded(x) == Folded(y); });
}

// Takes the next name off a path.
std::u16string_view TakeName(std::u16string_view* path) {
  path->remove_prefix(std::min(path->find_first_not_of(u'\\'), path->size()));
  const std::u16string_view name = path->substr(0, path->find(u'\\'));
  path->remove_prefix(name.size());
  return name;
}

}  // namespace

// One block of the tree: a length of its own, a key, a value, and blocks within it, each part on a multiple of four.
struct PeVersion::Node {
  std::size_t end = 0;
  std::u16string key;
  std::size_t value = 0;
  std::size_t value_size = 0;  // bytes, cut at the block's end
  std::size_t children = 0;
};

PeVersion::PeVersion(std::vector<std::byte> bytes, std::size_t size) : bytes_(std::move(bytes)), size_(size) {
  bytes_.resize(std::min({bytes_.size(), size_, kLargestBlock}));
}

PeLookup<PeVersion> PeVersion::Open(const PeImage& image) {
  const auto place = FindPeResource(image, kPeResourceVersion);
  if (!place.found()) return place.state();
  std::vector<std::byte> bytes(std::min<std::size_t>(place.value().size, kLargestBlock));
  bytes.resize(image.memory().ReadSome(place.value().rva, bytes));
  if (bytes.empty()) return place.value().size == 0 ? PeState::kDamaged : PeState::kMissing;
  return PeVersion(std::move(bytes), place.value().size);
}

PeState PeVersion::Check(std::size_t at, std::size_t size) const noexcept {
  if (at > size_ || size > size_ - at) return PeState::kDamaged;
  return at <= bytes_.size() && size <= bytes_.size() - at ? PeState::kFound : PeState::kMissing;
}

PeLookup<PeVersion::Node> PeVersion::ReadNode(std::size_t at, std::size_t end) const {
  std::uint16_t head[3];  // length of all, length of the value, whether that counts characters
  if (at > end || end - at < sizeof head) return PeState::kDamaged;
  if (const PeState state = Check(at, sizeof head); state != PeState::kFound) return state;
  std::memcpy(head, bytes_.data() + at, sizeof head);
  if (head[0] < sizeof head || head[0] > end - at) return PeState::kDamaged;
  Node node;
  node.end = at + head[0];
  std::size_t place = at + sizeof head;
  for (;; place += sizeof(char16_t)) {
    if (node.end - place < sizeof(char16_t)) return PeState::kDamaged;
    if (const PeState state = Check(place, sizeof(char16_t)); state != PeState::kFound) return state;
    char16_t c;
    std::memcpy(&c, bytes_.data() + place, sizeof c);
    if (c == u'\0') break;
    node.key.push_back(c);
  }
  node.value = std::min(Align4(place + sizeof(char16_t)), node.end);
  const std::size_t claimed = head[2] == 1 ? std::size_t{head[1]} * sizeof(char16_t) : head[1];
  node.value_size = std::min(claimed, node.end - node.value);
  node.children = std::min(Align4(node.value + node.value_size), node.end);
  return node;
}

PeLookup<PeVersion::Node> PeVersion::FindChild(const Node& parent, std::u16string_view key) const {
  for (std::size_t at = parent.children; at < parent.end;) {
    auto child = ReadNode(at, parent.end);
    if (!child.found()) return child.state();
    if (SameName(child.value().key, key)) return child;
    at = Align4(child.value().end);
  }
  return PeState::kAbsent;
}

PeLookup<PeVersionValue> PeVersion::ValueOf(const Node& node, bool is_text) const {
  PeVersionValue value;
  value.is_text = is_text;
  if (!is_text) {
    if (const PeState state = Check(node.value, node.value_size); state != PeState::kFound) return state;
    const std::span<const std::byte> bytes = std::span(bytes_).subspan(node.value, node.value_size);
    value.bytes.assign(bytes.begin(), bytes.end());
    return value;
  }
  // Some makers of resources count a text's bytes, others its characters; it ends at its NUL either way.
  for (std::size_t at = node.value; node.value_size - (at - node.value) >= sizeof(char16_t); at += sizeof(char16_t)) {
    if (const PeState state = Check(at, sizeof(char16_t)); state != PeState::kFound) return state;
    char16_t c;
    std::memcpy(&c, bytes_.data() + at, sizeof c);
    if (c == u'\0') break;
    value.text.push_back(c);
  }
  return value;
}

PeLookup<PeVersionValue> PeVersion::Query(std::u16string_view item) const {
  auto node = ReadNode(0, std::min(size_, kLargestBlock));
  if (!node.found()) return node.state();
  std::u16string_view first;
  std::size_t depth = 0;
  for (std::u16string_view name = TakeName(&item); !name.empty(); name = TakeName(&item), ++depth) {
    if (depth == 0) first = name;
    auto child = FindChild(node.value(), name);
    if (!child.found()) return child.state();
    node = std::move(child);
  }
  const bool is_text = depth == 3 && SameName(first, u"StringFileInfo");
  return ValueOf(node.value(), is_text);
}

PeLookup<PeFixedVersion> PeVersion::Fixed() const {
  const auto value = Query(u"\\");
  if (!value.found()) return value.state();
  PeFixedVersion fixed;
  static_assert(sizeof fixed == 52);
  if (value.value().bytes.size() < sizeof fixed) return PeState::kAbsent;
  std::memcpy(&fixed, value.value().bytes.data(), sizeof fixed);
  if (fixed.signature != kFixedSignature) return PeState::kAbsent;
  return fixed;
}

}  // namespace varnel::formats
