// A folder below the platform's temporary folder, made for one test and removed with all that is in it, and short forms
// of what tests do with files.
#pragma once

#include <gtest/gtest.h>

#include <string>
#include <string_view>

#include "platform/platform.h"

namespace varnel::platform {

inline constexpr std::uint32_t kShareAll = kFileShareRead | kFileShareWrite | kFileShareDelete;

class TempFolder {
 public:
  TempFolder();
  ~TempFolder();
  TempFolder(const TempFolder&) = delete;
  TempFolder& operator=(const TempFolder&) = delete;

  const std::u16string& path() const { return path_; }
  /// The path of a name in the folder.
  std::u16string operator/(std::u16string_view name) const;

 private:
  std::u16string path_;
};

/// The calling thread's last error.
std::uint32_t LastError();
/// Clears it, so that a test sees what the next call sets.
void ForgetError();

/// Opens with the dispositions and rights that most tests want; the invalid handle when it fails.
HANDLE OpenFile(const std::u16string& path, std::uint32_t access, std::uint32_t share_mode,
                std::uint32_t disposition = kOpenExisting);
void CloseFile(HANDLE file);

/// What the last error is behind an open that shares everything; the file is closed again.
std::uint32_t OpenError(const std::u16string& path, std::uint32_t access, std::uint32_t disposition);

std::uint32_t Attributes(const std::u16string& path);

/// Makes a file with this content, or replaces what was there.
void WriteText(const std::u16string& path, std::string_view text);
/// All that is in a file; "<error N>" when it can't be read.
std::string ReadText(const std::u16string& path);

/// A test with a folder of its own.
class FileTest : public ::testing::Test {
 protected:
  TempFolder folder_;
};

}  // namespace varnel::platform
