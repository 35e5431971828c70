#include <windows.h>

#include <filesystem>

#include "tests/support/byte_stream.h"

namespace varnel::testing {
namespace {

namespace fs = std::filesystem;

constexpr std::size_t kRoom = 4096;  // for what a stream wrote

/// Looks at the file through a handle of its own, which stays open: opening is by far the dearest of a file's calls.
class TemporaryFile final : public StreamCopy {
 public:
  TemporaryFile(fs::path path, std::string bytes) : path_(std::move(path)), bytes_(std::move(bytes)) {
    constexpr DWORD kAnySharing = FILE_SHARE_READ | FILE_SHARE_WRITE | FILE_SHARE_DELETE;
    file_ = ::CreateFileW(path_.c_str(), GENERIC_READ | GENERIC_WRITE, kAnySharing, nullptr, CREATE_ALWAYS,
                          FILE_ATTRIBUTE_TEMPORARY, nullptr);
    DWORD written = 0;
    ok_ = file_ != INVALID_HANDLE_VALUE &&
          (bytes_.empty() ||
           ::WriteFile(file_, bytes_.data(), static_cast<DWORD>(bytes_.size()), &written, nullptr) != 0);
  }
  ~TemporaryFile() override {
    ::CloseHandle(file_);
    ::DeleteFileW(path_.c_str());
  }

  bool ok() const { return ok_; }

  void BringBack(std::string* bytes) override {
    std::string now = Read();
    if (now == bytes_) return;
    *bytes = bytes_ = std::move(now);
  }

 private:
  std::string Read() const {
    std::string now;
    ::SetFilePointer(file_, 0, nullptr, FILE_BEGIN);
    for (DWORD read = 1; read != 0;) {
      const std::size_t before = now.size();
      now.resize(before + bytes_.size() + kRoom);
      if (::ReadFile(file_, now.data() + before, static_cast<DWORD>(bytes_.size() + kRoom), &read, nullptr) == 0) {
        read = 0;
      }
      now.resize(before + read);
    }
    return now;
  }

  const fs::path path_;
  std::string bytes_;  // as last seen
  HANDLE file_ = INVALID_HANDLE_VALUE;
  bool ok_ = false;
};

}  // namespace

std::FILE* OpenByteStream(const StreamedBytes& target, const char* mode, std::shared_ptr<StreamCopy>* copy) {
  static const fs::path folder = fs::temp_directory_path();
  static int number = 0;
  const std::string name = "varnel-" + std::to_string(::GetCurrentProcessId()) + '-' + std::to_string(++number);
  const auto file = std::make_shared<TemporaryFile>(folder / name, *target.bytes);
  if (!file->ok()) return nullptr;
  *copy = file;
  std::string binary(mode);
  if (binary.find('b') == std::string::npos) binary.insert(1, 1, 'b');
  return _wfopen((folder / name).c_str(), std::wstring(binary.begin(), binary.end()).c_str());
}

}  // namespace varnel::testing
