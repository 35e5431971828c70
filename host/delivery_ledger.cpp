#include "host/delivery_ledger.h"

#include <algorithm>

#include "host/emit_plan.h"
#include "host/providers.h"
#include "host/text_field.h"

namespace varnel::host {

bool DeliveryLedger::Note(std::string_view json_text) {
  const auto guid = TextField(json_text, "ProviderGUID");
  const std::uint64_t number = RunningNumber(json_text);
  if (!guid || number == 0) return false;
  const std::string provider = ProviderName(*guid);
  Consumer& consumer = consumers_[provider];
  ++delivered_;
  consumer.last = number;
  if (++consumer.seen[number] == 2) twice_.push_back(provider + " #" + std::to_string(number));
  return true;
}

void DeliveryLedger::EndRun() {
  for (auto& [provider, consumer] : consumers_) consumer.last_of_each_run.push_back(consumer.last);
}

std::vector<MissingEvent> DeliveryLedger::Missing(const std::vector<std::string>& providers, std::uint64_t first,
                                                  std::uint64_t last) const {
  std::vector<MissingEvent> missing;
  for (const std::string& provider : providers) {
    const auto found = consumers_.find(provider);
    const Consumer consumer = found == consumers_.end() ? Consumer{} : found->second;
    for (std::uint64_t number = first; number <= last; ++number) {
      if (consumer.seen.count(number) != 0) continue;
      const auto& ends = consumer.last_of_each_run;
      const bool explained = number > 1 && std::find(ends.begin(), ends.end(), number - 1) != ends.end();
      missing.push_back({provider, number, explained});
    }
  }
  return missing;
}

}  // namespace varnel::host
