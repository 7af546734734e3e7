// File permissions hold for root too while one of these lives.
#pragma once

#include <linux/capability.h>
#include <linux/securebits.h>
#include <sys/prctl.h>
#include <sys/syscall.h>
#include <unistd.h>

#include <stdexcept>

namespace vesk::test {

// Takes the right to override file permissions from the calling thread and from the programs that
// it starts, and gives it back. A root without the right to change its secure bits keeps it for the
// programs: programs() tells.
class without_override {
 public:
  without_override() : secure_bits_(prctl(PR_GET_SECUREBITS)) {
    programs_ = getuid() != 0 || prctl(PR_SET_SECUREBITS, secure_bits_ | SECBIT_NOROOT) == 0;
    __user_cap_header_struct header = this_thread();
    if (syscall(SYS_capget, &header, before_) != 0) throw std::runtime_error("capget failed");
    __user_cap_data_struct fewer[_LINUX_CAPABILITY_U32S_3] = {before_[0], before_[1]};
    fewer[0].effective &= ~(1u << CAP_DAC_OVERRIDE | 1u << CAP_DAC_READ_SEARCH);
    if (syscall(SYS_capset, &header, fewer) != 0) throw std::runtime_error("capset failed");
  }
  without_override(const without_override &) = delete;
  without_override &operator=(const without_override &) = delete;
  ~without_override() {
    __user_cap_header_struct header = this_thread();
    syscall(SYS_capset, &header, before_);
    prctl(PR_SET_SECUREBITS, secure_bits_);
  }

  bool programs() const { return programs_; }

 private:
  static __user_cap_header_struct this_thread() { return {_LINUX_CAPABILITY_VERSION_3, 0}; }

  int secure_bits_;
  bool programs_ = false;
  __user_cap_data_struct before_[_LINUX_CAPABILITY_U32S_3];
};

}  // namespace vesk::test
