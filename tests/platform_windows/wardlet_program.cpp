#include "tests/platform_windows/wardlet_program.h"

#define WIN32_LEAN_AND_MEAN
#include <windows.h>

#include <filesystem>
#include <fstream>
#include <iterator>
#include <utility>

#include "formats/text_encoding.h"
#include "host/path_text.h"

namespace varnel::host {
namespace {

namespace fs = std::filesystem;

constexpr DWORD kMostMs = 300'000;  // a program that hangs must not outlive its test

std::wstring Wide(const std::string& text) {
  const std::u16string wide = formats::Utf8ToUtf16(text);
  return {wide.begin(), wide.end()};
}

/// A word as the C run-time and CommandLineToArgvW take it apart again. No word of ours ends in a backslash.
std::string Quoted(const std::string& word) {
  std::string quoted = "\"";
  for (const char c : word) {
    if (c == '"') quoted += '\\';
    quoted += c;
  }
  return quoted + '"';
}

/// A file for one of the program's streams.
class StreamFile {
 public:
  explicit StreamFile(const std::wstring& path) : path_(path) {
    SECURITY_ATTRIBUTES inherited{sizeof(SECURITY_ATTRIBUTES), nullptr, TRUE};
    handle_ = ::CreateFileW(path.c_str(), GENERIC_WRITE, FILE_SHARE_READ, &inherited, CREATE_ALWAYS,
                            FILE_ATTRIBUTE_NORMAL, nullptr);
  }
  ~StreamFile() { ::DeleteFileW(path_.c_str()); }
  StreamFile(const StreamFile&) = delete;
  StreamFile& operator=(const StreamFile&) = delete;

  HANDLE handle() const { return handle_; }
  std::string CloseAndRead() const {
    ::CloseHandle(handle_);
    std::ifstream in(fs::path(path_), std::ios::binary);
    return {std::istreambuf_iterator<char>(in), {}};
  }

 private:
  const std::wstring path_;
  HANDLE handle_;
};

/// The end for writing of one whose other end is closed; for a program to be started.
HANDLE PipeThatNobodyReads() {
  SECURITY_ATTRIBUTES inherited{sizeof(SECURITY_ATTRIBUTES), nullptr, TRUE};
  HANDLE read = nullptr;
  HANDLE write = nullptr;
  if (::CreatePipe(&read, &write, &inherited, 0) == 0) return nullptr;
  ::CloseHandle(read);
  return write;
}

std::wstring TemporaryFile(const wchar_t* name) {
  wchar_t folder[MAX_PATH];
  ::GetTempPathW(MAX_PATH, folder);
  return std::wstring(folder) + L"wardlet-" + std::to_wstring(::GetCurrentProcessId()) + name;
}

}  // namespace

const char* const kProductFolder = "C:\\Program Files\\V\xC3\xA4rnel \xE6\x97\xA5\xE6\x9C\xAC";  // Värnel, two of Japan

bool InstallPackage() {
  std::error_code error;
  const fs::path product = PathOf(kProductFolder);
  for (const char* folder : {"Host", "Wardlet", "Setup"}) fs::create_directories(product / folder, error);
  WriteFile(TextOf(product / "Setup/symsrv.dll"), "library");
  WriteFile(TextOf(product / "Setup/symsrv.yes"), "yes");
  const std::wstring host = (product / "Host/wardlet.exe").make_preferred().wstring();
  const std::wstring module = (product / "Wardlet/VarnelWardlet.dll").make_preferred().wstring();
  return ::CopyFileW(Wide("Z:" VARNEL_WARDLET).c_str(), host.c_str(), FALSE) != 0 &&
         ::CopyFileW(Wide("Z:" VARNEL_MODULE_FILE).c_str(), module.c_str(), FALSE) != 0;
}

struct WardletProcess::Parts {
  StreamFile out{TemporaryFile(L".out")};
  StreamFile err{TemporaryFile(L".err")};
  HANDLE process = nullptr;
};

WardletProcess::WardletProcess(const std::vector<std::string>& words, Reader reader)
    : parts_(std::make_unique<Parts>()) {
  const std::string program = std::string(kProductFolder) + "\\Host\\wardlet.exe";
  std::string line = Quoted(program);
  for (const std::string& word : words) line += ' ' + Quoted(word);
  std::wstring command = Wide(line);
  const HANDLE unread = reader == Reader::kGone ? PipeThatNobodyReads() : nullptr;
  STARTUPINFOW start{};
  start.cb = sizeof start;
  start.dwFlags = STARTF_USESTDHANDLES;
  start.hStdOutput = reader == Reader::kListens ? parts_->out.handle() : unread;
  start.hStdError = parts_->err.handle();
  PROCESS_INFORMATION process{};
  if (::CreateProcessW(Wide(program).c_str(), command.data(), nullptr, nullptr, TRUE, 0, nullptr, nullptr, &start,
                       &process) != 0) {
    parts_->process = process.hProcess;
    ::CloseHandle(process.hThread);
  }
  if (unread != nullptr) ::CloseHandle(unread);
}

WardletProcess::~WardletProcess() {
  if (parts_->process == nullptr) return;
  ::TerminateProcess(parts_->process, 99);
  Wait();
}

bool WardletProcess::IsRunning() const {
  return ::WaitForSingleObject(parts_->process, 0) == WAIT_TIMEOUT;
}

Outcome WardletProcess::Wait() {
  Outcome outcome;
  if (const HANDLE process = std::exchange(parts_->process, nullptr); process != nullptr) {
    if (::WaitForSingleObject(process, kMostMs) != WAIT_OBJECT_0) {
      ::TerminateProcess(process, 99);
      ::WaitForSingleObject(process, INFINITE);
    }
    DWORD code = 0;
    ::GetExitCodeProcess(process, &code);
    outcome.exit_code = static_cast<int>(code);
    ::CloseHandle(process);
  }
  outcome.out = parts_->out.CloseAndRead();
  outcome.err = parts_->err.CloseAndRead();
  return outcome;
}

Outcome RunWardlet(const std::vector<std::string>& words) {
  return WardletProcess(words).Wait();
}

void SetVariable(const char* name, const std::string& value) {
  ::SetEnvironmentVariableW(Wide(name).c_str(), value.empty() ? nullptr : Wide(value).c_str());
}

bool FileExists(const std::string& path) {
  std::error_code error;
  return fs::is_regular_file(PathOf(path), error);
}

std::string ReadFile(const std::string& path) {
  std::ifstream in(PathOf(path), std::ios::binary);
  return {std::istreambuf_iterator<char>(in), {}};
}

void WriteFile(const std::string& path, const std::string& bytes) {
  std::error_code error;
  fs::create_directories(PathOf(path).parent_path(), error);
  std::ofstream(PathOf(path), std::ios::binary) << bytes;
}

}  // namespace varnel::host
