// Feeds memory to the reader of images: the first four bytes say which pages are not there, the rest is the image. All
// lookups are made. None reads out of the image's bounds, none takes more reads than its tables have pages, and what is
// found lies in the image.
#include <cstdint>
#include <cstdlib>
#include <cstring>
#include <limits>

#include "formats/pe/function_name.h"
#include "formats/pe/pe_codeview.h"
#include "formats/pe/pe_version.h"
#include "fuzz_memory.h"

namespace {

using namespace varnel::formats;

constexpr std::uint64_t kBase = 0x10'0000;
constexpr std::uint32_t kSize = 0x4000;

void Require(bool holds) {
  if (!holds) std::abort();
}

void LookUpFunctions(const PeImage& image) {
  const auto functions = PeFunctions::Open(image);
  const auto exports = PeExports::Open(image);
  for (std::uint32_t rva = 0; rva < kSize; rva += 0x155) {
    if (functions.found()) {
      const auto found = functions.value().Find(rva);
      Require(!found.found() || (found.value().Holds(rva) && found.value().end <= kSize));
    }
    if (!exports.found()) continue;
    const auto below = exports.value().AtOrBelow(rva);
    Require(!below.found() || below.value().rva <= rva);
    const auto name = NameFunction(image, exports.value(), functions, rva);
    Require(!name.found() || (!name.value().name.empty() && name.value().displacement <= rva));
  }
  if (exports.found()) (void)exports.value().ImageName();
}

}  // namespace

extern "C" int LLVMFuzzerTestOneInput(const std::uint8_t* data, std::size_t size) {
  std::uint32_t missing = 0;
  if (size < sizeof missing) return 0;
  std::memcpy(&missing, data, sizeof missing);
  const FuzzMemory memory(kBase, {data + sizeof missing, size - sizeof missing}, kSize, missing);
  for (const std::uint32_t told : {kSize, std::uint32_t{0}}) {
    const auto image = PeImage::Open(memory, kBase, told);
    if (!image.found()) continue;
    for (const PeSection& section : image.value().sections()) {
      Require(section.range.size <= image.value().memory().size() - section.range.rva);
    }
    if (told == 0) continue;  // the header's own size may be anything; its tables are read once
    LookUpFunctions(image.value());
    (void)ReadPeCodeView(image.value());
    const auto version = PeVersion::Open(image.value());
    if (!version.found()) continue;
    (void)version.value().Fixed();
    const auto text = version.value().Query(u"\\StringFileInfo\\040904B0\\FileVersion");
    Require(!text.found() || text.value().text.size() <= kSize / 2);
    (void)version.value().Query(u"\\VarFileInfo\\Translation");
  }
  Require(memory.reads() < 200'000);
  return 0;
}
