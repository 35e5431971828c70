#include "platform/embedded/crashdump/crash_stack.h"

#include <utility>

#include "platform/embedded/crashdump/bytes.h"

namespace varnel::embedded {
namespace {

using Kind = LoadedImage::PrologStep::Kind;
constexpr std::uint8_t kStackPointer = 4;
constexpr std::uint64_t kAboveTheFirstFrame = 0x200;  // where the processor's floating-point state is kept
constexpr std::uint64_t kDynamicRoom = 0x70;          // what a function with a frame register takes beyond its prolog

// Carries functions' prologs out on a stack of its own.
class PrologRunner {
 public:
  PrologRunner(const LoadedImage& image, CrashStack* stack) : image_(image), stack_(stack) {
    rsp() = stack_->high() - kAboveTheFirstFrame;
    for (std::uint8_t reg = 0; reg < 16; ++reg) {
      if (reg != kStackPointer) stack_->registers.general[reg] = Marker(reg);
    }
    Push(0);  // nobody called the first function
  }

  void Enter(const LoadedImage::Call& call) {
    const auto steps = image_.PrologOf(call.function);
    for (const auto& step : steps) Do(step);
    for (const auto& step : steps) {
      if (step.kind == Kind::kSave) Put(rsp() + step.size, stack_->registers.general[step.reg]);
    }
    Body(steps);
    stack_->frames.insert(stack_->frames.begin(), {call.function, call.return_address, rsp()});
    ++depth_;
    Push(call.return_address);
  }

 private:
  std::uint64_t& rsp() { return stack_->registers.general[kStackPointer]; }
  std::uint64_t Marker(std::uint8_t reg) const { return 0xC0DE000000000000 | depth_ << 8 | reg; }
  void Put(std::uint64_t address, std::uint64_t value) {
    Store<std::uint64_t>(stack_->bytes, address - stack_->low, value);
  }
  void Push(std::uint64_t value) {
    rsp() -= 8;
    Put(rsp(), value);
  }

  void Do(const LoadedImage::PrologStep& step) {
    if (step.kind == Kind::kPush) Push(stack_->registers.general[step.reg]);
    if (step.kind == Kind::kAllocate) rsp() -= step.size;
    if (step.kind == Kind::kSetFrame) stack_->registers.general[step.reg] = rsp() + step.size;
  }

  // A body uses the registers that it saved, and one with a frame register has room of a size that no prolog tells.
  void Body(const std::vector<LoadedImage::PrologStep>& steps) {
    int frame_register = -1;
    for (const auto& step : steps) {
      if (step.kind == Kind::kSetFrame) frame_register = step.reg;
    }
    for (const auto& step : steps) {
      const bool saved = step.kind == Kind::kPush || step.kind == Kind::kSave;
      if (saved && step.reg != frame_register) stack_->registers.general[step.reg] = Marker(step.reg);
    }
    if (frame_register >= 0) rsp() -= kDynamicRoom;
  }

  const LoadedImage& image_;
  CrashStack* const stack_;
  std::uint64_t depth_ = 1;
};

}  // namespace

CrashStack BuildCrashStack(const LoadedImage& image, std::uint64_t low, std::size_t size, std::uint64_t from,
                           std::uint64_t to) {
  CrashStack stack;
  stack.low = low;
  stack.bytes.resize(size);
  PrologRunner runner(image, &stack);
  for (const auto& call : image.CallPath(from, to)) runner.Enter(call);
  stack.registers.rip = to;
  stack.frames.insert(stack.frames.begin(), {to, to, stack.registers.general[kStackPointer]});
  return stack;
}

}  // namespace varnel::embedded
