// A machine folder with crash dumps, its ports in force, and what is kept of its dumps, read from the host's files and
// the registry's bytes without any of the module's code.
#pragma once

#include <memory>
#include <string>

#include "platform/embedded/embedded_platform.h"
#include "tests/analyzer/dump_model.h"

namespace varnel::testing {

class DumpMachine {
 public:
  /// A new machine of its own, which writes small dumps; removed at the end.
  DumpMachine();
  /// A machine that is there.
  explicit DumpMachine(const std::string& root);
  ~DumpMachine();
  DumpMachine(const DumpMachine&) = delete;
  DumpMachine& operator=(const DumpMachine&) = delete;

  const std::string& root() const { return root_; }
  platform::Platform& ports() { return platform_->record(); }

  /// Creation time in hours; all have one last-write time. The full path.
  std::u16string AddDump(const std::string& name, const std::string& bytes, std::uint64_t created);
  /// Takes the ports out of force and closes the machine, as at the end of a process; Open begins anew.
  void Close();
  void Open();

  /// The host's path of a marker file.
  std::string MarkerFile(DumpKind kind) const;
  /// The marker's bytes; "absent" when there is none.
  std::string Marker(DumpKind kind) const;
  /// What a run will find: the dumps, the markers' whole lines and the registry's records.
  DumpModel State();

 private:
  const std::string owned_;  // the folder to remove, or empty
  std::string root_;
  std::unique_ptr<embedded::EmbeddedPlatform> platform_;
  std::unique_ptr<platform::ScopedPlatform> in_force_;
  std::map<std::u16string, ModelDump> dumps_;
};

}  // namespace varnel::testing
