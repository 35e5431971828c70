#include "platform/embedded/files/find_object.h"

#include <dirent.h>

#include <algorithm>
#include <cstring>
#include <memory>

#include "formats/text_encoding.h"
#include "platform/embedded/core/casefold.h"
#include "platform/embedded/files/file_metadata.h"

namespace varnel::embedded {
namespace {

bool HasWildcard(std::u16string_view text) {
  return text.find_first_of(u"*?") != std::u16string_view::npos;
}

/// Splits a pattern into its folder, with the separator, and the last name.
void Split(std::u16string_view pattern, std::u16string_view* folder, std::u16string_view* name) {
  const std::size_t separator = pattern.find_last_of(u"\\/");
  const std::size_t start =
      separator == std::u16string_view::npos ? (pattern.size() >= 2 && pattern[1] == u':' ? 2 : 0) : separator + 1;
  *folder = pattern.substr(0, start);
  *name = pattern.substr(start);
}

}  // namespace

void FindObject::Fill(const Entry& entry, const struct stat& status, platform::WIN32_FIND_DATAW* data) {
  *data = platform::WIN32_FIND_DATAW{};
  const bool is_link = entry.link_creation.has_value();
  FileTimes times = TimesOf(entry.host_path);
  if (is_link) times.creation = *entry.link_creation;
  const std::uint64_t size = S_ISDIR(status.st_mode) ? 0 : static_cast<std::uint64_t>(status.st_size);
  data->dwFileAttributes = is_link ? kLinkAttributes : AttributesOf(entry.host_path, status);
  data->ftCreationTime = platform::ToFileTime(times.creation);
  data->ftLastAccessTime = platform::ToFileTime(times.last_access);
  data->ftLastWriteTime = platform::ToFileTime(times.last_write);
  data->nFileSizeHigh = static_cast<std::uint32_t>(size >> 32);
  data->nFileSizeLow = static_cast<std::uint32_t>(size);
  std::copy(entry.name.begin(), entry.name.end(), data->cFileName);
}

std::vector<std::u16string> ListNames(const std::string& host_folder, const LinkTable& links) {
  std::vector<std::u16string> names;
  const std::unique_ptr<DIR, int (*)(DIR*)> listing(::opendir(host_folder.c_str()), &::closedir);
  if (!listing) return names;
  while (const dirent* entry = ::readdir(listing.get())) {
    // Pipes and the like are no files of a machine, nor are links but its own.
    const bool plain = entry->d_type == DT_REG || entry->d_type == DT_DIR || entry->d_type == DT_UNKNOWN;
    if (!plain && links.Find(host_folder + '/' + entry->d_name) == nullptr) continue;
    if (auto name = WindowsName(entry->d_name)) names.push_back(std::move(*name));
  }
  std::sort(names.begin(), names.end(), [](const std::u16string& a, const std::u16string& b) {
    const int order = CompareFolded(a, b);
    return order != 0 ? order < 0 : a < b;
  });
  return names;
}

std::uint32_t FindObject::Begin(const FileOpener& opener, std::u16string_view pattern) {
  std::u16string_view folder;
  std::u16string_view name;
  Split(pattern, &folder, &name);
  if (pattern.empty()) return platform::kErrorPathNotFound;
  if (name.empty()) return platform::kErrorFileNotFound;
  HostPath place;
  if (!HasWildcard(name)) {
    if (const auto error = opener.ResolvePath(pattern, &place); error != 0) return error;
    if (!place.exists || place.windows.names.empty()) return platform::kErrorFileNotFound;
    entries_.push_back({formats::Utf8ToUtf16(place.name), place.path, place.link_creation});
    return platform::kErrorSuccess;
  }
  if (const auto error = opener.ResolvePath(folder.empty() ? u"." : folder, &place); error != 0) return error;
  if (!place.IsFolder()) return place.exists ? platform::kErrorDirectory : platform::kErrorPathNotFound;
  Collect(*opener.machine(), place, name);
  return entries_.empty() ? platform::kErrorFileNotFound : platform::kErrorSuccess;
}

void FindObject::Collect(const Machine& machine, const HostPath& folder, std::u16string_view pattern) {
  if (!folder.windows.names.empty()) {
    for (const std::u16string_view dots : {u".", u".."}) {
      if (MatchesPattern(dots, pattern)) entries_.push_back({std::u16string(dots), folder.path, {}});
    }
    if (!entries_.empty() && entries_.back().name == u"..") {
      entries_.back().host_path = folder.path.substr(0, folder.path.rfind('/'));
    }
  }
  const LinkTable links = LinkTable::Read(machine);
  for (std::u16string& name : ListNames(folder.path, links)) {
    if (!MatchesPattern(name, pattern)) continue;
    std::string host_path = folder.path + '/' + formats::Utf16ToUtf8(name);
    if (const LinkTable::Link* link = links.Find(host_path)) {
      entries_.push_back({std::move(name), link->target, link->creation});
    } else {
      entries_.push_back({std::move(name), std::move(host_path), {}});
    }
  }
}

bool FindObject::Next(platform::WIN32_FIND_DATAW* data) {
  std::lock_guard lock(mutex_);
  while (next_ < entries_.size()) {
    const Entry& entry = entries_[next_++];
    struct stat status {};
    if (::lstat(entry.host_path.c_str(), &status) != 0) continue;  // gone since the search began
    if (!S_ISREG(status.st_mode) && !S_ISDIR(status.st_mode)) continue;
    Fill(entry, status, data);
    return true;
  }
  return false;
}

}  // namespace varnel::embedded
