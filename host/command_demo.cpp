// wardlet demo: everything at once, on a machine in a temporary folder, told as it happens.
#include <unistd.h>

#include <cerrno>
#include <chrono>
#include <cstring>
#include <memory>
#include <optional>
#include <string>
#include <string_view>
#include <thread>
#include <vector>

#include "CLI/CLI.hpp"
#include "host/child_process.h"
#include "host/delivery_ledger.h"
#include "host/exit_code.h"
#include "host/program.h"
#include "host/providers.h"
#include "host/report.h"
#include "host/scratch_folder.h"
#include "host/text_field.h"
#include "host/text_output.h"

namespace varnel::host {
namespace {

using Output = ChildProcess::Output;

constexpr int kEventsOfEach = 8;
constexpr int kEventsPerSecond = 14;
constexpr int kReportsOfADump = 2;  // one without symbols, one with

class Demo {
 public:
  explicit Demo(std::string machine) : machine_(std::move(machine)) {}

  int Play() {
    if (!Prepare()) return kExitFailed;
    auto writer = Start({"machine", "emit", "--machine", machine_, "-q", "--template", "mixed", "--count",
                         std::to_string(kEventsOfEach), "--rate", std::to_string(kEventsPerSecond)},
                        Output::kInherited);
    if (!writer) return kExitFailed;
    Tell("another process now writes " + std::to_string(kEventsOfEach * kProviders.size()) +
         " events of the seven providers; nobody reads them yet");
    std::this_thread::sleep_for(std::chrono::milliseconds(600));
    Tell("the module starts: it first reads what the session left in its file, then what comes live");
    if (!RunModule({"--duration", "2.2"})) return kExitFailed;
    Tell("the module was stopped while events went on; it starts again and goes on where it was");
    if (!RunModule({"--idle-exit", "2"})) return kExitFailed;
    if (writer->Wait() != 0) return Fail("the writing process failed");
    if (!Crash()) return kExitFailed;
    return Judge();
  }

 private:
  std::optional<ChildProcess> Start(const std::vector<std::string>& words, Output output) const {
    std::vector<std::string> line{OwnProgram()};
    line.insert(line.end(), words.begin(), words.end());
    auto child = ChildProcess::Start(line, output);
    if (child.ok()) return std::move(child).value();
    Tell(child.error().message);
    return std::nullopt;
  }

  // Runs a command to its end; its output is not of interest, its errors are its own.
  bool Do(const std::vector<std::string>& words) const {
    auto child = Start(words, Output::kPiped);
    if (!child) return false;
    while (child->ReadLine()) {
    }
    const int code = child->Wait();
    if (code != 0) Tell("\"wardlet " + words.front() + "\" ended with exit code " + std::to_string(code));
    return code == 0;
  }

  bool Prepare() const {
    Tell("a machine in " + machine_ + " stands for a Windows machine");
    if (!Do({"machine", "new", machine_})) return false;
    Tell("the module is installed there; the next boot starts its trace session");
    return Do({"install", "--machine", machine_}) && Do({"machine", "boot", "--machine", machine_});
  }

  // A crash, a boot, and two runs: the first one tells of the crash and of its dump, the second one does not.
  bool Crash() {
    Tell("now the machine crashes, with stop code 0x133, leaves a small dump, and boots again");
    if (!Do({"machine", "crash", "--machine", machine_, "--dump", "small", "--bugcheck", "0x133,1,0x1e00"}) ||
        !Do({"machine", "boot", "--machine", machine_}) || !RunModule({"--idle-exit", "1"})) {
      return false;
    }
    told_at_once_ = crashes_ == 1 && dump_reports_ == kReportsOfADump;
    Tell("the module found " + std::to_string(crashes_) + " crash in the System log and told the dump in " +
         std::to_string(dump_reports_) + " texts; it starts once more");
    return RunModule({"--idle-exit", "1"});
  }

  // Hosts the module in another process, prints its texts and notes them.
  bool RunModule(const std::vector<std::string>& end) {
    std::vector<std::string> words{"run", "-q", "--machine", machine_};
    words.insert(words.end(), end.begin(), end.end());
    auto module = Start(words, Output::kPiped);
    if (!module) return false;
    const std::uint64_t before = ledger_.delivered();
    while (const auto text = module->ReadLine()) {
      ledger_.Note(*text);
      if (IsCrash(*text)) ++crashes_;
      if (IsDumpReport(*text)) ++dump_reports_;
      if (!WriteWhole(STDOUT_FILENO, *text + '\n')) {
        Tell(std::string("standard output: ") + std::strerror(errno));
        return false;
      }
    }
    ledger_.EndRun();
    const int code = module->Wait();
    Tell("the module printed " + std::to_string(ledger_.delivered() - before) + " events and ended");
    return code == 0;
  }

  int Judge() const {
    std::vector<std::string> names;
    names.reserve(kProviders.size());
    for (const KnownProvider& provider : kProviders) names.emplace_back(provider.name);
    const auto missing = ledger_.Missing(names, 1, kEventsOfEach);
    std::string behind;
    std::string unexplained;
    for (const MissingEvent& event : missing) {
      std::string& list = event.behind_a_repeat ? behind : unexplained;
      list += (list.empty() ? "" : ", ") + event.provider + " #" + std::to_string(event.number);
    }
    Tell(std::to_string(ledger_.delivered()) + " events came, " +
         (ledger_.twice().empty() ? "none of them twice" : std::to_string(ledger_.twice().size()) + " of them twice"));
    if (!behind.empty()) {
      Tell("not delivered, by rule: " + behind);
      Tell(
          "  (after a restart the last event of before is read again; it is dropped as a repeat, and takes the event "
          "behind it along)");
    }
    if (!unexplained.empty()) Tell("missing without a reason: " + unexplained);
    const bool once = told_at_once_ && crashes_ == 1 && dump_reports_ == kReportsOfADump;
    Tell("the crash was told " + (once ? "once, not twice" : std::to_string(crashes_) + " times") + ", its dump in " +
         std::to_string(dump_reports_) + " texts");
    return ledger_.twice().empty() && unexplained.empty() && once ? kExitGood : kExitFailed;
  }

  // The module also says, once a boot, that there was no crash.
  static bool IsCrash(std::string_view text) {
    return TextField(text, "Function") == "AnalyzeBSODEvents" && text.find("\"AdditionalMsgAnsi\":{") != text.npos;
  }

  // Likewise that there was no dump.
  static bool IsDumpReport(std::string_view text) {
    const auto function = TextField(text, "Function");
    return text.find("\"AdditionalMsgJson\":{") != text.npos &&
           (function == "BsodDumpCallBackNoSymbol" || function == "BsodDumpCallBackWithSymbol");
  }

  const std::string machine_;
  DeliveryLedger ledger_;
  int crashes_ = 0;            // texts of one
  int dump_reports_ = 0;       // texts of its dump
  bool told_at_once_ = false;  // by the first run behind the boot
};

int RunDemo(bool keep) {
  const auto made = ScratchFolder::Make("wardlet-demo", keep ? FolderFate::kKept : FolderFate::kRemoved);
  if (!made.ok()) return Fail(made.error().message);
  const ScratchFolder& folder = made.value();
  const int code = Demo(folder.path() + "/machine").Play();
  if (keep) Tell("the machine stays in " + folder.path() + "/machine");
  return code;
}

}  // namespace

void AddDemoCommand(CLI::App* program, Choice* choice) {
  auto keep = std::make_shared<bool>(false);
  CLI::App* demo = program->add_subcommand("demo", "Shows all of it on a machine in a temporary folder");
  demo->add_flag("--keep", *keep, "Keeps the machine and says where it is");
  demo->footer(
      "Texts go to standard output, what happens is told on standard error. Exit code 1 when a text came twice, or is\n"
      "missing for another reason than the rule about repeats, or the crash or its dump was not told once.\n"
      "\n"
      "Examples:\n"
      "  wardlet demo\n"
      "  wardlet demo --keep | jq -r '.ProviderGUID + \" \" + .TimeStampString'");
  SetAction(demo, choice, [keep] { return RunDemo(*keep); });
}

}  // namespace varnel::host
