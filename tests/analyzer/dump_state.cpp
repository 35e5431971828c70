#include "tests/analyzer/dump_state.h"

#include <cstring>
#include <optional>

#include "tests/analyzer/analyzer_fixture.h"

namespace varnel::testing {
namespace {

using platform::HKEY;

std::optional<std::string> RegistryBytes(const std::u16string& name) {
  HKEY key = nullptr;
  auto& registry = platform::RegistryPort();
  if (registry.RegOpenKeyExW(platform::kHkeyLocalMachine, kProductKey.c_str(), 0, platform::kKeyRead, &key) != 0) {
    return std::nullopt;
  }
  std::string bytes(4096, '\0');
  auto size = static_cast<std::uint32_t>(bytes.size());
  const std::uint32_t error = registry.RegQueryValueExW(key, name.c_str(), nullptr, bytes.data(), &size);
  registry.RegCloseKey(key);
  if (error != 0) return std::nullopt;
  bytes.resize(size);
  return bytes;
}

std::uint32_t Number(const std::optional<std::string>& bytes) {
  std::uint32_t value = 0;
  if (bytes && bytes->size() == 4) std::memcpy(&value, bytes->data(), 4);
  return value;
}

/// Runs of characters between those that end one.
std::vector<std::u16string> Split(const std::string& bytes, const std::u16string& ends) {
  std::vector<std::u16string> texts(1);
  for (std::size_t i = 0; i + 1 < bytes.size(); i += 2) {
    const auto c =
        static_cast<char16_t>(static_cast<unsigned char>(bytes[i]) | (static_cast<unsigned char>(bytes[i + 1]) << 8));
    if (ends.find(c) != std::u16string::npos) {
      if (!texts.back().empty()) texts.emplace_back();
    } else {
      texts.back().push_back(c);
    }
  }
  if (texts.back().empty()) texts.pop_back();
  return texts;
}

}  // namespace

ModelKind KeptState(DumpKind kind, const std::string& marker) {
  ModelKind state;
  if (marker != "absent") state.marker = Split(marker, u"\uFEFF\r\n");
  const std::u16string prefix = kind == DumpKind::kNoSymbol ? u"NoSymbol_" : u"WithSymbol_";
  state.completed = Number(RegistryBytes(prefix + u"Completed")) != 0;
  const auto total = RegistryBytes(prefix + u"FirstRunTotalCount");
  if (!total) return state;  // the first to be written and the first to be deleted
  const std::u16string zero(1, u'\0');
  ModelBatch& batch = state.batch.emplace();
  batch.files = Split(RegistryBytes(prefix + u"FirstRunFileList").value_or(""), zero);
  batch.done = Split(RegistryBytes(prefix + u"FirstRunCompletedList").value_or(""), zero);
  batch.total = Number(total);
  if (const auto count = RegistryBytes(prefix + u"FirstRunCompletedCount")) batch.count = Number(count);
  return state;
}

}  // namespace varnel::testing
