// Unwinder walks up a stack of the dumped machine: from the registers of a processor to its callers, one by one, by the
// unwind data of the images whose pages are in the dump. Each frame is checked, and the walk ends where it can't go on
// honestly, telling why.
// Keeps the headers of images that it came by. One thread at a time; what it is made of must outlive it.
#pragma once

#include <cstddef>
#include <cstdint>
#include <map>
#include <optional>
#include <span>
#include <vector>

#include "formats/pe/pe_functions.h"
#include "formats/pe/unwind_codes.h"
#include "formats/pe/unwind_end.h"
#include "formats/pe/x64_registers.h"

namespace varnel::formats {

/// Where an image lies, as the machine's module list tells it.
struct LoadedImage {
  std::uint64_t base = 0;
  std::uint32_t size = 0;
  std::uint64_t exception_table =
      0;  ///< address of its function table, for when its headers are not there; 0: not told
  std::uint32_t exception_table_size = 0;  ///< bytes
};

/// Answers which image an address lies in.
class ImageFinder {
 public:
  ImageFinder() = default;
  ImageFinder(const ImageFinder&) = delete;
  ImageFinder& operator=(const ImageFinder&) = delete;
  virtual ~ImageFinder() = default;

  [[nodiscard]] virtual std::optional<LoadedImage> ImageAt(std::uint64_t address) const = 0;
};

/// A stack of the machine, [low, high).
struct StackRange {
  std::uint64_t low = 0;
  std::uint64_t high = 0;
};

struct UnwoundFrame {
  std::uint64_t instruction = 0;     ///< where the function was
  std::uint64_t stack = 0;           ///< its stack pointer there
  std::uint64_t return_address = 0;  ///< where its caller was; 0 when that was not found
  std::uint64_t return_slot = 0;     ///< the address at which that stood; 0 likewise
  std::uint64_t function = 0;        ///< where the code of its table entry begins; 0 without one
  bool interrupted = false;          ///< it was here without having called anything: the first frame, or a trap
};

struct UnwoundStack {
  std::vector<UnwoundFrame> frames;  ///< the first is where the walk began
  UnwindEnd end = UnwindEnd::kNone;
};

class Unwinder {
 public:
  Unwinder(const AddressSpace& space, const ImageFinder& images) : space_(&space), images_(&images) {}

  /// @param start   registers of the place to begin with; the first frame is given whatever they are
  /// @param stacks  where stack pointers may lie; none when nobody knows. Within a stack they grow; a stack that was
  /// left
  ///                is not come back to.
  /// @param limit   frames at most
  UnwoundStack Walk(const X64Registers& start, std::span<const StackRange> stacks, std::size_t limit);

 private:
  struct Known {
    LoadedImage place;
    PeLookup<PeImage> image;
    PeLookup<PeFunctions> functions;
  };

  const Known* KnownAt(std::uint64_t address);
  UndoneFrame Step(const X64Registers& registers, UnwoundFrame* frame);
  UndoneFrame StepIn(const PeFunctions& functions, const X64Registers& registers, UnwoundFrame* frame) const;
  UndoneFrame StepOutside(const X64Registers& registers, bool interrupted) const;
  UnwindEnd CheckCaller(const UndoneFrame& caller);

  const AddressSpace* space_;
  const ImageFinder* images_;
  std::map<std::uint64_t, Known> known_;  // by base
};

}  // namespace varnel::formats
