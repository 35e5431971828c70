#include "analyzer/dump_folder.h"

#include "analyzer/hresult.h"
#include "base/path_services.h"
#include "platform/platform.h"

namespace varnel {
namespace {

using platform::FilesPort;

std::u16string WithSeparator(const std::u16string& folder) {
  return folder.empty() || folder.back() == u'\\' ? folder : folder + u'\\';
}

/// Closes what FindFirstFileW opened.
class FindHandle {
 public:
  explicit FindHandle(platform::HANDLE find) : find_(find) {}
  ~FindHandle() {
    if (find_ != platform::kInvalidHandleValue) FilesPort().FindClose(find_);
  }
  FindHandle(const FindHandle&) = delete;
  FindHandle& operator=(const FindHandle&) = delete;

  platform::HANDLE get() const { return find_; }

 private:
  const platform::HANDLE find_;
};

}  // namespace

std::u16string DumpFolderOf(const CrashDumpConfig& config) {
  std::u16string expanded;
  if (config.dumpType == kDumpTypeSmall) {
    const bool expands = HresultOf(ExpandEnvironmentPath(config.minidumpDir.c_str(), &expanded)) >= 0;
    return expands ? expanded : config.minidumpDir;
  }
  const bool is_file = config.dumpType == kDumpTypeComplete || config.dumpType == kDumpTypeKernel ||
                       config.dumpType == kDumpTypeAutomatic;
  if (!is_file || HresultOf(ExpandEnvironmentPath(config.dumpPath.c_str(), &expanded)) < 0) return {};
  const std::size_t separator = expanded.rfind(u'\\');
  return separator == std::u16string::npos ? std::u16string() : expanded.substr(0, separator);
}

std::uint32_t FindDumpFiles(const std::u16string& folder, std::vector<std::u16string>* paths) {
  const std::u16string prefix = WithSeparator(folder);
  platform::WIN32_FIND_DATAW data{};
  const FindHandle find(FilesPort().FindFirstFileW((prefix + u"*.dmp").c_str(), &data));
  if (find.get() == platform::kInvalidHandleValue) return platform::SystemPort().GetLastError();
  do {
    if ((data.dwFileAttributes & platform::kFileAttributeDirectory) == 0) paths->push_back(prefix + data.cFileName);
  } while (FilesPort().FindNextFileW(find.get(), &data));
  return platform::kErrorSuccess;
}

}  // namespace varnel
