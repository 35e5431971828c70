#include "platform/embedded/debugger/target_modules.h"

#include <algorithm>
#include <limits>

namespace varnel::embedded {
namespace {

constexpr std::string_view kKernelName = "nt";
constexpr std::size_t kLongestName = 255;                 // of a file in a folder; a damaged dump may tell a longer one
constexpr std::u16string_view kMadeUpName = u"unknown_";  // by the reader, where the dump has no text

char LowerAscii(char c) {
  return c >= 'A' && c <= 'Z' ? static_cast<char>(c - 'A' + 'a') : c;
}

std::string Folded(std::string_view name) {
  std::string folded(name);
  std::transform(folded.begin(), folded.end(), folded.begin(), LowerAscii);
  return folded;
}

bool IsNameCharacter(char16_t c) {
  return (c >= u'a' && c <= u'z') || (c >= u'A' && c <= u'Z') || (c >= u'0' && c <= u'9') || c == u'_';
}

std::string NameOf(std::u16string_view file) {
  const std::size_t dot = file.rfind(u'.');
  const std::u16string_view stem = dot == std::u16string_view::npos || dot == 0 ? file : file.substr(0, dot);
  const std::u16string_view kept = stem.substr(0, kLongestName);
  std::string name;
  for (const char16_t c : kept) name.push_back(IsNameCharacter(c) ? static_cast<char>(c) : '_');
  return name;
}

std::string Hex(std::uint64_t value) {
  char digits[17] = {};
  char* at = digits + 16;
  do {
    *--at = "0123456789abcdef"[value & 15];
    value >>= 4;
  } while (value != 0);
  return at;
}

/// The kernel's place in the list: by the debugger's data block, by the list's own head, which lies in its image, or as
/// the first.
std::size_t IndexOfKernel(const formats::KernelDump& dump, const std::vector<formats::DumpModule>& modules) {
  const formats::DebuggerData* const data = dump.debugger_data();
  const auto base = data != nullptr ? data->At<std::uint64_t>(formats::debugger_data_field::kKernBase) : std::nullopt;
  const std::uint64_t head = dump.header().loaded_module_list;
  for (std::size_t i = 0; i < modules.size(); ++i) {
    if (base && modules[i].base == *base) return i;
  }
  for (std::size_t i = 0; i < modules.size(); ++i) {
    if (head >= modules[i].base && head - modules[i].base < modules[i].size) return i;
  }
  return 0;
}

/// Gives every module a name of its own.
class UniqueNames {
 public:
  std::string Take(std::string name, std::uint64_t base) {
    if (IsNew(name)) return name;
    name += '_' + Hex(base);
    if (IsNew(name)) return name;
    // A number is tried once for each name, so that a list of one module over and over is not quadratic.
    std::uint32_t& number = taken_.at(Folded(name));
    for (;;) {
      std::string numbered = name + '_' + std::to_string(++number);
      if (IsNew(numbered)) return numbered;
    }
  }

 private:
  bool IsNew(std::string_view name) { return taken_.try_emplace(Folded(name), 1).second; }

  std::unordered_map<std::string, std::uint32_t> taken_;  // with the last number that was tried behind it
};

TargetModule Describe(const formats::DumpModule& module) {
  TargetModule described;
  described.base = module.base;
  described.size = module.size;
  described.time_date_stamp = module.time_date_stamp;
  described.check_sum = module.check_sum;
  described.exception_table = module.exception_table;
  described.exception_table_size = module.exception_table_size;
  if (!module.path.empty() || !module.name.starts_with(kMadeUpName)) {
    described.image = module.path.empty() ? module.name : module.path;
    described.loaded = module.name;
  }
  return described;
}

TargetModule Describe(const formats::DumpUnloadedModule& module) {
  TargetModule described;
  described.base = module.start;
  const std::uint64_t size = module.end > module.start ? module.end - module.start : 0;
  described.size = static_cast<std::uint32_t>(std::min<std::uint64_t>(size, std::numeric_limits<std::uint32_t>::max()));
  described.unloaded = true;
  described.image = module.name;
  described.loaded = described.image;
  return described;
}

}  // namespace

TargetModules::TargetModules(const formats::KernelDump& dump) {
  const auto& loaded = dump.Modules();
  const auto& unloaded = dump.UnloadedModules();
  const std::size_t kernel = IndexOfKernel(dump, loaded);
  modules_.reserve(loaded.size() + unloaded.size());
  UniqueNames names;
  names.Take(std::string(kKernelName), 0);
  for (std::size_t i = 0; i < loaded.size(); ++i) {
    TargetModule module = Describe(loaded[i]);
    module.name = i == kernel ? std::string(kKernelName) : names.Take(NameOf(loaded[i].name), module.base);
    modules_.push_back(std::move(module));
  }
  loaded_ = static_cast<std::uint32_t>(modules_.size());
  for (const formats::DumpUnloadedModule& gone : unloaded) {
    TargetModule module = Describe(gone);
    module.name = names.Take(NameOf(gone.name), module.base);
    modules_.push_back(std::move(module));
  }
  for (std::size_t i = 0; i < modules_.size(); ++i) by_base_.emplace(modules_[i].base, static_cast<std::uint32_t>(i));
}

std::optional<std::uint32_t> TargetModules::FindName(std::string_view name, std::uint32_t start) const {
  const std::string wanted = Folded(name);
  for (std::size_t i = start; i < modules_.size(); ++i) {
    if (Folded(modules_[i].name) == wanted) return static_cast<std::uint32_t>(i);
  }
  return {};
}

std::optional<std::uint32_t> TargetModules::FindAddress(std::uint64_t address, std::uint32_t start) const {
  for (std::size_t i = start; i < modules_.size(); ++i) {
    if (modules_[i].Holds(address)) return static_cast<std::uint32_t>(i);
  }
  return {};
}

std::optional<std::uint32_t> TargetModules::FindBase(std::uint64_t base) const {
  const auto found = by_base_.find(base);
  if (found == by_base_.end()) return {};
  return found->second;
}

}  // namespace varnel::embedded
