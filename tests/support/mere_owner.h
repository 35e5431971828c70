// For its scope this thread, and the programs that it starts, may do with a file what its permissions say and no more,
// also as root, who may else read and write everything.
#pragma once

#include <linux/capability.h>
#include <linux/securebits.h>
#include <sys/prctl.h>
#include <sys/syscall.h>
#include <unistd.h>

#include <array>

namespace varnel {

class MereOwner {
 public:
  MereOwner() {
    if (::geteuid() != 0) return;
    const int bits = ::prctl(PR_GET_SECUREBITS);
    held_ = bits >= 0 && Ask(&before_) && ::prctl(PR_SET_SECUREBITS, bits | SECBIT_NOROOT) == 0;
    if (!held_) return;
    secure_bits_ = bits;
    Capabilities fewer = before_;
    fewer[0].effective &= ~(1U << CAP_DAC_OVERRIDE | 1U << CAP_DAC_READ_SEARCH);
    held_ = Set(fewer);
  }
  ~MereOwner() {
    if (secure_bits_ < 0) return;
    Set(before_);
    ::prctl(PR_SET_SECUREBITS, secure_bits_);
  }
  MereOwner(const MereOwner&) = delete;
  MereOwner& operator=(const MereOwner&) = delete;

  /// False where root may not put its rights aside; the test then says that it was skipped.
  bool held() const { return held_; }

 private:
  using Capabilities = std::array<__user_cap_data_struct, 2>;

  static __user_cap_header_struct ThisThread() { return {_LINUX_CAPABILITY_VERSION_3, 0}; }
  static bool Ask(Capabilities* capabilities) {
    __user_cap_header_struct header = ThisThread();
    return ::syscall(SYS_capget, &header, capabilities->data()) == 0;
  }
  static bool Set(const Capabilities& capabilities) {
    __user_cap_header_struct header = ThisThread();
    return ::syscall(SYS_capset, &header, capabilities.data()) == 0;
  }

  Capabilities before_{};
  int secure_bits_ = -1;  // those to go back to
  bool held_ = true;
};

}  // namespace varnel
