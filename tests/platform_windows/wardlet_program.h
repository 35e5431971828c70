// wardlet.exe and its module in folders of their own, as a package has them, and the program run as a user runs it. The
// folders have names that are in no code page of one byte.
#pragma once

#include <memory>
#include <string>
#include <vector>

namespace varnel::host {

struct Outcome {
  int exit_code = -1;
  std::string out;
  std::string err;
};

/// C:\Program Files\..., with Host\wardlet.exe, Wardlet\VarnelWardlet.dll and Setup\symsrv.dll and .yes below.
extern const char* const kProductFolder;

/// Copies the files there. False when one can't be.
bool InstallPackage();

/// The program, started; on this process's console, if it has one. All texts in UTF-8.
class WardletProcess {
 public:
  enum class Reader {
    kListens,  // what it prints is kept
    kGone,     // standard output is a pipe that nobody reads
    kNone,     // there is no standard output
  };

  explicit WardletProcess(const std::vector<std::string>& words, Reader reader = Reader::kListens);
  /// Ends it if nobody waited for that.
  ~WardletProcess();
  WardletProcess(const WardletProcess&) = delete;
  WardletProcess& operator=(const WardletProcess&) = delete;

  bool IsRunning() const;
  /// Its end, once. A program that hangs is ended after minutes, with the exit code 99.
  Outcome Wait();

 private:
  struct Parts;
  std::unique_ptr<Parts> parts_;
};

/// Runs the program to its end.
Outcome RunWardlet(const std::vector<std::string>& words);

/// For this process and those that it starts; an empty value removes the variable.
void SetVariable(const char* name, const std::string& value);

bool FileExists(const std::string& path);
std::string ReadFile(const std::string& path);
void WriteFile(const std::string& path, const std::string& bytes);

}  // namespace varnel::host
