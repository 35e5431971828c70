// Feeds an image and a stack to the walk up a stack: eight bytes say where it begins and which pages are not there,
// then come 2048 bytes of stack, then the image. The walk ends, with no more frames than asked for; stack pointers grow
// and stay on the stack; each caller lies in the image; the same input gives the same walk.
#include <cstdint>
#include <cstdlib>
#include <cstring>
#include <vector>

#include "formats/pe/unwinder.h"
#include "fuzz_memory.h"

namespace {

using namespace varnel::formats;

constexpr std::uint64_t kStack = 0x1'0000;
constexpr std::uint32_t kStackSize = 0x800;
constexpr std::uint64_t kImage = kStack + 0x1000;
constexpr std::uint32_t kImageSize = 0x4000;
constexpr std::size_t kLimit = 64;

class OneImage final : public ImageFinder {
 public:
  std::optional<LoadedImage> ImageAt(std::uint64_t address) const override {
    if (address - kImage >= kImageSize) return std::nullopt;
    return LoadedImage{kImage, kImageSize, kImage + 0x1000, 5 * 12};
  }
};

void Require(bool holds) {
  if (!holds) std::abort();
}

void Check(const UnwoundStack& walk) {
  Require(!walk.frames.empty() && walk.frames.size() <= kLimit && walk.end != UnwindEnd::kNone);
  for (std::size_t i = 1; i < walk.frames.size(); ++i) {
    const UnwoundFrame& frame = walk.frames[i];
    Require(frame.stack > walk.frames[i - 1].stack && frame.stack <= kStack + kStackSize && frame.stack % 8 == 0);
    Require(walk.frames[i - 1].return_address == frame.instruction && frame.instruction != 0);
    Require(frame.interrupted || frame.instruction - kImage < kImageSize);
  }
}

}  // namespace

extern "C" int LLVMFuzzerTestOneInput(const std::uint8_t* data, std::size_t size) {
  struct {
    std::uint16_t rva;
    std::uint16_t rsp;
    std::uint32_t missing;
  } control{};
  if (size < sizeof control) return 0;
  std::memcpy(&control, data, sizeof control);
  const std::span<const std::uint8_t> input(data + sizeof control, size - sizeof control);
  std::vector<std::uint8_t> bytes(kImage - kStack + kImageSize);
  std::copy_n(input.begin(), std::min<std::size_t>(input.size(), kStackSize), bytes.begin());
  if (input.size() > kStackSize) {
    const auto image = input.subspan(kStackSize, std::min<std::size_t>(input.size() - kStackSize, kImageSize));
    std::copy(image.begin(), image.end(), bytes.begin() + (kImage - kStack));
  }
  const FuzzMemory memory(kStack, bytes, bytes.size(), control.missing);
  X64Registers start;
  for (std::size_t i = 0; i < start.general.size(); ++i) start.general[i] = kStack + 0x40 * i;
  start.rip = kImage + control.rva;
  start.set_rsp(kStack + control.rsp);
  const OneImage images;
  const StackRange stacks[] = {{kStack, kStack + kStackSize}};
  const UnwoundStack walk = Unwinder(memory, images).Walk(start, stacks, kLimit);
  const std::uint64_t reads = memory.reads();
  Check(walk);
  Require(reads < 200'000);
  const UnwoundStack again = Unwinder(memory, images).Walk(start, stacks, kLimit);
  Require(again.end == walk.end && again.frames.size() == walk.frames.size() && memory.reads() == 2 * reads);
  return 0;
}
