// What has to come of a machine's dumps, worked out from plain lists: no files, no registry, none of the module's code.
#pragma once

#include <cstdint>
#include <map>
#include <optional>
#include <set>
#include <string>
#include <vector>

#include "tests/analyzer/dump_run.h"

namespace varnel::testing {

struct ModelDump {
  std::u16string identity;  // empty for a dump without a byte
  std::uint64_t created = 0;
  bool readable = true;
};

/// The first run's record of one kind. A process that ended while it was saved leaves a part of it.
struct ModelBatch {
  std::vector<std::u16string> files;
  std::vector<std::u16string> done;
  std::optional<std::uint32_t> total;
  std::optional<std::uint32_t> count;

  /// Whether it can be told how far it has come, and it is not finished.
  bool IsRunning() const { return total && count && *count < *total; }
  bool IsFinished() const { return total && count && *count >= *total; }
};

struct ModelKind {
  std::optional<std::vector<std::u16string>> marker;  // none: no file
  std::optional<ModelBatch> batch;
  bool completed = false;
};

class DumpModel {
 public:
  std::map<std::u16string, ModelDump> dumps;  // by full path
  bool enabled = true;
  bool has_folder = true;  // the settings tell of one
  ModelKind no_symbol;
  ModelKind with_symbol;

  /// The run of all this, and what it leaves behind in the fields.
  DumpRunOutcome Run(const GoesOn& goes_on);

 private:
  std::vector<std::u16string> NewestFirst() const;
  /// Whether a batch was started.
  bool FirstStep(ModelKind* kind);
  void Record(const std::u16string& path, ModelKind* kind);
  bool Pass(DumpKind which, ModelKind* kind, bool first_run, const GoesOn& goes_on, std::vector<ToldDump>* told);
  static bool IsToDo(const ModelKind& kind, const std::u16string& identity);
};

}  // namespace varnel::testing
