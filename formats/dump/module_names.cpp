#include "formats/dump/module_names.h"

#include <algorithm>
#include <utility>

namespace varnel::formats {

std::u16string ModuleNames::Read(std::uint64_t size_bytes, const Reader& read) {
  if (size_bytes / 2 == 0 || size_bytes > budget_bytes_ || size_bytes > 0x10000) return {};
  budget_bytes_ -= size_bytes;
  std::u16string text(size_bytes / 2, u'\0');
  const std::span<std::byte> bytes = std::as_writable_bytes(std::span(text));
  if (read(bytes) != bytes.size()) return {};
  text.resize(std::min(text.find(u'\0'), text.size()));
  text.shrink_to_fit();
  return text;
}

std::u16string FileNameOf(const std::u16string& path) {
  const std::size_t slash = path.find_last_of(u"\\/");
  return slash == std::u16string::npos ? path : path.substr(slash + 1);
}

void ModuleNames::Complete(DumpModule* module) {
  if (!module->name.empty()) return;
  std::u16string name = FileNameOf(module->path);
  if (!name.empty() && 2 * name.size() <= budget_bytes_) {
    budget_bytes_ -= 2 * name.size();
    module->name = std::move(name);
    return;
  }
  module->name = u"unknown_";
  for (int shift = 60; shift >= 0; shift -= 4) module->name += u"0123456789abcdef"[(module->base >> shift) & 0xF];
}

}  // namespace varnel::formats
