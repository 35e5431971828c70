#include "tests/pipeline/order_replay.h"

#include <map>
#include <optional>
#include <tuple>

namespace varnel::testing {
namespace {

using Fate = ReplayedEvent::Fate;

struct Key {
  GUID provider{};
  std::uint64_t keyword = 0;

  bool operator<(const Key& other) const {
    const auto tie = [](const Key& key) {
      std::uint64_t low = 0;
      for (const std::uint8_t byte : key.provider.Data4) low = low << 8 | byte;
      return std::tuple(key.provider.Data1, key.provider.Data2, key.provider.Data3, low, key.keyword);
    };
    return tie(*this) < tie(other);
  }
};

/// A consumer of one process. The position is told by its first look, so that insertions before it wait until then.
struct Consumer {
  std::vector<ModelEvent> early;
  std::optional<OrderModel> model;
  std::uint32_t process_id = 0;
};

class Replayer {
 public:
  void Take(const OrderRecord& record) {
    if (record.kind == OrderRecordKind::kProcess) return EndProcess();
    if (record.kind == OrderRecordKind::kNone) return;
    Consumer& consumer = consumers_[{record.provider, record.keyword}];
    consumer.process_id = record.process_id;
    if (record.kind == OrderRecordKind::kInsertion) {
      const ModelEvent event{record.time_stamp, record.counter, record.is_init_event != 0, ++ids_};
      if (consumer.model.has_value()) {
        consumer.model->Insert(event);
      } else {
        consumer.early.push_back(event);
      }
      return;
    }
    Look(record, &consumer);
  }

  Replay Finish() {
    EndProcess();
    return std::move(replay_);
  }

 private:
  void Look(const OrderRecord& record, Consumer* consumer) {
    if (!consumer->model.has_value()) {
      consumer->model.emplace(record.position_time_stamp, record.position_counter);
      for (const ModelEvent& event : consumer->early) consumer->model->Insert(event);
      consumer->early.clear();
    }
    OrderModel& model = *consumer->model;
    if (model.queue().empty()) return Disagree(record, "the model's queue is empty");
    const ModelEvent& head = model.queue().front();
    if (head.time_stamp != record.time_stamp || head.counter != record.counter) Disagree(record, "another event leads");
    if (model.time_stamp() != record.position_time_stamp || model.counter() != record.position_counter) {
      Disagree(record, "the positions differ");
    }
    const ModelLook look = model.Look(record.tries);
    if (look.fate == ModelLook::Fate::kWaits) return;
    const bool delivered = look.fate == ModelLook::Fate::kDelivered;
    Add(record, look.event, delivered ? Fate::kDelivered : Fate::kDestroyed);
    if (look.abandoned.has_value()) Add(record, *look.abandoned, Fate::kTakenAlong);
  }

  void Add(const OrderRecord& record, const ModelEvent& event, Fate fate) {
    replay_.events.push_back(
        {fate, record.provider, record.keyword, event.time_stamp, event.counter, record.process_id});
  }

  void Disagree(const OrderRecord& record, const char* what) {
    replay_.disagreements.push_back("process " + std::to_string(record.process_id) + ", keyword " +
                                    std::to_string(record.keyword) + ", event " + std::to_string(record.time_stamp) +
                                    "/" + std::to_string(record.counter) + ": " + what);
  }

  void EndProcess() {
    for (const auto& [key, consumer] : consumers_) {
      const auto add = [&, &key = key, &consumer = consumer](const ModelEvent& event) {
        replay_.events.push_back(
            {Fate::kStillQueued, key.provider, key.keyword, event.time_stamp, event.counter, consumer.process_id});
      };
      for (const ModelEvent& event : consumer.early) add(event);
      if (!consumer.model.has_value()) continue;
      for (const ModelEvent& event : consumer.model->queue()) add(event);
    }
    consumers_.clear();
  }

  std::map<Key, Consumer> consumers_;
  std::uint64_t ids_ = 0;
  Replay replay_;
};

}  // namespace

Replay ReplayOrderRecords(const std::vector<OrderRecord>& records) {
  Replayer replayer;
  for (const OrderRecord& record : records) replayer.Take(record);
  return replayer.Finish();
}

}  // namespace varnel::testing
