#include "host/emitter.h"

#include <cerrno>
#include <chrono>
#include <cstring>
#include <map>
#include <memory>
#include <mutex>
#include <thread>

#include "formats/text_encoding.h"
#include "provider/varnel_provider.h"

namespace varnel::host {
namespace {

using Clock = std::chrono::steady_clock;

constexpr std::uint32_t kFirstCounter = 1;
constexpr char kFunction[] = "EmitSample";

struct Unregister {
  void operator()(varnel_registration* registration) const { varnel_unregister(registration); }
};
using UniqueRegistration = std::unique_ptr<varnel_registration, Unregister>;

varnel_guid ToProviderGuid(const GUID& guid) {
  varnel_guid result{};
  static_assert(sizeof result == sizeof guid);
  std::memcpy(&result, &guid, sizeof result);
  return result;
}

// One provider: its registration, and the plan that its threads share.
class SampleProvider {
 public:
  SampleProvider(UniqueRegistration registration, const EmitRun& run, const KnownProvider& provider)
      : registration_(std::move(registration)),
        plan_(run.plan, provider.name),
        flags_(run.flags),
        acts_(run.plan.gap_every != 0 || run.plan.repeat_every != 0 || run.plan.restart_every != 0) {}

  // Writes the next event of the plan. False when there is none.
  bool WriteNext(EmitTotals* totals) {
    std::unique_lock lock(mutex_);
    EmitStep step;
    if (!plan_.Next(&step)) return false;
    // A counter that is acted upon must be written before another thread takes the next one.
    if (acts_) {
      SetCounter(step);
    } else {
      lock.unlock();
    }
    if (varnel_enabled(registration_.get()) == 0) {
      ++totals->unheard;
    } else if (Write(step) == 0) {
      ++totals->written;
    } else {
      ++totals->lost;
    }
    return true;
  }

 private:
  void SetCounter(const EmitStep& step) {
    std::uint32_t& next = next_counter_.try_emplace(step.keyword, kFirstCounter).first->second;
    switch (step.counter) {
      case EmitStep::Counter::kNext:
        break;
      case EmitStep::Counter::kLeaveOneOut:
        ++next;
        break;
      case EmitStep::Counter::kSameAgain:
        --next;
        break;
      case EmitStep::Counter::kBeginAnew:
        next = kFirstCounter;
        break;
    }
    varnel_set_counter(registration_.get(), step.keyword, next);
    ++next;
  }

  int Write(const EmitStep& step) {
    const auto line = static_cast<std::uint32_t>(step.number);
    switch (step.kind) {
      case EmitTemplate::kAnsi:
        return varnel_transfer_msg_ansi(registration_.get(), step.keyword, flags_, kFunction, line, 0,
                                        step.text.c_str());
      case EmitTemplate::kWide: {
        const std::u16string wide = formats::Utf8ToUtf16(step.text);
        std::vector<std::uint16_t> units(wide.begin(), wide.end());
        units.push_back(0);
        return varnel_transfer_msg_wide(registration_.get(), step.keyword, flags_, kFunction, line, 0, units.data());
      }
      case EmitTemplate::kBinary:
        return varnel_transfer_binary(registration_.get(), step.keyword, flags_, kFunction, line, 0, step.text.data(),
                                      static_cast<std::uint32_t>(step.text.size()));
    }
    return EINVAL;
  }

  const UniqueRegistration registration_;
  std::mutex mutex_;
  EmitPlan plan_;                                        // guarded by mutex_
  std::map<std::uint64_t, std::uint32_t> next_counter_;  // guarded by mutex_; by keyword, kept only when acted upon
  const std::uint32_t flags_;
  const bool acts_;
};

// Writes events of one provider at an even rate, the first one at once.
void WriteAtRate(SampleProvider& provider, std::chrono::duration<double> interval, const std::function<bool()>& stop,
                 EmitTotals* totals) {
  const auto start = Clock::now();
  for (std::uint64_t i = 0; !stop(); ++i) {
    if (interval.count() > 0) {
      const auto due = start + std::chrono::duration_cast<Clock::duration>(interval * static_cast<double>(i));
      // Short naps, so that a stop is not slept through.
      while (Clock::now() < due && !stop()) {
        std::this_thread::sleep_until(std::min(due, Clock::now() + std::chrono::milliseconds(50)));
      }
    }
    if (stop() || !provider.WriteNext(totals)) return;
  }
}

}  // namespace

EmitTotals& EmitTotals::operator+=(const EmitTotals& other) {
  written += other.written;
  lost += other.lost;
  unheard += other.unheard;
  return *this;
}

formats::Result<EmitTotals> Emit(const EmitRun& run, const std::function<bool()>& stop) {
  std::vector<std::unique_ptr<SampleProvider>> providers;
  for (const KnownProvider* known : run.providers) {
    const varnel_guid guid = ToProviderGuid(ProviderGuid(*known));
    varnel_registration* registration = nullptr;
    const int error = varnel_register(run.machine.c_str(), &guid, &registration);
    UniqueRegistration owned(registration);
    if (error != 0)
      return formats::Error{run.machine + ": " + known->name + " can't register: " + std::strerror(error)};
    providers.push_back(std::make_unique<SampleProvider>(std::move(owned), run, *known));
  }
  const double writers = static_cast<double>(providers.size()) * run.threads;
  const std::chrono::duration<double> interval(run.rate > 0 ? writers / run.rate : 0);
  std::vector<EmitTotals> totals(providers.size() * run.threads);
  std::vector<std::thread> threads;
  for (std::size_t i = 0; i < totals.size(); ++i) {
    threads.emplace_back([&, i] { WriteAtRate(*providers[i % providers.size()], interval, stop, &totals[i]); });
  }
  for (std::thread& thread : threads) thread.join();
  EmitTotals sum;
  for (const EmitTotals& part : totals) sum += part;
  return sum;
}

}  // namespace varnel::host
