// Large logs: the reader's memory does not grow with them.
#include <sys/resource.h>
#include <sys/wait.h>
#include <unistd.h>

#include "log_files.h"

#if defined(__has_feature)
#if __has_feature(address_sanitizer) || __has_feature(thread_sanitizer) || __has_feature(memory_sanitizer)
#define VARNEL_MEMORY_IS_INFLATED 1
#endif
#endif

namespace varnel::embedded {
namespace {

class LogMemory : public LogFiles {
 protected:
  void SetUp() override {
#ifdef VARNEL_MEMORY_IS_INFLATED
    GTEST_SKIP() << "the sanitizer keeps freed memory";
#endif
    LogFiles::SetUp();
  }

  std::string LargeXml(std::uint64_t records) const {
    const std::string path = folder_ + "/System.xml";
    std::ofstream out(path, std::ios::binary);
    for (std::uint64_t id = 1; id <= records; ++id) out << Xml(id, id % 10 == 0 ? 41 : 7, id) << "\r\n";
    return path;
  }

  std::string LargeEvtx(std::uint64_t records) const {
    const std::string path = folder_ + "/System.evtx";
    std::ofstream out(path, std::ios::binary);
    out << testing::EvtxBuilder::FileHeader(1);
    testing::EvtxBuilder builder;
    for (std::uint64_t id = 1; id <= records; ++id) {
      builder.Add(Event(id));
      if (id % 1000 == 0) out << builder.TakeFullChunks();
    }
    out << builder.TakeFullChunks() << builder.LastChunk();
    return path;
  }

  struct Child {
    std::uint64_t records = 0;
    std::uint64_t kilobytes = 0;  // the most that it had in memory
  };

  /// Reads the log in a process of its own.
  static Child ReadInChild(const std::string& path, LogDirection direction) {
    int pipes[2];
    EXPECT_EQ(::pipe(pipes), 0);
    const pid_t child = ::fork();
    if (child == 0) {
      LogReaderOptions options;
      options.direction = direction;
      auto reader = LogReader::Open({path}, options);
      LogRecord record;
      Child told;
      while (reader.ok() && reader.value()->Next(&record) == LogReader::Step::kRecord) ++told.records;
      rusage usage{};
      ::getrusage(RUSAGE_SELF, &usage);
      told.kilobytes = static_cast<std::uint64_t>(usage.ru_maxrss);
      static_cast<void>(::write(pipes[1], &told, sizeof told) == sizeof told);
      ::_exit(0);
    }
    ::close(pipes[1]);
    Child told;
    EXPECT_EQ(::read(pipes[0], &told, sizeof told), static_cast<ssize_t>(sizeof told));
    ::close(pipes[0]);
    int status = 0;
    ::waitpid(child, &status, 0);
    return told;
  }
};

constexpr std::uint64_t kLarge = 200'000;
constexpr std::uint64_t kSmall = 20'000;
constexpr std::uint64_t kSlackKilobytes = 4096;  // the table of blocks, and what the allocator keeps

TEST_F(LogMemory, OfAnExportDoesNotGrowWithTheLog) {
  for (const LogDirection direction : {LogDirection::kAscending, LogDirection::kDescending}) {
    const Child small = ReadInChild(LargeXml(kSmall), direction);
    const Child large = ReadInChild(LargeXml(kLarge), direction);
    EXPECT_EQ(small.records, kSmall);
    EXPECT_EQ(large.records, kLarge);
    EXPECT_LT(large.kilobytes, small.kilobytes + kSlackKilobytes);
  }
}

TEST_F(LogMemory, OfABinaryLogDoesNotGrowWithTheLog) {
  const Child small = ReadInChild(LargeEvtx(kSmall), LogDirection::kDescending);
  const Child large = ReadInChild(LargeEvtx(kLarge), LogDirection::kDescending);
  EXPECT_EQ(small.records, kSmall);
  EXPECT_EQ(large.records, kLarge);
  EXPECT_LT(large.kilobytes, small.kilobytes + kSlackKilobytes);
}

}  // namespace
}  // namespace varnel::embedded
