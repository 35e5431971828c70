// DeliveryLedger follows the running numbers of the texts that sample providers caused, over several runs of the
// module: what came, what came twice, what is missing and whether the module's rule about repeats explains it. Not
// thread-safe.
#pragma once

#include <cstdint>
#include <map>
#include <string>
#include <string_view>
#include <vector>

namespace varnel::host {

struct MissingEvent {
  std::string provider;  // its short name
  std::uint64_t number = 0;
  bool behind_a_repeat = false;  // it was the next one behind the last text of a run
};

class DeliveryLedger {
 public:
  /// Notes a text of the run at hand. False when it is no sample provider's.
  bool Note(std::string_view json_text);
  /// The module was stopped: what is noted from now on belongs to the next run.
  void EndRun();

  std::uint64_t delivered() const { return delivered_; }
  /// "SourceUsb #7" for each text that came more than once.
  const std::vector<std::string>& twice() const { return twice_; }
  /// What is missing of the numbers `first` to `last` of each of the providers.
  std::vector<MissingEvent> Missing(const std::vector<std::string>& providers, std::uint64_t first,
                                    std::uint64_t last) const;

 private:
  struct Consumer {
    std::map<std::uint64_t, unsigned> seen;  // by number, how often
    std::uint64_t last = 0;                  // of the run at hand
    std::vector<std::uint64_t> last_of_each_run;
  };

  std::map<std::string, Consumer> consumers_;  // by short name
  std::vector<std::string> twice_;
  std::uint64_t delivered_ = 0;
};

}  // namespace varnel::host
