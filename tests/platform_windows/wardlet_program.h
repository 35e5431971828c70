// wardlet.exe and its module in folders of their own, as a package has them, and the program run as a user runs it. The
// folders have names that are in no code page of one byte.
#pragma once

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

/// Runs the program to its end; all texts in UTF-8.
Outcome RunWardlet(const std::vector<std::string>& words);

/// For this process and those that it starts; an empty value removes the variable.
void SetVariable(const char* name, const std::string& value);

bool FileExists(const std::string& path);
std::string ReadFile(const std::string& path);
void WriteFile(const std::string& path, const std::string& bytes);

}  // namespace varnel::host
