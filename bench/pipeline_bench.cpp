// What the pipeline costs between the trace source and the host.
//
//   decode       an event of twelve keys to its record and JSON text; the floor is one core that only builds and prints
//                the same JSON with cJSON
//   queue        an event put into a queue in order and taken out again, with a million queued against ten thousand
//   memory       bytes for each queued event beyond its JSON text
#include <cjson/cJSON.h>
#include <malloc.h>
#include <tinyxml2.h>

#include <cstring>
#include <string>
#include <vector>

#include "bare_json.h"
#include "bench_figures.h"
#include "pipeline/consumer_table.h"
#include "pipeline/event_decode.h"
#include "pipeline/target_consumer.h"
#include "platform/embedded/embedded_platform.h"
#include "platform/embedded/tdh/embedded_tdh.h"
#include "platform/platform.h"
#include "session/manifest_document.h"
#include "session/provider_table.h"

namespace {

using namespace varnel;
using namespace varnel::bench;

constexpr std::uint64_t kTime = 0x1DC95B3A1C2D3E0;
constexpr std::size_t kRecords = 4096;

/// The first provider's manifest, as the module composes it.
std::uint32_t ReadManifest(const char16_t* /*path*/, std::vector<std::byte>* bytes) {
  tinyxml2::XMLDocument document;
  Require(BuildManifestDocument({"ProviderSample", "{D8909C24-5BE9-4502-98CA-AB7BDC24899D}", "ProviderSampleGUID"},
                                &document),
          "composing the manifest");
  tinyxml2::XMLPrinter printer;
  document.Print(&printer);
  bytes->resize(static_cast<std::size_t>(printer.CStrSize()) - 1);
  std::memcpy(bytes->data(), printer.CStr(), bytes->size());
  return 0;
}

template <typename T>
void Append(T value, std::vector<char>* payload) {
  const auto* bytes = reinterpret_cast<const char*>(&value);
  payload->insert(payload->end(), bytes, bytes + sizeof(value));
}

void AppendText(const std::string& text, std::vector<char>* payload) {
  payload->insert(payload->end(), text.c_str(), text.c_str() + text.size() + 1);
}

/// Text events of the first provider, as records of a trace, each with texts of its own.
class Events {
 public:
  Events() : payloads_(kRecords), records_(kRecords) {
    for (std::uint32_t i = 0; i < kRecords; ++i) {
      std::vector<char>& payload = payloads_[i];
      Append(i + 1, &payload);
      Append(std::uint32_t{8}, &payload);
      AppendText("RedirectUsbDevice" + std::string(i % 5, 'x'), &payload);
      Append(i % 3000, &payload);
      Append(std::uint32_t{0}, &payload);
      AppendText("device " + std::to_string(i) + " was attached to port 4", &payload);
      platform::EVENT_RECORD& record = records_[i];
      record.EventHeader.Flags = platform::kEventHeaderFlag64BitHeader;
      record.EventHeader.ProcessId = 4242;
      record.EventHeader.ThreadId = 5000 + i % 8;
      record.EventHeader.TimeStamp = static_cast<std::int64_t>(kTime + 10000 * i);
      record.EventHeader.ProviderId = g_ProviderSampleGUID;
      record.EventHeader.EventDescriptor = {1, 0, 9, 4, 0, 0, 0x81};
      record.UserData = payload.data();
      record.UserDataLength = static_cast<std::uint16_t>(payload.size());
    }
  }

  std::vector<platform::EVENT_RECORD>& records() { return records_; }

 private:
  std::vector<std::vector<char>> payloads_;
  std::vector<platform::EVENT_RECORD> records_;
};

std::size_t DecodeAll(Events* events) {
  std::size_t length = 0;
  for (platform::EVENT_RECORD& record : events->records()) {
    RawEvent* raw = nullptr;
    Require(ConvertEtwEventToRawEvent(&record, &raw) == 0, "decoding an event");
    length += raw->pszJsonText[1] != 0 ? 1 : 0;
    DestoryRawEvent(raw);
  }
  return length;
}

BareJson BareJsonOf(Events* events) {
  BareJson bare;
  for (platform::EVENT_RECORD& record : events->records()) {
    RawEvent* raw = nullptr;
    Require(ConvertEtwEventToRawEvent(&record, &raw) == 0, "decoding an event");
    bare.Add(raw->pszJsonText);
    DestoryRawEvent(raw);
  }
  return bare;
}

void MeasureDecoding() {
  Events events;
  const BareJson bare = BareJsonOf(&events);
  const Turns turns = TakeTurns(
      101, [&] { return NanosecondsOfOne(kRecords, [&] { Require(DecodeAll(&events) == kRecords, "decoding"); }); },
      [&] { return NanosecondsOfOne(kRecords, [&] { Require(bare.BuildAll() == kRecords, "building"); }); });
  char value[160];
  std::snprintf(value, sizeof(value), "%.2f (%.0f ns an event; %.0f ns for the JSON alone)", 1 / turns.ratio,
                turns.ours, turns.floor);
  PrintFigure("decode to JSON", value, ">= 0.7",
              "rate of decoding an event to its text, to the rate of only building and printing that text");
}

/// A table with one consumer that nobody serves.
class Queue {
 public:
  Queue() {
    {
      ExclusiveLock lock(table_.TableLock);
      InitializeListHead(&table_.ConsumerList);
      consumer_ = AllocateTargetConsumer(&table_, g_ProviderSampleGUID, 0x80);
      InsertTailList(&table_.ConsumerList, &consumer_->Link);
    }
    consumer_->hWakeEvent = platform::ThreadsPort().CreateEventW(false, false);
  }
  ~Queue() {
    platform::SystemPort().CloseHandle(consumer_->hWakeEvent);
    FreeTargetConsumer(consumer_);
  }
  Queue(const Queue&) = delete;
  Queue& operator=(const Queue&) = delete;

  void Insert(RawEvent* event) {
    Require(InsertRawEvent(&table_, event, &g_ProviderSampleGUID, 0x80) == 0, "inserting an event");
  }
  RawEvent* Take() {
    ExclusiveLock lock(consumer_->QueueLock);
    return RawEventFromLink(RemoveHeadList(&consumer_->Queue));
  }

 private:
  ConsumerTable table_{};
  TargetConsumer* consumer_ = nullptr;
};

std::vector<RawEvent*> MakeEvents(std::size_t count) {
  constexpr char kText[] = "{\"WardletVersion\":\"1.0.2\"}";
  std::vector<RawEvent*> events(count);
  for (std::size_t i = 0; i < count; ++i) {
    events[i] = AllocateRawEvent();
    events[i]->dwTimeStamp = kTime + i;
    events[i]->dwCounter = static_cast<std::uint32_t>(i);
    events[i]->pszJsonText = static_cast<char*>(cJSON_malloc(sizeof(kText)));
    std::memcpy(events[i]->pszJsonText, kText, sizeof(kText));
  }
  return events;
}

/// Nanoseconds of an event: `rounds` times `count` events go into the queue in order and come out again.
double QueueCost(const std::vector<RawEvent*>& events, std::size_t rounds) {
  Queue queue;
  return NanosecondsOfOne(rounds * events.size(), [&] {
    for (std::size_t round = 0; round < rounds; ++round) {
      for (RawEvent* event : events) queue.Insert(event);
      for (std::size_t i = 0; i < events.size(); ++i) queue.Take();
    }
  });
}

void MeasureQueue() {
  constexpr std::size_t kMany = 1'000'000;
  constexpr std::size_t kFew = 10'000;
  const std::vector<RawEvent*> many = MakeEvents(kMany);
  const std::vector<RawEvent*> few(many.begin(), many.begin() + kFew);
  const Turns turns = TakeTurns(
      15, [&] { return QueueCost(many, 1); }, [&] { return QueueCost(few, kMany / kFew); });
  char value[160];
  std::snprintf(value, sizeof(value), "%.2f (%.0f ns against %.0f ns)", turns.ratio, turns.ours, turns.floor);
  PrintFigure("a million queued", value, "<= 1.2",
              "cost of an event in and out of a queue in order, a million long, to one of ten thousand");
  for (RawEvent* event : many) DestoryRawEvent(event);
}

void MeasureMemory() {
  constexpr std::size_t kCount = 200'000;
  Events events;
  Queue queue;
  const std::size_t before = mallinfo2().uordblks;
  std::size_t text_bytes = 0;
  for (std::size_t i = 0; i < kCount; ++i) {
    RawEvent* raw = nullptr;
    Require(ConvertEtwEventToRawEvent(&events.records()[i % kRecords], &raw) == 0, "decoding an event");
    raw->dwTimeStamp += i / kRecords * 100'000'000;
    text_bytes += std::strlen(raw->pszJsonText) + 1;
    queue.Insert(raw);
  }
  const std::size_t after = mallinfo2().uordblks;
  char value[160];
  std::snprintf(value, sizeof(value), "%.1f bytes (texts of %.0f bytes)",
                static_cast<double>(after - before - text_bytes) / kCount, static_cast<double>(text_bytes) / kCount);
  PrintFigure("memory of a queued event", value, "<= 128 bytes", "heap for each queued event beyond its JSON text");
  for (std::size_t i = 0; i < kCount; ++i) DestoryRawEvent(queue.Take());
}

}  // namespace

int main() {
  const auto machineless = embedded::EmbeddedPlatform::WithoutMachine();
  embedded::EmbeddedTdh tdh(ReadManifest);
  platform::Platform ports = machineless->record();
  ports.tdh = &tdh;
  const platform::ScopedPlatform in_force(&ports);
  Require(tdh.TdhLoadManifest(u"ProviderSample.xml") == 0, "loading the manifest");
  MeasureDecoding();
  MeasureQueue();
  MeasureMemory();
}
