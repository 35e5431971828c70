// A process that carries out one run of the analyzer on a machine and dies at one of its calls of the platform:
//   analyzer_run_child MACHINE            to the end
//   analyzer_run_child MACHINE before N   before the N-th call, from 1
//   analyzer_run_child MACHINE after N    after it
// Each report is one line the moment that it comes; the last lines tell what failed, the results of
// init and start, and how many calls there were.
#include <signal.h>
#include <unistd.h>

#include <atomic>
#include <cstdio>
#include <cstdlib>
#include <string>

#include "platform/embedded/embedded_platform.h"
#include "tests/analyzer/analyzer_run.h"
#include "tests/support/faulty_ports.h"

namespace {

using namespace varnel;

class DyingPlan : public testing::FaultPlan {
 public:
  DyingPlan(unsigned last, bool before) : last_(last), before_(before) {}

  std::optional<std::uint32_t> Called(const char*) override {
    t_number = ++seen;
    if (before_ && t_number == last_) ::kill(::getpid(), SIGKILL);
    return std::nullopt;
  }
  void Leave() override {
    if (!before_ && t_number == last_) ::kill(::getpid(), SIGKILL);
  }

  std::atomic<unsigned> seen{0};

 private:
  static thread_local unsigned t_number;
  const unsigned last_;
  const bool before_;
};

thread_local unsigned DyingPlan::t_number = 0;

void Write(const std::string& line) {
  if (::write(STDOUT_FILENO, line.data(), line.size()) != static_cast<ssize_t>(line.size())) ::_exit(3);
}

}  // namespace

int main(int argc, char** argv) {
  if (argc != 2 && argc != 4) return 2;
  auto opened = embedded::EmbeddedPlatform::Open(argv[1]);
  if (!opened.ok()) return 1;
  const bool dies = argc == 4;
  DyingPlan plan(dies ? static_cast<unsigned>(std::atoi(argv[3])) : 0, dies && std::string(argv[2]) == "before");
  const testing::FaultyPlatform watched(opened.value()->record(), &plan);
  const testing::AnalyzerRun run = testing::RunTheAnalyzer(
      u"{4A234956-2B7D-4221-BADF-12593BD342A8}", [](const testing::ToldDump& told) { Write(testing::ToldLine(told)); });
  for (const std::string& failure : run.failures) Write("failed " + failure + "\n");
  Write("end " + std::to_string(run.initialized) + ' ' + std::to_string(run.started) + ' ' +
        std::to_string(plan.seen.load()) + "\n");
  return 0;
}
