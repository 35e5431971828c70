#include "host/trace_gaps.h"

#include <cstdint>
#include <cstring>
#include <map>
#include <memory>
#include <utility>

#include "formats/guid_text.h"
#include "host/counter_sequence.h"
#include "host/exit_code.h"
#include "host/providers.h"
#include "host/trace_merge.h"

namespace varnel::host {
namespace {

constexpr char kCommand[] = "trace gaps";
constexpr std::uint64_t kTemplateBits = 0x7;  // of the keyword; the others name the module
constexpr std::uint16_t kFirstTemplate = 1;
constexpr std::uint16_t kLastTemplate = 3;
constexpr std::size_t kRepeatsShown = 20;

/// Place in the table of providers, and module.
using SequenceKey = std::pair<std::size_t, std::uint64_t>;
using Sequences = std::map<SequenceKey, CounterSequence>;

class Followed {
 public:
  Followed() {
    for (const KnownProvider& provider : kProviders) guids_.push_back(*formats::ParseGuid(provider.guid_text));
  }

  /// Takes the counter out of one of our three templates; other events are left alone.
  void Take(const formats::EtlEventView& event) {
    if (event.kind != formats::EtlEventKind::kEvent) return;
    if (event.id < kFirstTemplate || event.id > kLastTemplate) return;
    CounterEvent taken;
    if (event.payload.size() < sizeof(taken.counter)) return;
    for (std::size_t i = 0; i < guids_.size(); ++i) {
      if (event.provider != guids_[i]) continue;
      std::memcpy(&taken.counter, event.payload.data(), sizeof(taken.counter));
      taken.time = event.file_time;
      taken.process_id = event.process_id;
      sequences_[{i, event.keyword & ~kTemplateBits}].Add(taken);
    }
  }
  void Finish() {
    for (auto& [key, sequence] : sequences_) sequence.Finish();
  }
  const Sequences& sequences() const { return sequences_; }

 private:
  std::vector<GUID> guids_;
  Sequences sequences_;
};

std::string Time(std::int64_t file_time) {
  return IsoTime(file_time, TimeDigits::kTicks);
}

unsigned long long Wide(std::uint64_t number) {
  return number;
}

void PrintMarks(const char* what, const std::vector<CounterEvent>& marks, std::size_t shown, std::FILE* out) {
  for (std::size_t i = 0; i < marks.size() && i < shown; ++i) {
    std::fprintf(out, "  %s: counter %u at %s\n", what, marks[i].counter, Time(marks[i].time).c_str());
  }
  if (marks.size() > shown) std::fprintf(out, "  %s: %llu more\n", what, Wide(marks.size() - shown));
}

void PrintSequence(const SequenceKey& key, const CounterSequence& sequence, std::FILE* out) {
  const KnownProvider& provider = kProviders[key.first];
  std::fprintf(out, "%s %s module 0x%llX: %llu events, counter %u at %s to %u at %s\n", provider.name,
               provider.guid_text, Wide(key.second), Wide(sequence.events()), sequence.first().counter,
               Time(sequence.first().time).c_str(), sequence.last().counter, Time(sequence.last().time).c_str());
  for (const CounterGap& gap : sequence.gaps()) {
    std::fprintf(out, "  gap: counters %u to %u, %llu missing, between %s and %s\n", gap.first, gap.last,
                 Wide(gap.missing()), Time(gap.before.time).c_str(), Time(gap.after.time).c_str());
  }
  const std::size_t all = sequence.events();
  PrintMarks("restart", sequence.restarts(), all, out);
  PrintMarks("wrap", sequence.wraps(), all, out);
  PrintMarks("late", sequence.late(), kRepeatsShown, out);
  PrintMarks("repeat", sequence.repeats(), kRepeatsShown, out);
}

/// Prints all sequences and their sums. @return whether there is a gap.
bool PrintFound(const Sequences& sequences, std::size_t files, std::FILE* out) {
  std::uint64_t events = 0, gaps = 0, missing = 0, repeats = 0, restarts = 0, wraps = 0, late = 0;
  for (const auto& [key, sequence] : sequences) {
    PrintSequence(key, sequence, out);
    events += sequence.events();
    gaps += sequence.gaps().size();
    for (const CounterGap& gap : sequence.gaps()) missing += gap.missing();
    repeats += sequence.repeats().size();
    restarts += sequence.restarts().size();
    wraps += sequence.wraps().size();
    late += sequence.late().size();
  }
  std::fprintf(out,
               "%llu events in %llu sequences of %llu files: %llu gaps (%llu missing), %llu repeats, %llu late, "
               "%llu restarts, %llu wraps\n",
               Wide(events), Wide(sequences.size()), Wide(files), Wide(gaps), Wide(missing), Wide(repeats), Wide(late),
               Wide(restarts), Wide(wraps));
  return gaps > 0;
}

}  // namespace

int TraceGaps(const TraceGapsOptions& options, std::FILE* out, std::FILE* err) {
  if (options.files.empty()) {
    TellTrace(err, kCommand, "no file was named");
    return kExitWrongUse;
  }
  std::vector<std::unique_ptr<TraceFile>> files;
  for (const std::string& path : options.files) {
    auto file = OpenTraceFile(path, kCommand, err);
    if (file != nullptr) files.push_back(std::move(file));
  }
  const bool all_read = files.size() == options.files.size();
  TraceMerge merge(std::move(files));
  Followed followed;
  for (auto item = merge.Next(); item.event != nullptr; item = merge.Next()) followed.Take(*item.event);
  followed.Finish();
  for (const auto& file : merge.files()) TellDamage(*file, kCommand, err);
  const bool gap = PrintFound(followed.sequences(), merge.files().size(), out);
  if (!FinishOutput(out, kCommand, err) || !all_read) return kExitFailed;
  return gap ? kExitGaps : kExitGood;
}

}  // namespace varnel::host
