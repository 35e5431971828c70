#include "platform/embedded/debugger/target_images.h"

namespace varnel::embedded {
namespace {

using formats::PeLookup;
using formats::PeState;

// A table of exports takes half a megabyte at most.
constexpr std::size_t kKept = 16;

}  // namespace

const TargetImages::Tables* TargetImages::TablesOf(const TargetModule& module) {
  auto found = kept_.find(module.base);
  if (found == kept_.end()) {
    if (kept_.size() >= kKept) kept_.clear();
    const auto image = formats::PeImage::Open(*memory_, module.base, module.size);
    auto tables = image.found() ? PeLookup<Tables>(Tables{image.value(), formats::PeExports::Open(image.value()),
                                                          formats::PeFunctions::Open(image.value())})
                                : PeLookup<Tables>(image.state());
    found = kept_.emplace(module.base, std::move(tables)).first;
  }
  return found->second.found() ? &found->second.value() : nullptr;
}

bool TargetImages::HasExports(const TargetModule& module) {
  if (module.unloaded) return false;
  const auto image = formats::PeImage::Open(*memory_, module.base, module.size);
  if (!image.found()) return false;
  const auto table = image.value().Directory(formats::PeDirectory::kExport);
  return table.found() && image.value().memory().Copy<std::uint64_t>(table.value().rva).found();
}

PeLookup<formats::FunctionName> TargetImages::NameOf(const TargetModule& module, std::uint64_t address) {
  if (module.unloaded) return PeState::kMissing;
  const Tables* const tables = TablesOf(module);
  if (tables == nullptr) return PeState::kMissing;
  if (!tables->exports.found()) return tables->exports.state();
  const auto place = static_cast<std::uint32_t>(address - module.base);
  return formats::NameFunction(tables->image, tables->exports.value(), tables->functions, place);
}

PeLookup<formats::PeVersionValue> TargetImages::VersionItem(const TargetModule& module, std::u16string_view item) {
  if (module.unloaded) return PeState::kMissing;
  const auto image = formats::PeImage::Open(*memory_, module.base, module.size);
  if (!image.found()) return image.state();
  const auto version = formats::PeVersion::Open(image.value());
  if (!version.found()) return version.state();
  return version.value().Query(item);
}

}  // namespace varnel::embedded
