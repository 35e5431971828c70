#include "platform/embedded/files/link_table.h"

#include <unistd.h>

#include <algorithm>
#include <charconv>
#include <climits>
#include <fstream>
#include <optional>

namespace varnel::embedded {
namespace {

/// None for a line that tells no link.
std::optional<LinkTable::Link> ParseLine(const std::string& line) {
  const std::size_t first = line.find('\t');
  const std::size_t second = first == std::string::npos ? first : line.find('\t', first + 1);
  if (second == std::string::npos) return std::nullopt;
  LinkTable::Link link;
  const auto [end, error] = std::from_chars(line.data(), line.data() + first, link.creation);
  if (error != std::errc() || end != line.data() + first) return std::nullopt;
  link.place = line.substr(first + 1, second - first - 1);
  link.target = line.substr(second + 1);
  if (link.place.empty() || !link.target.starts_with('/')) return std::nullopt;
  return link;
}

bool LeadsTo(const std::string& link, const std::string& target) {
  char text[PATH_MAX];
  const ssize_t size = ::readlink(link.c_str(), text, sizeof text);
  return size > 0 && std::string_view(text, static_cast<std::size_t>(size)) == target;
}

}  // namespace

LinkTable LinkTable::Read(const Machine& machine) {
  LinkTable table;
  table.root_ = machine.root() + '/';
  std::ifstream in(machine.LinksPath(), std::ios::binary);
  for (std::string line; std::getline(in, line) && !in.eof();) {
    if (auto link = ParseLine(line)) table.links_.push_back(std::move(*link));
  }
  std::stable_sort(table.links_.begin(), table.links_.end(),
                   [](const Link& a, const Link& b) { return a.place < b.place; });
  return table;
}

const LinkTable::Link* LinkTable::Find(const std::string& host_path) const {
  if (!host_path.starts_with(root_)) return nullptr;
  const std::string_view place = std::string_view(host_path).substr(root_.size());
  const auto behind = std::upper_bound(links_.begin(), links_.end(), place,
                                       [](std::string_view key, const Link& link) { return key < link.place; });
  if (behind == links_.begin()) return nullptr;
  const Link& link = *(behind - 1);
  return link.place == place && LeadsTo(host_path, link.target) ? &link : nullptr;
}

std::string LinkTable::LineOf(const Link& link) {
  return std::to_string(link.creation) + '\t' + link.place + '\t' + link.target + '\n';
}

}  // namespace varnel::embedded
