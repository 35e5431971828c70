#include "tests/support/text_archive.h"

#include <cstdlib>
#include <fstream>
#include <mutex>
#include <random>
#include <string>

namespace varnel {
namespace {

// One file for each process: which one it is matters to nobody.
std::string FileName() {
  std::random_device random;
  return std::to_string(random()) + "-" + std::to_string(random()) + ".ndjson";
}

}  // namespace

void ArchiveTexts(std::string_view lines) {
  const char* const folder = std::getenv("VARNEL_TEXTS_DIR");
  if (folder == nullptr || lines.empty()) return;
  static std::mutex mutex;
  static const std::string path = std::string(folder) + "/" + FileName();
  const std::lock_guard lock(mutex);
  std::ofstream file(path, std::ios::app | std::ios::binary);
  file << lines;
  if (lines.back() != '\n') file << '\n';
}

}  // namespace varnel
