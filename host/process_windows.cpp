#include <fcntl.h>
#include <io.h>

#include <cstdlib>

#define WIN32_LEAN_AND_MEAN
#include <windows.h>
// After the system's own header.
#include <shellapi.h>

#include "formats/text_encoding.h"
#include "host/console_windows.h"
#include "host/process.h"

namespace varnel::host {
namespace {

// A console keeps its code page when a program ends. Written once, before there is another thread.
UINT g_console_code_page = 0;

// The last handler before the system's own, which ends the process without what is registered for its exit.
BOOL WINAPI OnEndByConsole(DWORD /*control*/) {
  RestoreConsole();
  return FALSE;
}

std::string Utf8(const wchar_t* text) {
  return formats::Utf16ToUtf8(reinterpret_cast<const char16_t*>(text));
}

}  // namespace

void RestoreConsole() {
  if (g_console_code_page != 0) ::SetConsoleOutputCP(g_console_code_page);
}

void PrepareProcess() {
  for (const int fd : {0, 1, 2}) ::_setmode(fd, _O_BINARY);
  g_console_code_page = ::GetConsoleOutputCP();
  if (g_console_code_page == 0 || ::SetConsoleOutputCP(CP_UTF8) == 0) return;
  std::atexit(&RestoreConsole);
  ::SetConsoleCtrlHandler(&OnEndByConsole, TRUE);
}

std::vector<std::string> CommandLine(int argc, const char* const* argv) {
  int count = 0;
  wchar_t** words = ::CommandLineToArgvW(::GetCommandLineW(), &count);
  if (words == nullptr) return {argv, argv + argc};
  std::vector<std::string> line;
  line.reserve(static_cast<std::size_t>(count));
  for (int i = 0; i < count; ++i) line.push_back(Utf8(words[i]));
  ::LocalFree(words);
  return line;
}

bool IsTerminal(int fd) {
  // The C library calls every character device a terminal, the null device too.
  DWORD mode = 0;
  return ::GetConsoleMode(reinterpret_cast<HANDLE>(::_get_osfhandle(fd)), &mode) != 0;
}

void EndProcess(int exit_code) {
  RestoreConsole();
  std::_Exit(exit_code);
}

std::string EnvironmentText(const char* name) {
  const wchar_t* value = ::_wgetenv(reinterpret_cast<const wchar_t*>(formats::Utf8ToUtf16(name).c_str()));
  return value != nullptr ? Utf8(value) : std::string();
}

}  // namespace varnel::host
