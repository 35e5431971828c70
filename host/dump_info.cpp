#include "host/dump_info.h"

#include <memory>
#include <utility>

#include "formats/dump/kernel_dump.h"
#include "host/dump_file.h"
#include "host/dump_json.h"
#include "host/dump_summary.h"
#include "host/dump_text.h"
#include "host/exit_code.h"
#include "host/trace_file.h"

namespace varnel::host {
namespace {

constexpr char kCommand[] = "dump info";

constexpr std::uint64_t kRunsPlace = 0x88;    // of the runs of memory in the header
constexpr std::uint64_t kTypePlace = 0xF98;   // of the dump's type in the header
constexpr std::uint64_t kBodyPlace = 0x2000;  // behind the header

bool Print(const DumpSummary& summary, bool json, std::FILE* out) {
  std::string text = json ? DumpAsJson(summary) : DumpAsText(summary);
  if (text.empty()) return false;
  if (json) text += '\n';
  std::fwrite(text.data(), 1, text.size(), out);
  return true;
}

/// What could be had of a file, and why there is not more. Nothing at all when it is no dump.
struct Found {
  std::unique_ptr<DumpSummary> summary;
  std::string reason;
};

Found Look(const std::string& path) {
  const auto file = OpenDumpFile(path);
  if (!file.ok()) return {nullptr, file.error().message};
  const auto& source = file.value();
  const formats::OpenedDump opened = formats::KernelDump::Open(source);
  if (opened.ok()) {
    return {std::make_unique<DumpSummary>(Summarize(path, source->Size(), *opened.dump)), {}};
  }
  Found found{nullptr, DumpProblemPlace(opened.problem, *source)};
  auto summary = std::make_unique<DumpSummary>();
  summary->file = path;
  summary->size = source->Size();
  const auto header = formats::ReadDumpHeader(*source, &summary->header);
  if (header == formats::DumpProblem::kNone) found.summary = std::move(summary);
  return found;
}

}  // namespace

std::string DumpProblemPlace(formats::DumpProblem problem, const formats::DumpSource& source) {
  using formats::DumpProblem;
  std::uint64_t place = 0;
  if (problem == DumpProblem::kTooShort) place = source.Size();
  if (problem == DumpProblem::kRanges || problem == DumpProblem::kUnknownType) place = kTypePlace;
  if (problem == DumpProblem::kDamagedBody) {
    formats::DumpHeader header;
    const bool runs =
        formats::ReadDumpHeader(source, &header) == DumpProblem::kNone && header.type == formats::DumpType::kFull;
    place = runs ? kRunsPlace : kBodyPlace;
  }
  return "byte " + std::to_string(place) + ": " + std::string(formats::DumpProblemText(problem));
}

int DumpInfo(const DumpInfoOptions& options, std::FILE* out, std::FILE* err) {
  if (options.files.empty()) {
    TellTrace(err, kCommand, "no file was named");
    return kExitWrongUse;
  }
  int result = kExitGood;
  for (const std::string& path : options.files) {
    const Found found = Look(path);
    std::string reason = found.reason;
    if (found.summary != nullptr && !Print(*found.summary, options.json, out)) reason = "no memory";
    if (reason.empty()) continue;
    reason.insert(0, path + ": ");
    TellTrace(err, kCommand, reason);
    result = kExitFailed;
  }
  return FinishOutput(out, kCommand, err) ? result : kExitFailed;
}

}  // namespace varnel::host
