#include "tests/support/order_recorder.h"

#include <fcntl.h>
#include <sys/mman.h>
#include <unistd.h>

#include <algorithm>
#include <atomic>
#include <cstdlib>
#include <cstring>

#include "pipeline/order_record.h"
#include "pipeline/target_consumer.h"

namespace varnel::testing {
namespace {

struct FileHeader {
  std::atomic<std::uint64_t> begun;  // records, whether they found room or not
  std::uint64_t capacity;
};

/// The file, mapped for writing from the first record on until the process ends. Null header: there is no file.
class MappedFile {
 public:
  explicit MappedFile(const char* path) {
    const int file = path == nullptr ? -1 : open(path, O_RDWR | O_CLOEXEC);
    if (file < 0) return;
    const off_t size = lseek(file, 0, SEEK_END);
    void* map = mmap(nullptr, static_cast<std::size_t>(size), PROT_READ | PROT_WRITE, MAP_SHARED, file, 0);
    close(file);
    if (map == MAP_FAILED) return;
    header_ = static_cast<FileHeader*>(map);
    records_ = reinterpret_cast<OrderRecord*>(header_ + 1);
    OrderRecord process;
    process.kind = OrderRecordKind::kProcess;
    Write(process);
  }

  void Write(const OrderRecord& record) {
    if (header_ == nullptr) return;
    const std::uint64_t index = header_->begun.fetch_add(1);
    if (index >= header_->capacity) return;
    OrderRecord* place = &records_[index];
    std::memcpy(reinterpret_cast<char*>(place) + sizeof(place->kind),
                reinterpret_cast<const char*>(&record) + sizeof(record.kind), sizeof(record) - sizeof(record.kind));
    place->process_id = static_cast<std::uint32_t>(getpid());
    std::atomic_ref(place->kind).store(record.kind, std::memory_order_release);
  }

 private:
  FileHeader* header_ = nullptr;
  OrderRecord* records_ = nullptr;
};

MappedFile& File() {
  static MappedFile file(std::getenv("VARNEL_ORDER_RECORD"));
  return file;
}

OrderRecord RecordOf(const TargetConsumer& consumer, const RawEvent& event) {
  OrderRecord record;
  record.provider = consumer.ProviderGuid;
  record.keyword = consumer.dwKeyWord;
  record.time_stamp = event.dwTimeStamp;
  record.counter = event.dwCounter;
  record.is_init_event = event.bIsModuleInitEvent;
  return record;
}

}  // namespace

bool MakeOrderRecordFile(const std::string& path, std::size_t capacity) {
  const int file = open(path.c_str(), O_RDWR | O_CREAT | O_TRUNC | O_CLOEXEC, 0600);
  if (file < 0) return false;
  const std::uint64_t header[2] = {0, capacity};
  static_assert(sizeof(header) == sizeof(FileHeader));
  const bool made = ftruncate(file, static_cast<off_t>(sizeof(header) + capacity * sizeof(OrderRecord))) == 0 &&
                    pwrite(file, header, sizeof(header), 0) == sizeof(header);
  close(file);
  return made;
}

std::vector<OrderRecord> ReadOrderRecords(const std::string& path) {
  const int file = open(path.c_str(), O_RDONLY | O_CLOEXEC);
  if (file < 0) return {};
  std::uint64_t header[2] = {0, 0};
  std::vector<OrderRecord> records;
  if (pread(file, header, sizeof(header), 0) == sizeof(header)) {
    records.resize(std::min(header[0], header[1]));
    const std::size_t size = records.size() * sizeof(OrderRecord);
    if (pread(file, records.data(), size, sizeof(header)) != static_cast<ssize_t>(size)) records.clear();
  }
  close(file);
  return records;
}

}  // namespace varnel::testing

namespace varnel {

void RecordInsertion(const TargetConsumer& consumer, const RawEvent& event) {
  testing::OrderRecord record = testing::RecordOf(consumer, event);
  record.kind = testing::OrderRecordKind::kInsertion;
  testing::File().Write(record);
}

void RecordLook(const TargetConsumer& consumer, std::uint32_t tries) VARNEL_NO_THREAD_SAFETY_ANALYSIS {
  testing::OrderRecord record = testing::RecordOf(consumer, *RawEventFromLink(consumer.Queue.Flink));
  record.kind = testing::OrderRecordKind::kLook;
  record.position_time_stamp = consumer.Progress.dwTimeStamp;
  record.position_counter = consumer.Progress.dwCounter;
  record.tries = tries;
  testing::File().Write(record);
}

}  // namespace varnel
