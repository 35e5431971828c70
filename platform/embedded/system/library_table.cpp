#include "platform/embedded/system/library_table.h"

#include <new>

#include "platform/embedded/core/casefold.h"
#include "platform/embedded/core/handle_table.h"
#include "platform/embedded/files/resolver.h"
#include "platform/embedded/files/share_lock.h"
#include "platform/files.h"

namespace varnel::embedded {
namespace {

constexpr std::u16string_view kSystemFolder = u"C:\\Windows\\System32";

std::u16string_view BaseName(std::u16string_view path) {
  const std::size_t separator = path.find_last_of(u"\\/:");
  return separator == std::u16string_view::npos ? path : path.substr(separator + 1);
}

}  // namespace

/// One loaded library. It stands in the handle table; what changes is guarded by its table's lock.
class LibraryTable::Library : public Object {
 public:
  Library(std::u16string full_path, ShareLock lock)
      : Object(Kind::kModule), path(std::move(full_path)), use(std::move(lock)) {}

  const std::u16string path;
  const ShareLock use;
  std::size_t loads = 1;
};

LibraryTable::LibraryTable(std::shared_ptr<const Machine> machine) : machine_(std::move(machine)) {}

LibraryTable::~LibraryTable() {
  for (const auto& [path, module] : by_path_) Handles().Remove(module);
}

void LibraryTable::AddProcedure(std::u16string_view base_name, std::string_view procedure,
                                platform::Procedure address) {
  std::lock_guard lock(mutex_);
  known_[FoldUpper(base_name)].insert_or_assign(std::string(procedure), address);
}

platform::HMODULE LibraryTable::Load(std::u16string_view path, std::u16string_view host_folder) {
  if (path.empty()) {
    SetLastError(platform::kErrorInvalidParameter);
    return nullptr;
  }
  std::u16string name(path);
  const std::u16string_view base = BaseName(path);
  if (base.find(u'.') == std::u16string_view::npos) name += u".dll";
  if (base.size() != path.size()) return LoadFull(name);
  for (const std::u16string_view folder : {host_folder, kSystemFolder}) {
    if (const auto module = LoadFull(std::u16string(folder) + u'\\' + name); module != nullptr) return module;
  }
  return nullptr;
}

platform::HMODULE LibraryTable::LoadFull(std::u16string_view path) {
  HostPath place;
  if (!machine_ || ResolvePath(*machine_, path, &place) != 0 || !place.exists || !S_ISREG(place.status.st_mode)) {
    SetLastError(platform::kErrorModNotFound);
    return nullptr;
  }
  const std::u16string full = place.windows.Text();
  std::lock_guard lock(mutex_);
  const auto present = by_path_.find(FoldUpper(full));
  if (present != by_path_.end()) {
    ++LibraryOf(present->second)->loads;
    return present->second;
  }
  const Sharing sharing{
      .reads = true, .share_mode = platform::kFileShareRead | platform::kFileShareDelete, .is_image = true};
  ShareLock use;
  if (const auto error = ShareLock::Take(*machine_, place.status.st_dev, place.status.st_ino, sharing, &use);
      error != 0) {
    SetLastError(error);
    return nullptr;
  }
  const auto module = Handles().Insert(std::make_shared<Library>(full, std::move(use)));
  if (module != nullptr) by_path_.emplace(FoldUpper(full), module);
  return module;
}

bool LibraryTable::Free(platform::HMODULE module) {
  std::lock_guard lock(mutex_);
  const auto library = LibraryOf(module);
  if (!library) return Fail(platform::kErrorModNotFound);
  if (--library->loads == 0) {
    by_path_.erase(FoldUpper(library->path));
    Handles().Remove(module);
  }
  return true;
}

platform::Procedure LibraryTable::Find(platform::HMODULE module, std::string_view procedure) const {
  std::lock_guard lock(mutex_);
  const auto library = LibraryOf(module);
  if (!library) {
    SetLastError(platform::kErrorModNotFound);
    return nullptr;
  }
  const auto known = known_.find(FoldUpper(BaseName(library->path)));
  if (known != known_.end()) {
    const auto found = known->second.find(procedure);
    if (found != known->second.end()) return found->second;
  }
  SetLastError(platform::kErrorProcNotFound);
  return nullptr;
}

std::u16string LibraryTable::PathOf(platform::HMODULE module) const {
  std::lock_guard lock(mutex_);
  const auto library = LibraryOf(module);
  return library ? library->path : std::u16string();
}

std::shared_ptr<LibraryTable::Library> LibraryTable::LibraryOf(platform::HMODULE module) const {
  return Handles().Find<Library>(module, Object::Kind::kModule);
}

}  // namespace varnel::embedded
