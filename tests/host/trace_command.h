// Runs a trace command over files that a test composes, and gives back what it printed.
#pragma once

#include <cstddef>
#include <cstdio>
#include <cstdlib>
#include <filesystem>
#include <fstream>
#include <random>
#include <sstream>
#include <string>
#include <vector>

namespace varnel::host {

struct CommandResult {
  int code = -1;
  std::string out;
  std::string err;
  std::vector<std::string> Lines() const {
    std::istringstream in(out);
    std::vector<std::string> lines;
    for (std::string line; std::getline(in, line);) lines.push_back(line);
    return lines;
  }
};

inline std::string Drain(std::FILE* file) {
  std::string text;
  std::rewind(file);
  for (int c = std::fgetc(file); c != EOF; c = std::fgetc(file)) text.push_back(static_cast<char>(c));
  std::fclose(file);
  return text;
}

/// Calls `command(options, out, err)`.
template <typename Options>
CommandResult RunCommand(int (*command)(const Options&, std::FILE*, std::FILE*), const Options& options) {
  std::FILE* out = std::tmpfile();
  std::FILE* err = std::tmpfile();
  CommandResult result;
  result.code = command(options, out, err);
  result.out = Drain(out);
  result.err = Drain(err);
  return result;
}

/// A folder that goes with its scope.
class TemporaryFolder {
 public:
  TemporaryFolder() {
    std::random_device random;
    do {
      path_ = std::filesystem::temp_directory_path() / ("trace-test-" + std::to_string(random()));
    } while (!std::filesystem::create_directory(path_));
  }
  TemporaryFolder(const TemporaryFolder&) = delete;
  TemporaryFolder& operator=(const TemporaryFolder&) = delete;
  ~TemporaryFolder() {
    std::error_code ignored;
    std::filesystem::remove_all(path_, ignored);
  }

  std::string Put(const std::string& name, const std::vector<std::byte>& bytes) const {
    const std::string path = PathOf(name);
    std::ofstream out(path, std::ios::binary);
    out.write(reinterpret_cast<const char*>(bytes.data()), static_cast<std::streamsize>(bytes.size()));
    return path;
  }
  std::string PathOf(const std::string& name) const { return (path_ / name).generic_string(); }

 private:
  std::filesystem::path path_;
};

}  // namespace varnel::host
