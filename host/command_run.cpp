// wardlet run: hosts the module until it is stopped, idle, or the time is over.
#include <unistd.h>

#include <cerrno>
#include <chrono>
#include <cstdio>
#include <cstring>
#include <memory>
#include <optional>

#include "CLI/CLI.hpp"
#include "host/exit_code.h"
#include "host/idle_rule.h"
#include "host/loaded_module.h"
#include "host/process.h"
#include "host/program.h"
#include "host/progress_line.h"
#include "host/report.h"
#include "host/stop_signals.h"
#include "host/surroundings.h"
#include "host/text_counts.h"
#include "host/text_output.h"

namespace varnel::host {
namespace {

using Clock = std::chrono::steady_clock;
using std::chrono::milliseconds;

constexpr milliseconds kLookEvery{100};

struct RunOptions {
  std::string machine;
  std::string output_file;
  std::uint32_t flags = WARDLET_FLAG_REPORT_WITHOUT_SYMBOLS | WARDLET_FLAG_REPORT_WITH_SYMBOLS;
  double idle_exit_s = 0;  // 0: never
  double duration_s = 0;   // 0: no limit
  bool quiet = false;
};

// "-" is the usual name of standard output.
bool PrintsTexts(const RunOptions& options) {
  return options.output_file.empty() || options.output_file == "-";
}

// What the module's callback works on; entered from several threads of the module at once.
struct Sink {
  TextOutput* output;
  TextCounts* counts;
};

// The position of a consumer moves past a text whatever is answered here, so a text that can't be written must not be
// answered at all: the process ends, and the text comes again next time.
std::uint32_t OnText(void* context, const char* json_text) {
  auto* sink = static_cast<Sink*>(context);
  if (!sink->output->Write(json_text)) {
    Tell(sink->output->name() + ": " + std::strerror(errno) + "; ends here, before the text counts as delivered");
    EndProcess(kExitFailed);
  }
  sink->counts->Add(json_text);
  return 0;
}

// A check of an option: some time, in seconds.
std::string IsSomeTime(const std::string& text) {
  std::size_t read = 0;
  double seconds = 0;
  try {
    seconds = std::stod(text, &read);
  } catch (const std::exception&) {
  }
  if (read == text.size() && seconds > 0 && seconds < 1e9) return {};
  return "'" + text + "' is no number of seconds";
}

milliseconds Milliseconds(double seconds) {
  return std::chrono::duration_cast<milliseconds>(std::chrono::duration<double>(seconds));
}

void WaitForTheEnd(const RunOptions& options, const StopSignals& signals, const TextCounts& counts) {
  const auto start = Clock::now();
  IdleRule idle(Milliseconds(options.idle_exit_s));
  // On one terminal the texts and a line that is written over would spoil each other.
  const bool texts_go_elsewhere = !PrintsTexts(options) || !IsTerminal(STDOUT_FILENO);
  ProgressLine progress(!options.quiet && texts_go_elsewhere);
  while (true) {
    const auto now = Clock::now();
    const auto elapsed = std::chrono::duration_cast<milliseconds>(now - start);
    milliseconds wait = kLookEvery;
    if (options.duration_s > 0) {
      const milliseconds left = Milliseconds(options.duration_s) - elapsed;
      if (left <= milliseconds::zero()) return;
      wait = std::min(wait, left);
    }
    const std::uint64_t texts = counts.total();
    if (idle.IsIdle(now, texts, ProcessorTimeUsed())) return;
    progress.Show(texts, elapsed);
    if (signals.WaitFor(wait)) return;
  }
}

formats::Result<std::unique_ptr<TextOutput>> OpenOutput(const RunOptions& options) {
  return PrintsTexts(options) ? TextOutput::ToStandardOutput() : TextOutput::AppendTo(options.output_file);
}

std::string Seconds(Clock::duration time) {
  char text[32];
  std::snprintf(text, sizeof text, "%.1f s", std::chrono::duration<double>(time).count());
  return text;
}

void TellCounts(const TextCounts& counts, const TextOutput& output, const SessionLosses& lost, Clock::duration time) {
  std::string line = counts.Summary() + "; lost by the sessions: " + std::to_string(lost.events) + " events, " +
                     std::to_string(lost.buffers) + " buffers";
  if (output.replaced_bytes() > 0) {
    line += "; " + std::to_string(output.replaced_bytes()) + " bytes were no UTF-8 and are shown as U+FFFD";
  }
  Tell(line + "; " + Seconds(time));
}

int Run(const RunOptions& options) {
  const auto surroundings = Surroundings::Enter(options.machine);
  if (!surroundings.ok()) return Fail(surroundings.error().message);
  const auto output = OpenOutput(options);
  if (!output.ok()) return Fail(output.error().message);
  const LossesBySession before = surroundings.value()->ReadSessionLosses();

  const StopSignals signals;
  const auto start = Clock::now();
  TextCounts counts;
  Sink sink{output.value().get(), &counts};
  {
    const auto module = LoadedModule::Load(FindModule());
    if (!module.ok()) return Fail(module.error().message);
    const std::uint32_t started = module.value()->tool()->Start(options.flags, &OnText, &sink);
    if (started != VNSTAT_SUCCESS)
      return Fail("the module did not start (" + StatusText(started) + "): at the end of " + kModuleLog +
                  " its log tells more");
    WaitForTheEnd(options, signals, counts);
    const std::uint32_t stopped = module.value()->tool()->Stop();
    if (stopped != VNSTAT_SUCCESS) return Fail("the module did not stop (" + StatusText(stopped) + ")");
  }
  if (!options.quiet) {
    const SessionLosses lost = LostBetween(before, surroundings.value()->ReadSessionLosses());
    TellCounts(counts, *output.value(), lost, Clock::now() - start);
  }
  return kExitGood;
}

}  // namespace

void AddRunCommand(CLI::App* program, Choice* choice) {
  auto options = std::make_shared<RunOptions>();
  CLI::App* run = program->add_subcommand("run", "Runs the module and prints each text as one line of JSON");
  Surroundings::AddOption(run, &options->machine);
  run->add_option(
         "-o,--output", options->output_file,
         "Appends the texts to FILE ('-': prints them, as without it); a last line that was cut is ended first")
      ->type_name("FILE");
  run->add_option("--idle-exit", options->idle_exit_s,
                  "Ends when for SECONDS no text came and hardly any processor time was used")
      ->type_name("SECONDS")
      ->check(&IsSomeTime, "");
  run->add_option("--duration", options->duration_s, "Ends after SECONDS")
      ->type_name("SECONDS")
      ->check(&IsSomeTime, "");
  run->add_option("--flags", options->flags,
                  "What to report of crash dumps: 1 without symbols, 2 with symbols, 3 both, 0 none")
      ->type_name("N")
      ->check(CLI::Range(0, 3).description(""))
      ->capture_default_str();
  run->add_flag("-q,--quiet", options->quiet, "Shows neither progress nor counts on standard error");
  const std::string on = "  wardlet run" + ExampleChoice();
  run->footer("Runs until " + StopWords() +
              " ends it at once. What was printed is not printed again by the\n"
              "next run on the same machine.\n"
              "\n"
              "Examples:\n" +
              on + "                            until Ctrl-C\n" + on +
              " --idle-exit 2 -o texts     takes what there is, appends it to a file\n" + on +
              " | jq -r .Function          each text goes on as soon as it comes");
  SetAction(run, choice, [options] { return Run(*options); });
}

}  // namespace varnel::host
