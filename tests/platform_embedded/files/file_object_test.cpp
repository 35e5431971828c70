#include "platform/embedded/files/file_object.h"

#include <signal.h>
#include <sys/resource.h>

#include <map>
#include <thread>

#include "helper_process.h"
#include "machine_fixture.h"
#include "platform/embedded/files/file_opener.h"

namespace varnel::embedded {
namespace {

/// Makes every file end at `size` bytes while it lives, as a full disk would.
class FullDisk {
 public:
  explicit FullDisk(std::uint64_t size) {
    previous_handler_ = ::signal(SIGXFSZ, SIG_IGN);
    ::getrlimit(RLIMIT_FSIZE, &previous_);
    const rlimit limit{size, previous_.rlim_max};
    ::setrlimit(RLIMIT_FSIZE, &limit);
  }
  ~FullDisk() {
    ::setrlimit(RLIMIT_FSIZE, &previous_);
    ::signal(SIGXFSZ, previous_handler_);
  }

 private:
  rlimit previous_{};
  sighandler_t previous_handler_ = nullptr;
};

class OpenFiles : public MachineFixture {
 protected:
  std::shared_ptr<FileObject> Open(std::uint32_t access = platform::kGenericAll) {
    std::shared_ptr<FileObject> file;
    bool existed = false;
    const FileOpener opener(machine_);
    const FileOpener::Request request{.access = access, .share_mode = kShareAll, .disposition = platform::kOpenAlways};
    EXPECT_EQ(opener.Open(u"C:\\file", request, &file, &existed), 0u);
    return file;
  }
};

TEST_F(OpenFiles, AWriteOnAFullDiskAnswers112AndTellsWhatWasWritten) {
  const auto file = Open();
  const FullDisk full(10);
  std::uint32_t written = 0;
  EXPECT_EQ(file->Write("0123456789abc", 13, &written, nullptr), platform::kErrorDiskFull);
  EXPECT_EQ(written, 10u);
}

TEST_F(OpenFiles, AnAppendOnAFullDiskLeavesNothingOfItself) {
  const auto file = Open();
  const FullDisk full(10);
  std::uint32_t written = 0;
  EXPECT_EQ(file->Append("12345678", 8, &written), 0u);
  EXPECT_EQ(file->Append("12345678", 8, &written), platform::kErrorDiskFull);
  EXPECT_EQ(written, 0u);
  EXPECT_EQ(ReadHost("file"), "12345678");
  EXPECT_EQ(file->Append("90", 2, &written), 0u);
  EXPECT_EQ(ReadHost("file"), "1234567890");
}

TEST_F(OpenFiles, ACopyThatDoesNotFitOnTheDiskLeavesNoHalfFile) {
  MakeFile("from", std::string(100, 'x'));
  const FullDisk full(10);
  EXPECT_FALSE(files_->CopyFileW(u"C:\\from", u"C:\\to", false));
  EXPECT_EQ(LastError(), platform::kErrorDiskFull);
  EXPECT_FALSE(std::filesystem::exists(Host("to")));
}

TEST_F(OpenFiles, TheHostLinkLeadsToTheFileUnderWhateverName) {
  const auto file = Open();
  std::filesystem::rename(Host("file"), Host("renamed"));
  std::uint32_t written = 0;
  EXPECT_EQ(file->Append("x", 1, &written), 0u);
  EXPECT_EQ(std::filesystem::file_size(file->HostLink()), 1u);
}

TEST_F(OpenFiles, SeekingByAnUnknownMethodAnswers87) {
  std::uint64_t position = 0;
  EXPECT_EQ(Open()->Seek(0, 9, &position), platform::kErrorInvalidParameter);
}

/// How many whole lines of each letter a file holds; -1 for a line that is of two.
std::map<char, int> CountLines(const std::string& text) {
  std::map<char, int> lines;
  for (std::size_t at = 0; at < text.size(); at += 65) {
    const std::string line = text.substr(at, 65);
    const bool whole = line.size() == 65 && line.substr(0, 64) == std::string(64, line[0]) && line[64] == '\n';
    if (!whole) return {{'?', -1}};
    ++lines[line[0]];
  }
  return lines;
}

TEST_F(OpenFiles, LinesThatSeveralProcessesAppendStayWholeAndAllThere) {
  HelperProcess first(machine_->root(), {"append", "C:\\log.txt", "a", "2000"});
  HelperProcess second(machine_->root(), {"append", "C:\\log.txt", "b", "2000"});
  EXPECT_EQ(first.Finish(), 0);
  EXPECT_EQ(second.Finish(), 0);
  EXPECT_EQ(CountLines(ReadHost("log.txt")), (std::map<char, int>{{'a', 2000}, {'b', 2000}}));
}

TEST_F(OpenFiles, LinesThatSeveralThreadsAppendThroughOneHandleStayWhole) {
  const auto file = Open();
  const auto append = [&](char letter) {
    const std::string line = std::string(64, letter) + '\n';
    std::uint32_t written = 0;
    for (int i = 0; i < 500; ++i) file->Append(line.data(), 65, &written);
  };
  std::thread other(append, 'a');
  append('b');
  other.join();
  EXPECT_EQ(CountLines(ReadHost("file")), (std::map<char, int>{{'a', 500}, {'b', 500}}));
}

}  // namespace
}  // namespace varnel::embedded
