#include "host/dump_report.h"

#include <signal.h>

#include <algorithm>
#include <chrono>
#include <memory>
#include <set>
#include <string_view>
#include <utility>

#include "formats/dump/kernel_dump.h"
#include "host/child_process.h"
#include "host/dump_file.h"
#include "host/dump_info.h"
#include "host/dump_machine.h"
#include "host/dump_words.h"
#include "host/exit_code.h"
#include "host/scratch_folder.h"
#include "host/stop_signals.h"
#include "host/text_field.h"
#include "host/trace_file.h"
#include "interfaces/wardlet_tool.h"

namespace varnel::host {
namespace {

constexpr char kCommand[] = "dump report";

// How long the module says nothing and does nothing when it has ended without all texts.
constexpr char kIdleSeconds[] = "3";
constexpr std::chrono::milliseconds kLookEvery{100};

struct Pass {
  std::uint32_t flag;
  const char* function;  // as the texts name it
  const char* name;
};
constexpr Pass kPasses[] = {
    {WARDLET_FLAG_REPORT_WITHOUT_SYMBOLS, "BsodDumpCallBackNoSymbol", "without symbols"},
    {WARDLET_FLAG_REPORT_WITH_SYMBOLS, "BsodDumpCallBackWithSymbol", "with symbols"},
};

/// Which texts have come, of those that are due: one for each dump and pass.
class DueTexts {
 public:
  DueTexts(const std::vector<PlacedDump>& dumps, std::uint32_t flags) {
    for (const PlacedDump& dump : dumps) {
      for (const Pass& pass : kPasses) {
        if (!dump.windows_path.empty() && (flags & pass.flag) != 0) due_.emplace(pass.function, dump.windows_path);
      }
    }
  }

  /// True for the text of a dump: one that holds a report.
  bool Note(std::string_view text) {
    const auto function = TextField(text, "Function");
    const auto dump = TextField(text, "dump_file");
    if (!function || !dump) return false;
    const bool known = std::any_of(std::begin(kPasses), std::end(kPasses),
                                   [&](const Pass& pass) { return *function == pass.function; });
    if (known) due_.erase({*function, *dump});
    return known;
  }

  bool AllCame() const { return due_.empty(); }

  /// Which texts of a dump did not come: "no text", "no text without symbols", ...; empty when all did.
  std::string Missing(const std::string& windows_path) const {
    std::string missing;
    for (const Pass& pass : kPasses) {
      if (!due_.contains({pass.function, windows_path})) continue;
      missing = missing.empty() ? "no text " + std::string(pass.name) : "no text";
    }
    return missing;
  }

 private:
  std::set<std::pair<std::string, std::string>> due_;  // function, path on the machine
};

enum class Ending { kByItself, kStopped, kFailed, kNobodyListens };

/// Hosts the module in a process of its own until all texts have come, nothing more comes, or a signal, which is
/// kStopped, or until a text can't be written, which is kNobodyListens. What failed is told.
Ending RunModule(const std::string& machine, const DumpReportOptions& options, DueTexts* texts, std::FILE* out,
                 std::FILE* err) {
  const StopSignals signals;
  auto module = ChildProcess::Start({OwnProgram(), "run", "-q", "--machine", machine, "--flags",
                                     std::to_string(options.flags), "--idle-exit", kIdleSeconds},
                                    ChildProcess::Output::kPiped);
  if (!module.ok()) {
    TellTrace(err, kCommand, module.error().message);
    return Ending::kFailed;
  }
  bool stopping = false;
  bool stopped = false;
  while (true) {
    stopped = stopped || signals.WaitFor(std::chrono::milliseconds(0));
    if (!stopping && (texts->AllCame() || stopped)) {
      module.value().Signal(SIGTERM);
      stopping = true;
    }
    if (!module.value().WaitForOutput(kLookEvery)) continue;
    const auto text = module.value().ReadLine();
    if (!text) break;
    if (!texts->Note(*text)) continue;
    std::fprintf(out, "%s\n", text->c_str());
    if (!FinishOutput(out, kCommand, err)) return Ending::kNobodyListens;
  }
  const int code = module.value().Wait();
  if (stopped) {
    TellTrace(err, kCommand, "stopped");
    return Ending::kStopped;
  }
  if (code == 0) return Ending::kByItself;
  TellTrace(err, kCommand, "the module's process ended with exit code " + std::to_string(code));
  return Ending::kFailed;
}

/// A line for each file that could not be put on the machine. @return whether there is one.
bool TellUnplaced(const std::vector<PlacedDump>& dumps, std::FILE* err) {
  bool unplaced = false;
  for (const PlacedDump& dump : dumps) {
    if (!dump.windows_path.empty()) continue;
    TellTrace(err, kCommand, dump.file + ": " + dump.reason);
    unplaced = true;
  }
  return unplaced;
}

/// A line for each placed file that lacks a text. @return whether there is one.
bool TellMissing(const std::vector<PlacedDump>& dumps, const DueTexts& texts, std::FILE* err) {
  bool missing = false;
  for (const PlacedDump& dump : dumps) {
    const std::string absent = dump.windows_path.empty() ? "" : texts.Missing(dump.windows_path);
    if (absent.empty()) continue;
    TellTrace(err, kCommand, dump.file + ": " + absent + ": " + WhyNoReport(dump.file));
    missing = true;
  }
  return missing;
}

}  // namespace

std::string WhyNoReport(const std::string& file) {
  const auto mapped = OpenDumpFile(file);
  if (!mapped.ok()) return mapped.error().message;
  const auto& source = mapped.value();
  const formats::OpenedDump opened = formats::KernelDump::Open(source);
  if (!opened.ok()) return DumpProblemPlace(opened.problem, *source);
  const formats::DumpHeader& header = opened.dump->header();
  if (!opened.dump->IsX64()) {
    return "a dump of a machine of type " + MachineName(header.machine) + "; the module tells those of x64 alone";
  }
  return "the dump can be read (" + FormName(header.type, opened.dump->Qualifier()) +
         "); the log of the module tells more (--keep leaves it behind)";
}

int DumpReport(const DumpReportOptions& options, std::FILE* out, std::FILE* err) {
  const auto folder = ScratchFolder::Make("wardlet-report", options.keep ? FolderFate::kKept : FolderFate::kRemoved);
  if (!folder.ok()) {
    TellTrace(err, kCommand, folder.error().message);
    return kExitFailed;
  }
  const std::string machine = folder.value().path() + "/machine";
  const auto dumps = MakeDumpMachine(machine, options.files);
  if (!dumps.ok()) {
    TellTrace(err, kCommand, dumps.error().message);
    return kExitFailed;
  }
  DueTexts texts(dumps.value(), options.flags);
  const Ending ending = texts.AllCame() ? Ending::kByItself : RunModule(machine, options, &texts, out, err);
  if (options.keep) TellTrace(err, kCommand, "the machine stays in " + machine);
  // What a stop, or an output that is gone, kept from coming is nothing that a dump could be blamed for.
  const bool blame = ending == Ending::kByItself || ending == Ending::kFailed;
  const bool unplaced = TellUnplaced(dumps.value(), err);
  const bool missing = blame && TellMissing(dumps.value(), texts, err);
  return ending == Ending::kByItself && !unplaced && !missing ? kExitGood : kExitFailed;
}

}  // namespace varnel::host
