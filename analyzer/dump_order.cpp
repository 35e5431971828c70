#include "analyzer/dump_order.h"

#include <algorithm>
#include <utility>

#include "analyzer/out_of_memory.h"
#include "platform/platform.h"

namespace varnel {
namespace {

struct DumpFileEntry {
  std::u16string path;
  std::uint64_t creationTime = 0;  // 100 ns since 1601
  bool hasTime = false;
};

DumpFileEntry EntryOf(const std::u16string& path) {
  DumpFileEntry entry{path};
  platform::WIN32_FILE_ATTRIBUTE_DATA data{};
  entry.hasTime = platform::FilesPort().GetFileAttributesExW(path.c_str(), &data);
  if (entry.hasTime) entry.creationTime = platform::ToUint64(data.ftCreationTime);
  return entry;
}

bool StandsBefore(const DumpFileEntry& a, const DumpFileEntry& b) {
  if (a.hasTime != b.hasTime) return a.hasTime;
  if (!a.hasTime) return false;
  return a.creationTime != b.creationTime ? a.creationTime > b.creationTime : a.path < b.path;
}

}  // namespace

std::int32_t SortDumpsNewestFirst(std::vector<std::u16string>* paths) noexcept {
  return WithinMemory([&] {
    std::vector<DumpFileEntry> entries;
    entries.reserve(paths->size());
    for (const std::u16string& path : *paths) entries.push_back(EntryOf(path));
    std::sort(entries.begin(), entries.end(), StandsBefore);
    for (std::size_t i = 0; i < entries.size(); ++i) (*paths)[i] = std::move(entries[i].path);
    return kHresultOk;
  });
}

}  // namespace varnel
