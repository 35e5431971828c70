#include "platform/embedded/debugger/target_stack.h"

namespace varnel::embedded {
namespace {

constexpr std::size_t kRbp = 5;

/// The images of loaded modules; nothing was left of an unloaded one.
class LoadedImages final : public formats::ImageFinder {
 public:
  explicit LoadedImages(const TargetModules& modules) : modules_(&modules) {}

  std::optional<formats::LoadedImage> ImageAt(std::uint64_t address) const override {
    const auto index = modules_->FindAddress(address, 0);
    if (!index || *index >= modules_->loaded()) return {};
    const TargetModule& module = *modules_->At(*index);
    return formats::LoadedImage{module.base, module.size, module.exception_table, module.exception_table_size};
  }

 private:
  const TargetModules* const modules_;
};

formats::X64Registers RegistersOf(const formats::ProcessorContext& context, const WalkStart& start) {
  formats::X64Registers registers;
  for (std::size_t i = 0; i < registers.general.size(); ++i) {
    registers.general[i] = context.Get(static_cast<formats::X64Register>(i));
  }
  registers.rip = start.instruction != 0 ? start.instruction : context.Rip();
  if (start.stack != 0) registers.set_rsp(start.stack);
  if (start.frame != 0) registers.general[kRbp] = start.frame;
  return registers;
}

}  // namespace

std::vector<formats::UnwoundFrame> WalkStack(const formats::KernelDump& dump, const TargetModules& modules,
                                             const WalkStart& start, std::size_t limit) {
  const auto& context = dump.header().context;
  if (!context) return {};
  const formats::X64Registers registers = RegistersOf(*context, start);
  // A processor may have crashed on a stack of its own, whose limits the dump does not tell.
  std::vector<formats::StackRange> stacks;
  const auto stack = dump.KernelStack();
  if (stack && registers.rsp() >= stack->low && registers.rsp() < stack->high) stacks = {{stack->low, stack->high}};
  const LoadedImages images(modules);
  formats::Unwinder unwinder(dump, images);
  return unwinder.Walk(registers, stacks, limit).frames;
}

}  // namespace varnel::embedded
