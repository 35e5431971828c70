// varnel-evtx: takes the records of one chunk of a binary event log apart with libevtx and gives them as XML. It reads
// requests from standard input and answers on standard output (evtx_frames.h); it opens no file and is ended by the
// closing of its input. It is a process of its own because the bytes are foreign and the library is not ours: whatever
// happens here costs one record. Memory and the processor time of each record are limited.
#include <libbfio.h>
#include <libevtx.h>
#include <sys/prctl.h>
#include <sys/resource.h>
#include <unistd.h>

#include <algorithm>
#include <cstdlib>
#include <cstring>
#include <string>
#include <vector>

#include "platform/embedded/eventlog/evtx_frames.h"

namespace {

using namespace varnel::embedded::evtx;

#if defined(__SANITIZE_ADDRESS__) || defined(__SANITIZE_THREAD__)
constexpr bool kLimitMemory = false;  // the sanitizers reserve all the addresses there are
#elif defined(__has_feature)
#if __has_feature(address_sanitizer) || __has_feature(thread_sanitizer)
constexpr bool kLimitMemory = false;
#else
constexpr bool kLimitMemory = true;
#endif
#else
constexpr bool kLimitMemory = true;
#endif

constexpr rlim_t kMemoryBytes = 256u << 20;
constexpr rlim_t kSecondsPerRequest = 5;
constexpr int kNoTimeout = -1;

void Limit(int resource, rlim_t soft, rlim_t hard) {
  const rlimit limit{soft, hard};
  ::setrlimit(resource, &limit);
}

/// The next piece of work may use this much processor time from now on; then the system ends the process.
void LimitTime() {
  rusage used{};
  ::getrusage(RUSAGE_SELF, &used);
  const auto seconds = static_cast<rlim_t>(used.ru_utime.tv_sec + used.ru_stime.tv_sec);
  Limit(RLIMIT_CPU, seconds + kSecondsPerRequest, RLIM_INFINITY);
}

/// One chunk as a log of its own, in memory.
class Chunk {
 public:
  ~Chunk() { Close(); }

  void Load(std::string_view bytes) {
    Close();
    image_ = MakeFileHeader();
    image_ += bytes;
    libevtx_error_t* error = nullptr;
    const bool open =
        libbfio_memory_range_initialize(&range_, nullptr) == 1 &&
        libbfio_memory_range_set(range_, reinterpret_cast<std::uint8_t*>(image_.data()), image_.size(), nullptr) == 1 &&
        libevtx_file_initialize(&file_, nullptr) == 1 &&
        libevtx_file_open_file_io_handle(file_, range_, LIBEVTX_OPEN_READ, &error) == 1;
    libevtx_error_free(&error);
    if (!open || libevtx_file_get_number_of_records(file_, &count_, nullptr) != 1) Close();
  }

  std::vector<EvtxKey> Keys() const {
    std::vector<EvtxKey> keys;
    for (int index = 0; index < count_; ++index) {
      libevtx_record_t* record = RecordAt(index);
      EvtxKey key{0, 0, static_cast<std::uint32_t>(index), 0};
      if (record != nullptr && libevtx_record_get_identifier(record, &key.record_id, nullptr) == 1) {
        libevtx_record_get_written_time(record, &key.written_time, nullptr);
        keys.push_back(key);
      }
      libevtx_record_free(&record, nullptr);
    }
    return keys;
  }

  /// The record's number and its XML. @return false when it can't be read.
  bool Read(std::uint32_t index, std::uint64_t* record_id, std::string* xml) const {
    if (index >= static_cast<std::uint32_t>(count_)) return false;
    // Not kept from one use to the next: the library gives the memory of a record to others after a while.
    libevtx_record_t* record = RecordAt(static_cast<int>(index));
    std::size_t size = 0;
    bool good = record != nullptr && libevtx_record_get_identifier(record, record_id, nullptr) == 1 &&
                libevtx_record_get_utf8_xml_string_size(record, &size, nullptr) == 1 && size > 0 &&
                size < kMaxMessageBytes - sizeof(RecordHead);
    if (good) {
      xml->resize(size);
      auto* const text = reinterpret_cast<std::uint8_t*>(xml->data());
      good = libevtx_record_get_utf8_xml_string(record, text, size, nullptr) == 1;
      xml->resize(size - 1);
    }
    libevtx_record_free(&record, nullptr);
    return good;
  }

 private:
  libevtx_record_t* RecordAt(int index) const {
    libevtx_record_t* record = nullptr;
    if (libevtx_file_get_record_by_index(file_, index, &record, nullptr) != 1) return nullptr;
    return record;
  }

  void Close() {
    count_ = 0;
    if (file_ != nullptr) {
      libevtx_file_close(file_, nullptr);
      libevtx_file_free(&file_, nullptr);
    }
    if (range_ != nullptr) libbfio_handle_free(&range_, nullptr);
  }

  /// The header of a log of one chunk.
  static std::string MakeFileHeader() {
    std::string header(kFileHeaderBytes, '\0');
    const auto put = [&](std::size_t at, auto value) { std::memcpy(header.data() + at, &value, sizeof value); };
    std::memcpy(header.data(), "ElfFile", 7);
    put(24, std::uint64_t{1});    // the next record's number
    put(32, std::uint32_t{128});  // the size of this part of the header
    put(36, std::uint16_t{1});    // version 3.1
    put(38, std::uint16_t{3});
    put(40, static_cast<std::uint16_t>(kFileHeaderBytes));
    put(42, std::uint16_t{1});  // chunks
    put(124, Crc32(std::string_view(header).substr(0, 120)));
    return header;
  }

  std::string image_;
  libbfio_handle_t* range_ = nullptr;
  libevtx_file_t* file_ = nullptr;
  int count_ = 0;
};

bool Answer(Kind kind, std::string_view body) {
  return WriteBytes(STDOUT_FILENO, kNoTimeout, Frame(kind, body));
}

bool AnswerRecords(const Chunk& chunk, std::string_view request) {
  std::vector<std::uint32_t> wanted;
  if (!ValuesOf(request, &wanted)) return false;
  std::string xml;
  for (const std::uint32_t index : wanted) {
    LimitTime();
    RecordHead head{0, index, 0};
    const bool good = chunk.Read(index, &head.record_id, &xml);
    std::string body(reinterpret_cast<const char*>(&head), sizeof head);
    if (good) body += xml;
    if (!Answer(good ? Kind::kRecord : Kind::kUnreadable, body)) return false;
  }
  return true;
}

/// @return false for a request that is none, and when nobody listens any more.
bool Serve(const Message& request, Chunk* chunk) {
  LimitTime();
  if (request.kind == Kind::kGetRecords) return AnswerRecords(*chunk, request.body);
  if (request.kind == Kind::kListRecords) return Answer(Kind::kKeys, BodyOf<EvtxKey>(chunk->Keys()));
  if (request.kind != Kind::kLoadChunk || request.body.size() != kChunkBytes) return false;
  chunk->Load(request.body);
  return Answer(Kind::kLoaded, {});
}

}  // namespace

int main() {
  // What the starter had open without a mark is none of our business.
  ::close_range(3, ~0U, 0);
  ::prctl(PR_SET_DUMPABLE, 0);
  Limit(RLIMIT_CORE, 0, 0);
  Limit(RLIMIT_FSIZE, 0, 0);
  Limit(RLIMIT_NOFILE, 3, 3);
  if (kLimitMemory) Limit(RLIMIT_AS, kMemoryBytes, kMemoryBytes);
  Chunk chunk;
  Message request;
  while (ReadMessage(STDIN_FILENO, kNoTimeout, &request) == Failure::kNone) {
    if (!Serve(request, &chunk)) return EXIT_FAILURE;
  }
  return EXIT_SUCCESS;
}
