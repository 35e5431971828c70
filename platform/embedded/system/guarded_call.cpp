#include "platform/embedded/system/guarded_call.h"

#include <cxxabi.h>
#include <setjmp.h>
#include <signal.h>

#include <cstdlib>
#include <mutex>

namespace varnel::embedded {
namespace {

constexpr int kFaults[] = {SIGSEGV, SIGBUS, SIGFPE, SIGILL};
constexpr std::size_t kStackSize = 64 * 1024;

struct Target {
  sigjmp_buf place;
  Target* outer;
  volatile std::uint32_t code;
};

// The innermost guarded call of the thread. The model keeps a handler from having to allocate the thread's storage.
[[gnu::tls_model("initial-exec")]] thread_local Target* t_innermost = nullptr;

struct sigaction g_previous[sizeof(kFaults) / sizeof(kFaults[0])];

std::uint32_t CodeOf(int signal, const siginfo_t* info) {
  switch (signal) {
    case SIGBUS:
      return info->si_code == BUS_ADRALN ? kStatusDatatypeMisalignment : kStatusInPageError;
    case SIGFPE:
      return info->si_code == FPE_INTDIV ? kStatusIntegerDivideByZero : kStatusFloatInvalidOperation;
    case SIGILL:
      return kStatusIllegalInstruction;
    default:
      return kStatusAccessViolation;
  }
}

void HandOn(int signal, siginfo_t* info, void* context) {
  const struct sigaction* previous = nullptr;
  for (std::size_t i = 0; i < std::size(kFaults); ++i) {
    if (kFaults[i] == signal) previous = &g_previous[i];
  }
  if ((previous->sa_flags & SA_SIGINFO) != 0) {
    previous->sa_sigaction(signal, info, context);
  } else if (previous->sa_handler != SIG_DFL && previous->sa_handler != SIG_IGN) {
    previous->sa_handler(signal);
  } else {
    // The fault happens once more behind this handler, and ends the process in the ordinary way.
    struct sigaction ordinary {};
    ordinary.sa_handler = SIG_DFL;
    ::sigaction(signal, &ordinary, nullptr);
  }
}

void OnFault(int signal, siginfo_t* info, void* context) {
  Target* const target = t_innermost;
  // A signal that another process sent is no fault of the guarded code.
  if (target == nullptr || info->si_code <= 0) return HandOn(signal, info, context);
  target->code = CodeOf(signal, info);
  ::siglongjmp(target->place, 1);
}

void InstallHandlers() {
  struct sigaction action {};
  action.sa_sigaction = &OnFault;
  action.sa_flags = SA_SIGINFO | SA_ONSTACK;
  ::sigemptyset(&action.sa_mask);
  for (std::size_t i = 0; i < std::size(kFaults); ++i) ::sigaction(kFaults[i], &action, &g_previous[i]);
}

/// The alternate stack of one thread, where it had none.
class FaultStack {
 public:
  FaultStack() {
    stack_t present{};
    if (::sigaltstack(nullptr, &present) != 0 || (present.ss_flags & SS_DISABLE) == 0) return;
    memory_ = std::malloc(kStackSize);
    if (memory_ == nullptr) return;
    stack_t own{};
    own.ss_sp = memory_;
    own.ss_size = kStackSize;
    ::sigaltstack(&own, nullptr);
  }
  ~FaultStack() {
    if (memory_ == nullptr) return;
    stack_t none{};
    none.ss_flags = SS_DISABLE;
    ::sigaltstack(&none, nullptr);
    std::free(memory_);
  }
  FaultStack(const FaultStack&) = delete;
  FaultStack& operator=(const FaultStack&) = delete;

 private:
  void* memory_ = nullptr;
};

void Prepare() {
  static std::once_flag installed;
  std::call_once(installed, InstallHandlers);
  static thread_local const FaultStack stack;
  (void)stack;
}

}  // namespace

std::uint32_t RunGuarded(platform::GuardedFunction function, void* parameter) {
  Prepare();
  Target target;
  target.outer = t_innermost;
  target.code = 0;
  // The mask is kept, since a handler is left by the jump.
  if (sigsetjmp(target.place, 1) != 0) {
    t_innermost = target.outer;
    return target.code;
  }
  t_innermost = &target;
  try {
    function(parameter);
  } catch (const abi::__forced_unwind&) {
    t_innermost = target.outer;
    throw;
  } catch (...) {
    target.code = kCppException;
  }
  t_innermost = target.outer;
  return target.code;
}

}  // namespace varnel::embedded
