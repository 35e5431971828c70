// A second process on a machine, for tests of what processes see of each other. It does one thing, says "ready", and
// stays until its standard input ends.
//   machine_helper MACHINE hold PATH ACCESS SHARE     opens a file (numbers in hexadecimal)
//   machine_helper MACHINE load PATH                  loads a library
//   machine_helper MACHINE append PATH LETTER COUNT   appends COUNT lines of 64 times LETTER
//   machine_helper MACHINE contend PATH FILE COUNT    makes and deletes a file COUNT times, for itself alone each time;
//                                                     a lock of FILE, which is the host's, tells whether it was alone
#include <fcntl.h>
#include <sys/file.h>
#include <unistd.h>

#include <cstdio>
#include <cstdlib>
#include <string>
#include <string_view>

#include "formats/text_encoding.h"
#include "platform/embedded/embedded_platform.h"

namespace {

using namespace varnel;

bool Hold(platform::Platform& ports, char** arguments) {
  const auto number = [](const char* text) { return static_cast<std::uint32_t>(std::strtoul(text, nullptr, 16)); };
  return ports.files->CreateFileW(formats::Utf8ToUtf16(arguments[0]).c_str(), number(arguments[1]),
                                  number(arguments[2]), platform::kOpenExisting, 0) != platform::kInvalidHandleValue;
}

bool Append(platform::Platform& ports, char** arguments) {
  const auto file = ports.files->CreateFileW(formats::Utf8ToUtf16(arguments[0]).c_str(), platform::kGenericAll, 7,
                                             platform::kOpenAlways, 0);
  if (file == platform::kInvalidHandleValue) return false;
  const std::string line = std::string(64, arguments[1][0]) + '\n';
  for (int i = std::atoi(arguments[2]); i > 0; --i) {
    platform::OVERLAPPED at_end{};
    at_end.Offset = at_end.OffsetHigh = ~0u;
    std::uint32_t written = 0;
    const auto size = static_cast<std::uint32_t>(line.size());
    if (!ports.files->WriteFile(file, line.data(), size, &written, &at_end)) return false;
  }
  return true;
}

bool Contend(platform::Platform& ports, char** arguments) {
  const std::u16string path = formats::Utf8ToUtf16(arguments[0]);
  const int witness = ::open(arguments[1], O_RDWR | O_CREAT | O_CLOEXEC, 0666);
  for (int left = std::atoi(arguments[2]); left > 0;) {
    const auto file = ports.files->CreateFileW(path.c_str(), platform::kGenericAll, 0, platform::kOpenAlways, 0);
    if (file != platform::kInvalidHandleValue) {
      if (::flock(witness, LOCK_EX | LOCK_NB) != 0) return false;
      ::flock(witness, LOCK_UN);
      ports.system->CloseHandle(file);
      --left;
    } else if (ports.system->GetLastError() != platform::kErrorSharingViolation) {
      return false;
    }
    ports.files->DeleteFileW(path.c_str());
  }
  return true;
}

bool Run(platform::Platform& ports, std::string_view what, int count, char** arguments) {
  if (what == "hold" && count == 3) return Hold(ports, arguments);
  if (what == "append" && count == 3) return Append(ports, arguments);
  if (what == "contend" && count == 3) return Contend(ports, arguments);
  if (what == "load" && count == 1) {
    return ports.system->LoadLibraryW(formats::Utf8ToUtf16(arguments[0]).c_str()) != nullptr;
  }
  return false;
}

}  // namespace

int main(int argc, char** argv) {
  if (argc < 3) return 2;
  auto opened = embedded::EmbeddedPlatform::Open(argv[1]);
  if (!opened.ok() || !Run(opened.value()->record(), argv[2], argc - 3, argv + 3)) return 1;
  std::puts("ready");
  std::fflush(stdout);
  char ignored;
  while (::read(STDIN_FILENO, &ignored, 1) > 0) {
  }
  return 0;
}
