// A search in a folder: its entries as they were when it began, in the order of their upper-cased names.
#pragma once

#include <mutex>
#include <string>
#include <vector>

#include "platform/embedded/core/handle_table.h"
#include "platform/embedded/files/file_opener.h"
#include "platform/embedded/files/link_table.h"
#include "platform/files.h"

namespace varnel::embedded {

class FindObject : public Object {
 public:
  FindObject() : Object(Kind::kFind) {}

  /// Collects what fits `pattern`, a path whose last name may hold '*' and '?'. 0; 2 when nothing does; or what the
  /// folder's path answers.
  std::uint32_t Begin(const FileOpener& opener, std::u16string_view pattern);

  /// The next entry that is still there. False behind the last.
  bool Next(platform::WIN32_FIND_DATAW* data);

 private:
  struct Entry {
    std::u16string name;
    std::string host_path;
    std::optional<std::uint64_t> link_creation;  // as HostPath has it
  };

  void Collect(const Machine& machine, const HostPath& folder, std::u16string_view pattern);
  static void Fill(const Entry& entry, const struct stat& status, platform::WIN32_FIND_DATAW* data);

  std::mutex mutex_;
  std::vector<Entry> entries_;  // guarded by mutex_
  std::size_t next_ = 0;        // guarded by mutex_
};

/// The names in a host folder that a machine shows, in the order of their upper-cased forms.
std::vector<std::u16string> ListNames(const std::string& host_folder, const LinkTable& links);

}  // namespace varnel::embedded
