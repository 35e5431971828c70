// What a registry opens with: its store within one boot of the host, its copy after a restart.
#include "platform/embedded/registry/registry_store.h"

#include <cerrno>
#include <fstream>
#include <iterator>
#include <random>
#include <thread>

#include "child.h"
#include "registry_fixture.h"

namespace varnel::embedded {
namespace {

using namespace platform;

std::string ReadFile(const std::string& path) {
  std::ifstream in(path, std::ios::binary);
  return std::string(std::istreambuf_iterator<char>(in), std::istreambuf_iterator<char>());
}

void WriteFile(const std::string& path, const std::string& bytes) {
  std::ofstream(path, std::ios::binary | std::ios::trunc) << bytes;
}

// The host's disk, counting copies and failing on request.
class WatchedIo : public CopyIo {
 public:
  std::unique_ptr<CopyFile> Create(const std::string& path, int* error) override {
    if (fail_with != 0) {
      *error = fail_with;
      return nullptr;
    }
    return HostCopyIo().Create(path, error);
  }
  int Rename(const std::string& from, const std::string& to) override {
    ++copies;
    return HostCopyIo().Rename(from, to);
  }
  int SyncFolder(const std::string& path) override { return HostCopyIo().SyncFolder(path); }

  int copies = 0;
  int fail_with = 0;
};

class RegistryStoreTest : public RegistryFixture {
 protected:
  std::string Path(const char* name) const { return folder_ + "/registry/" + name; }
  std::string StoreFile() const { return Path("store/data.mdb"); }
  void RestartHost() {
    Close();
    options_.host_boot_id += "'";
    Reopen();
  }
  /// Leaves a registry whose copy has "v" = "flushed" and whose store has "v" = "later". Its process was killed, so
  /// that no last close wrote a copy.
  void LeaveStoreAheadOfCopy() {
    const HKEY key = Create(u"SOFTWARE\\Child");
    ASSERT_EQ(Set(key, u"v", "flushed"), 0u);
    ASSERT_EQ(registry_->RegFlushKey(key), 0u);
    Close();
    Child child({folder_ + "/registry", options_.host_boot_id, "count", "0"});
    ASSERT_EQ(child.Line(), "1");
    child.Kill();
  }
  /// Puts the watched disk below the registries that are opened from here on.
  WatchedIo& Watch() {
    options_.io = &io_;
    return io_;
  }
  std::string Value() { return Get(Open(u"SOFTWARE\\Child"), u"v"); }

 private:
  WatchedIo io_;
};

TEST_F(RegistryStoreTest, ANewRegistryHasACopyAtOnce) {
  EXPECT_EQ(registry_->Open(), 0u);
  const std::string copy = ReadFile(Path("copy"));
  EXPECT_TRUE(RegistryCopy::Parse(std::as_bytes(std::span(copy.data(), copy.size())), HashFoldedName).ok());
  EXPECT_EQ(ReadFile(Path("host")), "boot-1");
}

TEST_F(RegistryStoreTest, WithinOneBootTheStoreCountsAndAfterARestartTheCopy) {
  LeaveStoreAheadOfCopy();
  Reopen();
  EXPECT_NE(Value(), "flushed");
  LeaveStoreAheadOfCopy();
  RestartHost();
  EXPECT_EQ(Value(), "flushed");
}

TEST_F(RegistryStoreTest, AfterARestartItDoesNotMatterWhatTheStoreHolds) {
  LeaveStoreAheadOfCopy();
  const std::string newer = ReadFile(StoreFile());
  std::mt19937 random(7);
  for (int round = 0; round < 30; ++round) {
    // Each page as it was, zeros, noise, or a page of elsewhere; then a cut.
    std::string mixed = newer;
    for (std::size_t page = 0; page + 4096 <= mixed.size(); page += 4096) {
      switch (random() % 4) {
        case 0:
          mixed.replace(page, 4096, std::string(4096, '\0'));
          break;
        case 1:
          for (std::size_t i = 0; i < 4096; ++i) mixed[page + i] = static_cast<char>(random());
          break;
        case 2:
          mixed.replace(page, 4096, newer.substr((random() % (newer.size() / 4096)) * 4096, 4096));
          break;
        default:
          break;
      }
    }
    mixed.resize(random() % (mixed.size() + 1));
    Close();
    const std::string copy = ReadFile(Path("copy"));
    WriteFile(StoreFile(), mixed);
    RestartHost();
    ASSERT_EQ(Value(), "flushed") << round;
    Close();
    WriteFile(Path("copy"), copy);
  }
}

TEST_F(RegistryStoreTest, AfterARestartAMissingStoreIsBuiltFromTheCopy) {
  LeaveStoreAheadOfCopy();
  std::filesystem::remove_all(Path("store"));
  RestartHost();
  EXPECT_EQ(Value(), "flushed");
}

TEST_F(RegistryStoreTest, AStoreLostOrCutShortWithinTheBootIsReplacedByTheCopy) {
  LeaveStoreAheadOfCopy();
  const std::string copy = ReadFile(Path("copy"));
  const std::string store = ReadFile(StoreFile());
  for (const std::size_t size : {std::size_t{0}, std::size_t{100}, std::size_t{4096}, std::size_t{8192}}) {
    Close();
    WriteFile(Path("copy"), copy);
    WriteFile(StoreFile(), store.substr(0, size));
    Reopen();
    EXPECT_EQ(Value(), "flushed") << size;
  }
  Close();
  WriteFile(Path("copy"), copy);
  WriteFile(StoreFile(), std::string(store.size(), 'x'));
  Reopen();
  EXPECT_EQ(Value(), "flushed");
}

TEST_F(RegistryStoreTest, WithoutItsCopyARestartedRegistryGives1015AndIsNotMadeAnew) {
  LeaveStoreAheadOfCopy();
  std::filesystem::remove(Path("copy"));
  const std::string store = ReadFile(StoreFile());
  RestartHost();
  EXPECT_EQ(registry_->Open(), kErrorRegistryCorrupt);
  EXPECT_TRUE(ReadFile(StoreFile()) == store);
  EXPECT_FALSE(std::filesystem::exists(Path("copy")));
}

TEST_F(RegistryStoreTest, ADamagedCopyAfterARestartGives1015AndStaysAsItWas) {
  LeaveStoreAheadOfCopy();
  std::string damaged = ReadFile(Path("copy"));
  damaged[damaged.size() / 2] ^= 1;
  WriteFile(Path("copy"), damaged);
  const std::string store = ReadFile(StoreFile());
  RestartHost();
  HKEY key = nullptr;
  EXPECT_EQ(registry_->RegOpenKeyExW(kHkeyLocalMachine, u"SOFTWARE", 0, kKeyRead, &key), kErrorRegistryCorrupt);
  EXPECT_TRUE(ReadFile(Path("copy")) == damaged);
  EXPECT_TRUE(ReadFile(StoreFile()) == store);
  damaged[damaged.size() / 2] ^= 1;
  WriteFile(Path("copy"), damaged);
  EXPECT_EQ(Value(), "flushed");  // the same registry object tries again
}

TEST_F(RegistryStoreTest, AMakingThatWasCutBeforeItsEndStartsAgain) {
  EXPECT_EQ(registry_->Open(), 0u);
  Close();
  std::filesystem::remove(Path("host"));
  std::filesystem::remove(Path("copy"));
  Reopen();
  EXPECT_TRUE(Exists(u"SOFTWARE"));
}

TEST_F(RegistryStoreTest, ARebuildThatWasCutIsDoneAgain) {
  LeaveStoreAheadOfCopy();
  RestartHost();
  EXPECT_EQ(Value(), "flushed");
  Close();
  // As if the process had died between the rebuilt store and the host's name.
  WriteFile(Path("host"), "boot-1");
  WriteFile(StoreFile(), "half built");
  Reopen();
  EXPECT_EQ(Value(), "flushed");
}

TEST_F(RegistryStoreTest, KeysKeepTheirIdsAcrossARestartAndNewOnesGetNewIds) {
  Create(u"SOFTWARE\\A");
  Create(u"SOFTWARE\\B");
  registry_->RegDeleteKeyW(kHkeyLocalMachine, u"SOFTWARE\\B");
  RestartHost();
  Create(u"SOFTWARE\\C");
  EXPECT_EQ(SubKeys(Open(u"SOFTWARE")), (std::vector<std::u16string>{u"A", u"C", u"Classes"}));
}

TEST_F(RegistryStoreTest, FlushWritesACopyOnlyWhenSomethingHasChanged) {
  WatchedIo& io = Watch();
  Reopen();
  const HKEY key = Create(u"SOFTWARE\\A");
  const int before = io.copies;
  Set(key, u"v", "1");
  EXPECT_EQ(registry_->RegFlushKey(key), 0u);
  EXPECT_EQ(io.copies, before + 1);
  EXPECT_EQ(registry_->RegFlushKey(key), 0u);
  EXPECT_EQ(registry_->RegFlushKey(kHkeyLocalMachine), 0u);
  EXPECT_EQ(io.copies, before + 1);
  Close();
}

TEST_F(RegistryStoreTest, TheLastCloseWritesACopyAndAnEarlierOneDoesNot) {
  WatchedIo& io = Watch();
  Reopen();
  const HKEY key = Create(u"SOFTWARE\\A");
  {
    LmdbRegistry second(folder_ + "/registry", options_);
    ASSERT_EQ(second.Open(), 0u);
    Set(key, u"v", "1");
  }
  const int before = io.copies;
  registry_->RegCloseKey(key);
  Close();
  EXPECT_EQ(io.copies, before + 1);
  options_.io = nullptr;
  RestartHost();
  EXPECT_EQ(Get(Open(u"SOFTWARE\\A"), u"v"), "1");
}

TEST_F(RegistryStoreTest, AnOpenKeyKeepsTheStoreOpenBeyondItsRegistry) {
  const HKEY key = Create(u"SOFTWARE\\A");
  registry_ = std::make_unique<LmdbRegistry>(folder_ + "/registry", options_);
  EXPECT_EQ(Set(key, u"v", "still"), 0u);
  EXPECT_EQ(registry_->RegCloseKey(key), 0u);
}

TEST_F(RegistryStoreTest, TheFirstWriteAnIntervalAfterTheLastCopyWritesOne) {
  WatchedIo& io = Watch();
  options_.copy_interval = std::chrono::milliseconds(100);
  Reopen();
  const HKEY key = Create(u"SOFTWARE\\A");
  std::this_thread::sleep_for(std::chrono::milliseconds(150));
  const int before = io.copies;
  Set(key, u"v", "1");
  EXPECT_EQ(io.copies, before + 1);
  registry_->RegCloseKey(key);
}

TEST_F(RegistryStoreTest, ACopyThatAnotherProcessHasJustWrittenPutsTheNextOneOff) {
  WatchedIo& io = Watch();
  options_.copy_interval = std::chrono::milliseconds(200);
  Reopen();
  const HKEY key = Create(u"SOFTWARE\\A");
  std::this_thread::sleep_for(std::chrono::milliseconds(250));
  options_.copy_interval = std::chrono::hours(1);
  EXPECT_EQ(Child({folder_ + "/registry", "boot-1", "count", "1"}).Wait(), 0);
  const int before = io.copies;
  Set(key, u"v", "1");
  EXPECT_EQ(io.copies, before);
}

TEST_F(RegistryStoreTest, NoWriteWithinTheIntervalWritesACopy) {
  WatchedIo& io = Watch();
  options_.copy_interval = std::chrono::hours(1);
  Reopen();
  const HKEY key = Create(u"SOFTWARE\\A");
  const int before = io.copies;
  for (int i = 0; i < 1000; ++i) Set(key, u"v", std::to_string(i));
  EXPECT_EQ(io.copies, before);
  registry_->RegCloseKey(key);
  Close();
}

TEST_F(RegistryStoreTest, ACopyThatCannotBeWrittenFailsTheFlushAndNotTheWrite) {
  WatchedIo& io = Watch();
  options_.copy_interval = std::chrono::milliseconds(0);
  Reopen();
  const HKEY key = Create(u"SOFTWARE\\A");
  Set(key, u"v", "old");
  ASSERT_EQ(registry_->RegFlushKey(key), 0u);
  const std::string copy = ReadFile(Path("copy"));
  io.fail_with = ENOSPC;
  EXPECT_EQ(Set(key, u"v", "new"), 0u);
  EXPECT_EQ(registry_->RegFlushKey(key), kErrorDiskFull);
  io.fail_with = EIO;
  EXPECT_EQ(registry_->RegFlushKey(key), kErrorRegistryIoFailed);
  EXPECT_TRUE(ReadFile(Path("copy")) == copy);
  EXPECT_EQ(Get(key, u"v"), "new");
  registry_->RegCloseKey(key);
  Close();
  options_.io = nullptr;
  Reopen();
  EXPECT_EQ(Get(Open(u"SOFTWARE\\A"), u"v"), "new");
}

TEST_F(RegistryStoreTest, VolatileKeysAreNotInTheCopy) {
  HKEY key = nullptr;
  ASSERT_EQ(
      registry_->RegCreateKeyExW(kHkeyLocalMachine, u"SOFTWARE\\V\\W", kRegOptionVolatile, kReadWrite, &key, nullptr),
      0u);
  Set(key, u"v", "x");
  registry_->RegCloseKey(key);
  Set(Create(u"SOFTWARE\\L"), u"v", "lasting");
  RestartHost();
  EXPECT_FALSE(Exists(u"SOFTWARE\\V"));
  EXPECT_EQ(Get(Open(u"SOFTWARE\\L"), u"v"), "lasting");
}

TEST_F(RegistryStoreTest, AMapThatIsFullGrowsAndAtItsLimitGives112) {
  Close();
  std::filesystem::remove_all(folder_ + "/registry");
  options_.map = {256 << 10, 2 << 20};
  Reopen();
  const HKEY key = Create(u"SOFTWARE\\A");
  int accepted = 0;
  std::uint32_t result = 0;
  for (; accepted < 1000 && result == 0; accepted += result == 0 ? 1 : 0) {
    result = Set(key, (u"v" + std::u16string(1, static_cast<char16_t>(0x4E00 + accepted))).c_str(),
                 std::string(10'000, 'x'));
  }
  EXPECT_EQ(result, kErrorDiskFull);
  EXPECT_GT(accepted, 100);
  EXPECT_EQ(Values(key).size(), 0u + static_cast<unsigned>(accepted));
  EXPECT_EQ(registry_->RegDeleteTreeW(key, nullptr), 0u);
  EXPECT_EQ(Set(key, u"v", "room again"), 0u);
}

TEST_F(RegistryStoreTest, OneFolderUnderTwoNamesIsOpenedOnce) {
  std::filesystem::create_directory_symlink(folder_, folder_ + "/alias");
  LmdbRegistry alias(folder_ + "/alias/registry", options_);
  const HKEY key = Create(u"SOFTWARE\\A");
  HKEY same = nullptr;
  ASSERT_EQ(alias.RegOpenKeyExW(kHkeyLocalMachine, u"SOFTWARE\\A", 0, kReadWrite, &same), 0u);
  EXPECT_EQ(Set(same, u"v", "x"), 0u);
  EXPECT_EQ(Get(key, u"v"), "x");
  alias.RegCloseKey(same);
}

TEST_F(RegistryStoreTest, ThreadsMayOpenUseAndCloseAtOnce) {
  Close();
  std::vector<std::thread> threads;
  std::atomic<int> failures{0};
  for (int t = 0; t < 4; ++t) {
    threads.emplace_back([&, t] {
      for (int round = 0; round < 20; ++round) {
        LmdbRegistry own(folder_ + "/registry", options_);
        const std::u16string name = u"SOFTWARE\\T" + std::u16string(1, static_cast<char16_t>(u'0' + t));
        HKEY key = nullptr;
        if (own.RegCreateKeyExW(kHkeyLocalMachine, name.c_str(), 0, kReadWrite, &key, nullptr) != 0 ||
            own.RegSetValueExW(key, u"v", kRegDword, &round, sizeof round) != 0 || own.RegCloseKey(key) != 0) {
          ++failures;
        }
      }
    });
  }
  for (std::thread& thread : threads) thread.join();
  EXPECT_EQ(failures, 0);
  Reopen();
  EXPECT_EQ(SubKeys(Open(u"SOFTWARE")).size(), 5u);
}

}  // namespace
}  // namespace varnel::embedded
