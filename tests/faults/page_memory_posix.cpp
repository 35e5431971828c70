#include <sys/mman.h>
#include <unistd.h>
#include <csignal>

#include <string_view>

#include "tests/faults/page_memory.h"

namespace varnel::testing {
namespace {

bool (*g_is_watched)(const void*) = nullptr;
int g_exit_code = 0;

void OnFault(int number, siginfo_t* info, void* /*context*/) {
  if (!g_is_watched(info->si_addr)) {
    signal(number, SIG_DFL);
    return;
  }
  constexpr std::string_view kText = "uses freed memory\n";
  if (write(STDERR_FILENO, kText.data(), kText.size()) < 0) _exit(1);
  _exit(g_exit_code);
}

}  // namespace

void* MapPage(std::size_t size) {
  void* const page = mmap(nullptr, size, PROT_READ | PROT_WRITE, MAP_PRIVATE | MAP_ANONYMOUS, -1, 0);
  return page == MAP_FAILED ? nullptr : page;
}

void ClosePage(void* page, std::size_t size) {
  mprotect(page, size, PROT_NONE);
}

void EndAtFaultOn(bool (*is_watched)(const void* address), int exit_code) {
  g_is_watched = is_watched;
  g_exit_code = exit_code;
  struct sigaction action {};
  action.sa_sigaction = OnFault;
  action.sa_flags = SA_SIGINFO;
  sigaction(SIGSEGV, &action, nullptr);
  sigaction(SIGBUS, &action, nullptr);
}

}  // namespace varnel::testing
