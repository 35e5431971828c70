// The wardlet program, run as a user runs it.
#pragma once

#include <cstdlib>
#include <filesystem>
#include <fstream>
#include <iterator>
#include <string>
#include <vector>

#include "host/child_process.h"

namespace varnel::host {

struct Outcome {
  int exit_code = -1;
  std::string out;
  std::string err;
};

inline std::string ReadAll(const std::string& path) {
  std::ifstream in(path, std::ios::binary);
  return {std::istreambuf_iterator<char>(in), {}};
}

/// Runs the program to its end, with nothing on its standard input and no machine in its environment.
inline Outcome RunWardlet(const std::vector<std::string>& words) {
  std::string pattern = (std::filesystem::temp_directory_path() / "wardlet.XXXXXX").string();
  const std::filesystem::path folder = ::mkdtemp(pattern.data());
  const std::string out = folder / "out";
  const std::string err = folder / "err";
  const std::string script = "unset VARNEL_MACHINE; exec \"$@\" </dev/null >'" + out + "' 2>'" + err + "'";
  std::vector<std::string> line{"/bin/sh", "-c", script, "sh", VARNEL_WARDLET};
  line.insert(line.end(), words.begin(), words.end());
  auto child = ChildProcess::Start(line, ChildProcess::Output::kInherited);
  Outcome outcome;
  if (child.ok()) outcome.exit_code = child.value().Wait();
  outcome.out = ReadAll(out);
  outcome.err = ReadAll(err);
  std::filesystem::remove_all(folder);
  return outcome;
}

}  // namespace varnel::host
