// A process that runs the analyzer's work on the dumps of a machine once, and ends as a crash does before a call of the
// platform that changes something:
//   dump_run_child MACHINE N      before the N-th such call, from 1; 0: at no call. Prints how many there were.
#include <signal.h>
#include <unistd.h>

#include <cstdio>
#include <cstdlib>
#include <set>
#include <string>

#include "platform/embedded/embedded_platform.h"
#include "tests/analyzer/dump_run.h"
#include "tests/support/faulty_ports.h"

namespace {

class EndingPlan : public varnel::testing::FaultPlan {
 public:
  explicit EndingPlan(unsigned last) : last_(last) {}

  std::optional<std::uint32_t> Called(const char* operation) override {
    static const std::set<std::string> kChanging = {"CreateFileW",    "WriteFile",       "CreateDirectoryW",
                                                    "CloseHandle",    "RegCreateKeyExW", "RegSetValueExW",
                                                    "RegDeleteValueW"};
    if (kChanging.contains(operation) && ++seen == last_) ::kill(::getpid(), SIGKILL);
    return std::nullopt;
  }

  unsigned seen = 0;

 private:
  const unsigned last_;
};

}  // namespace

int main(int argc, char** argv) {
  if (argc != 3) return 2;
  auto opened = varnel::embedded::EmbeddedPlatform::Open(argv[1]);
  if (!opened.ok()) return 1;
  EndingPlan plan(static_cast<unsigned>(std::atoi(argv[2])));
  const varnel::testing::FaultyPlatform watched(opened.value()->record(), &plan);
  const auto outcome = varnel::testing::RunOverDumps(u"{4A234956-2B7D-4221-BADF-12593BD342A8}",
                                                     [](varnel::testing::RunStep) { return true; });
  std::printf("%u\n", plan.seen);
  return outcome.prepared < 0 ? 1 : 0;
}
