// The libraries that a process has loaded from a machine, and what answers in them.
//
// What a library holds does not matter: what answers is known here by the file's base name, without regard to case,
// and the file only has to be there, so that a machine that was captured elsewhere works. A load, its count and its
// lock belong to the full path: until the last Free the file can't be deleted or written, by any process. Any thread.
#pragma once

#include <map>
#include <memory>
#include <mutex>
#include <string>
#include <string_view>

#include "platform/embedded/core/machine.h"
#include "platform/system.h"

namespace varnel::embedded {

class LibraryTable {
 public:
  /// Without a machine nothing can be loaded.
  explicit LibraryTable(std::shared_ptr<const Machine> machine);
  ~LibraryTable();

  /// Adds to what the library of that base name ("dbgeng.dll") answers. For the assembly, before the first load.
  void AddProcedure(std::u16string_view base_name, std::string_view procedure, platform::Procedure address);

  /// A name without ending gets ".dll"; one without a folder is looked for in `host_folder`, then in the system folder.
  /// Null on failure, with the last error 126 (no such file), 87 or 8.
  platform::HMODULE Load(std::u16string_view path, std::u16string_view host_folder);
  /// False with the last error 126 for what is no loaded library.
  bool Free(platform::HMODULE module);
  /// Null with the last error 127 for an unknown name, 126 for what is no loaded library.
  platform::Procedure Find(platform::HMODULE module, std::string_view procedure) const;
  /// The full path that it was loaded from; empty for what is no loaded library.
  std::u16string PathOf(platform::HMODULE module) const;

 private:
  class Library;
  using Procedures = std::map<std::string, platform::Procedure, std::less<>>;

  platform::HMODULE LoadFull(std::u16string_view path);
  std::shared_ptr<Library> LibraryOf(platform::HMODULE module) const;

  const std::shared_ptr<const Machine> machine_;
  mutable std::mutex mutex_;
  std::map<std::u16string, Procedures> known_;           // by folded base name; guarded by mutex_
  std::map<std::u16string, platform::HMODULE> by_path_;  // by folded full path; guarded by mutex_
};

}  // namespace varnel::embedded
