// A running machine_helper.
#pragma once

#include <sys/types.h>

#include <string>
#include <vector>

namespace varnel::embedded {

class HelperProcess {
 public:
  /// Starts the helper and waits until it says that it is ready.
  HelperProcess(const std::string& machine, std::vector<std::string> arguments);
  /// Lets it end, if it has not ended yet.
  ~HelperProcess();
  HelperProcess(const HelperProcess&) = delete;
  HelperProcess& operator=(const HelperProcess&) = delete;

  bool ready() const { return ready_; }

  /// Ends it as a crash does, and waits until it is gone.
  void Kill();
  /// Lets it end by itself. Its exit code, or -1.
  int Finish();

 private:
  pid_t pid_ = -1;
  int input_ = -1;
  bool ready_ = false;
};

}  // namespace varnel::embedded
