#include "tests/faults/known_outcomes.h"

#include <array>
#include <climits>

namespace varnel::testing {
namespace {

constexpr unsigned kLast = UINT_MAX;

constexpr KnownScene kSweep = KnownScene::kSweep;
constexpr KnownEnd kWaits = KnownEnd::kWaitsForEver;
constexpr KnownEnd kSpins = KnownEnd::kSpins;
constexpr KnownEnd kFreed = KnownEnd::kReadsFreedMemory;

// The waits of stop: 1 for the report without symbols, 2 for the crash thread, 3 for the left-over files' thread, 4 for
// the live thread's opened event, 5 for that thread, from 6 on for the consumers' threads.
constexpr KnownOutcome kKnown[] = {
    {"NoStopEvent", kSweep, "start", "CreateEventW", 1, 1, true, false, kSpins, "stop: WaitForSingleObject #6",
     "start does not test hStopEvent, so the consumers' waits fail at once, and stop has nothing to end them with"},
    {"NoLiveThread", kSweep, "start", "CreateThread", 2, 2, true, true, kWaits, "stop: WaitForSingleObject #3",
     "hRealTimeOpenedEvent exists without the thread that sets it, and stop waits for it without a limit"},
    {"NoLiveThreadBehindFailedManifests", KnownScene::kManifestsFail, "start", "CreateThread", 2, 2, true, true, kWaits,
     "start: WaitForSingleObject #3", "the same wait, in the stop that start itself calls because of the manifests"},
    {"CrashThreadAndAllLaterSignals", kSweep, "crash", "SetEvent", 1, kLast, false, true, kWaits,
     "stop: WaitForSingleObject #4",
     "the live thread's signal is among the later ones, and stop waits for it without a limit"},
    {"OpenedEventNotSet", kSweep, "live", "SetEvent", 1, 1, true, true, kWaits, "stop: WaitForSingleObject #4",
     "the live thread does not test its signal, and stop waits for it without a limit"},
    {"WakeAndAllLaterSignalsOfLeftOverEvents", kSweep, "leak", "SetEvent", 1, kLast, false, true, kWaits,
     "stop: WaitForSingleObject #6", "stop does not test its own signal, and waits for consumers that never saw it"},
    {"WakeAndAllLaterSignalsOfLiveEvents", kSweep, "live", "SetEvent", 2, kLast, false, true, kWaits,
     "stop: WaitForSingleObject #6", "stop does not test its own signal, and waits for consumers that never saw it"},
    {"StopEventNotSet", kSweep, "stop", "SetEvent", 1, 1, true, true, kWaits, "stop: WaitForSingleObject #6",
     "stop does not test its signal, and waits for consumers that never saw it"},
    {"LiveTraceNotClosed", kSweep, "stop", "CloseTrace", 1, 1, true, true, kWaits, "stop: WaitForSingleObject #5",
     "stop does not test the close of the live trace, and waits for the thread that reads it"},
    {"FilesAndLiveTraceNotClosed", kSweep, "leak", "CloseTrace", 1, kLast, false, true, kWaits,
     "stop: WaitForSingleObject #5",
     "the live trace's close is among the later ones; stop does not test it and waits for the thread that reads it"},
    {"FirstModulesWaits", kSweep, "consumer 0x80", "WaitForMultipleObjects", 1, kLast, false, true, kSpins,
     "stop: WaitForSingleObject #6",
     "a failed wait is repeated without a limit, and the stop event is only seen by a wait"},
    {"SecondModulesWaits", kSweep, "consumer 0x100", "WaitForMultipleObjects", 1, kLast, false, true, kSpins,
     "stop: WaitForSingleObject #6",
     "a failed wait is repeated without a limit, and the stop event is only seen by a wait"},
    {"CrashThreadsLooksAndStopsWaits", kSweep, "crash", "WaitForSingleObject", 1, kLast, false, true, kFreed,
     "stop: CloseHandle #9",
     "stop's waits are among the later ones; it does not test them, and frees the consumers of threads that have not "
     "ended"},
    {"StopsWaits", kSweep, "stop", "WaitForSingleObject", 1, 5, false, true, kFreed, "stop: CloseHandle #9",
     "stop does not test its waits for threads, and frees the consumers of threads that have not ended"},
    {"WaitForAConsumer", KnownScene::kSlowHost, "stop", "WaitForSingleObject", 6, 6, true, true, kFreed,
     "stop: CloseHandle #9",
     "stop does not test its wait for a consumer's thread, and frees the consumer while its event is delivered"},
};

}  // namespace

std::span<const KnownOutcome> KnownOutcomes() {
  return kKnown;
}

const KnownOutcome* FindKnownOutcome(const TraceFault& fault) {
  const CallSite& site = fault.site;
  for (const KnownOutcome& known : kKnown) {
    if (known.scene != kSweep || site.caller != known.caller || site.operation != known.operation) continue;
    if (site.nth < known.first || site.nth > known.last) continue;
    if (fault.mode == SweepPlan::Mode::kOnce ? known.once : known.for_ever) return &known;
  }
  return nullptr;
}

std::ostream& operator<<(std::ostream& out, const KnownOutcome& known) {
  return out << known.name << ": " << known.step;
}

}  // namespace varnel::testing
