#include "formats/pe/function_name.h"

namespace varnel::formats {
namespace {

PeLookup<FunctionName> NameAt(const PeExports& exports, std::uint32_t begin, std::uint32_t rva) {
  auto found = exports.At(begin);
  if (!found.found()) return found.state();
  if (found.value().name.empty()) return PeState::kAbsent;
  return FunctionName{std::move(found.value().name), rva - begin};
}

}  // namespace

PeLookup<FunctionName> NameFunction(const PeImage& image, const PeExports& exports,
                                    const PeLookup<PeFunctions>& functions, std::uint32_t rva) {
  if (!image.IsExecutable(rva)) return PeState::kAbsent;
  const auto entry = functions.found() ? functions.value().Find(rva) : PeLookup<PeFunction>(functions.state());
  const auto primary = entry.found() ? functions.value().Primary(entry.value()) : entry;
  // A part of a function may lie before its beginning; there is no way to say so.
  if (primary.found() && primary.value().begin <= rva) return NameAt(exports, primary.value().begin, rva);
  if (primary.found()) return PeState::kAbsent;
  auto own = NameAt(exports, rva, rva);
  if (own.state() == PeState::kAbsent && primary.state() != PeState::kAbsent) return primary.state();
  return own;
}

}  // namespace varnel::formats
