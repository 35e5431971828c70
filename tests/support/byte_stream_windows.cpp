#include <windows.h>

#include <filesystem>
#include <fstream>
#include <iterator>

#include "tests/support/byte_stream.h"

namespace varnel::testing {
namespace {

namespace fs = std::filesystem;

class TemporaryFile final : public StreamCopy {
 public:
  TemporaryFile(fs::path path, std::string bytes) : path_(std::move(path)), bytes_(std::move(bytes)) {}
  ~TemporaryFile() override {
    std::error_code error;
    fs::remove(path_, error);
  }

  void BringBack(std::string* bytes) override {
    std::ifstream file(path_, std::ios::binary);
    std::string now{std::istreambuf_iterator<char>(file), {}};
    if (now == bytes_) return;
    *bytes = bytes_ = std::move(now);
  }

 private:
  fs::path path_;
  std::string bytes_;  // as last seen
};

}  // namespace

std::FILE* OpenByteStream(const StreamedBytes& target, const char* mode, std::shared_ptr<StreamCopy>* copy) {
  static int number = 0;
  const std::string name = "varnel-" + std::to_string(::GetCurrentProcessId()) + '-' + std::to_string(++number);
  const fs::path path = fs::temp_directory_path() / name;
  std::ofstream(path, std::ios::binary) << *target.bytes;
  *copy = std::make_shared<TemporaryFile>(path, *target.bytes);
  std::string binary(mode);
  if (binary.find('b') == std::string::npos) binary.insert(1, 1, 'b');
  return _wfopen(path.c_str(), std::wstring(binary.begin(), binary.end()).c_str());
}

}  // namespace varnel::testing
