// Values that are set again and again: they go through cells, which nobody can tell from the store.
#include <fcntl.h>
#include <sys/mman.h>
#include <sys/mount.h>
#include <unistd.h>

#include <atomic>
#include <fstream>
#include <map>
#include <random>
#include <thread>

#include "child.h"
#include "registry_fixture.h"

namespace varnel::embedded {
namespace {

using namespace platform;

class RegistryStoreValuesTest : public RegistryFixture {
 protected:
  void SetUp() override {
    options_.at_drain = [this](DrainStep step) -> std::uint32_t {
      if (step == DrainStep::kDone) ++drains_;
      return step == DrainStep::kBeforeCommit ? fail_drain_.load() : 0;
    };
    RegistryFixture::SetUp();
  }
  /// The key with "v" = "1" that was set through its cell at last.
  HKEY CreateWithCell() {
    const HKEY key = Create(u"SOFTWARE\\Child");
    EXPECT_EQ(Set(key, u"v", "0"), 0u);
    EXPECT_EQ(Set(key, u"v", "1"), 0u);
    return key;
  }
  /// True when something was on its way into the store.
  bool WasInACell(HKEY key) {
    const int before = drains_;
    std::uint32_t values = 0;
    EXPECT_EQ(registry_->RegQueryInfoKeyW(key, nullptr, &values), 0u);
    return drains_ > before;
  }
  Child Start(std::vector<std::string> command) {
    command.insert(command.begin(), {folder_ + "/registry", options_.host_boot_id});
    return Child(std::move(command));
  }
  void RestartHost() {
    Close();
    options_.host_boot_id += "'";
    Reopen();
  }

  std::atomic<int> drains_{0};
  std::atomic<std::uint32_t> fail_drain_{0};
};

TEST_F(RegistryStoreValuesTest, TheSecondSetOfOneShapeGoesThroughACellAndIsReadAtOnce) {
  const HKEY key = Create(u"SOFTWARE\\Child");
  Set(key, u"v", "0");
  EXPECT_FALSE(WasInACell(key));
  for (const char* data : {"1", "2", "3"}) {
    EXPECT_EQ(Set(key, u"v", data), 0u);
    EXPECT_TRUE(WasInACell(key));
    EXPECT_EQ(Get(key, u"v"), data);
  }
}

TEST_F(RegistryStoreValuesTest, ManySetsMakeOneDrain) {
  const HKEY key = CreateWithCell();
  for (int i = 1000; i < 2000; ++i) Set(key, u"v", std::to_string(i));
  const int before = drains_;
  for (int i = 2000; i < 3000; ++i) Set(key, u"v", std::to_string(i));
  EXPECT_EQ(drains_, before);
  EXPECT_EQ(Get(key, u"v"), "2999");
  EXPECT_EQ(drains_, before + 1);
}

TEST_F(RegistryStoreValuesTest, AnotherTypeOrSizeInBetweenCounts) {
  const HKEY key = CreateWithCell();
  const HKEY second = Open(u"SOFTWARE\\Child");
  EXPECT_EQ(Set(second, u"V", "longer"), 0u);
  EXPECT_EQ(Get(key, u"v"), "longer");
  EXPECT_EQ(Set(key, u"v", "2"), 0u);
  EXPECT_EQ(Values(key), (std::vector<SeenValue>{{u"v", kRegBinary, "2"}}));
  EXPECT_EQ(Set(key, u"v", "3"), 0u);
  EXPECT_EQ(Set(second, u"v", "4", kRegSz), 0u);
  EXPECT_EQ(Values(key), (std::vector<SeenValue>{{u"v", kRegSz, "4"}}));
  EXPECT_EQ(Set(key, u"v", "5"), 0u);
  EXPECT_EQ(Values(key), (std::vector<SeenValue>{{u"v", kRegBinary, "5"}}));
}

TEST_F(RegistryStoreValuesTest, ASetThroughAnotherHandleIsNotUndoneByTheCell) {
  const HKEY key = CreateWithCell();
  EXPECT_EQ(Set(Open(u"SOFTWARE\\Child"), u"v", "2"), 0u);
  EXPECT_EQ(Get(key, u"v"), "2");
  EXPECT_EQ(Set(key, u"v", "3"), 0u);
  EXPECT_TRUE(WasInACell(key));
  EXPECT_EQ(Get(key, u"v"), "3");
}

TEST_F(RegistryStoreValuesTest, ADeletedValueStaysAwayAndANewOneStandsLast) {
  const HKEY key = CreateWithCell();
  Set(key, u"w", "w");
  Set(key, u"v", "2");
  EXPECT_EQ(registry_->RegDeleteValueW(Open(u"SOFTWARE\\Child"), u"v"), 0u);
  EXPECT_EQ(Get(key, u"v"), "?2");
  EXPECT_EQ(Set(key, u"v", "3"), 0u);
  EXPECT_EQ(Values(key), (std::vector<SeenValue>{{u"w", kRegBinary, "w"}, {u"v", kRegBinary, "3"}}));
}

TEST_F(RegistryStoreValuesTest, ADeletedKeyGives1018AndOneOfItsNameIsNotReached) {
  const HKEY key = CreateWithCell();
  EXPECT_EQ(registry_->RegDeleteKeyW(kHkeyLocalMachine, u"SOFTWARE\\Child"), 0u);
  EXPECT_EQ(Set(key, u"v", "2"), kErrorKeyDeleted);
  const HKEY again = Create(u"SOFTWARE\\Child");
  EXPECT_EQ(Set(key, u"v", "2"), kErrorKeyDeleted);
  EXPECT_EQ(Values(again).size(), 0u);
}

TEST_F(RegistryStoreValuesTest, AKeyThatAnotherProcessDeletesGives1018EvenWhereACellWasBound) {
  const HKEY key = CreateWithCell();
  EXPECT_EQ(Start({"delete"}).Wait(), 0);
  EXPECT_EQ(Set(key, u"v", "2"), kErrorKeyDeleted);
}

TEST_F(RegistryStoreValuesTest, NamesOfOneHashKeepTheirOwnCells) {
  Close();
  std::filesystem::remove_all(folder_ + "/registry");
  options_.hash = [](std::u16string_view) -> std::uint64_t { return 9; };
  Reopen();
  const HKEY key = Create(u"SOFTWARE\\Child");
  for (int round = 0; round < 3; ++round) {
    for (const char16_t* name : {u"a", u"b", u"c"}) Set(key, name, std::string(1, static_cast<char>(name[0] + round)));
  }
  EXPECT_TRUE(WasInACell(key));
  EXPECT_EQ(Get(key, u"a") + Get(key, u"b") + Get(key, u"c"), "cde");
}

TEST_F(RegistryStoreValuesTest, DataOf64BytesGoesThroughACellAndMoreDoesNot) {
  const HKEY key = Create(u"SOFTWARE\\Child");
  for (int round = 0; round < 3; ++round) Set(key, u"v", std::string(64, static_cast<char>('a' + round)));
  EXPECT_TRUE(WasInACell(key));
  EXPECT_EQ(Get(key, u"v"), std::string(64, 'c'));
  for (int round = 0; round < 3; ++round) Set(key, u"w", std::string(65, static_cast<char>('a' + round)));
  EXPECT_FALSE(WasInACell(key));
  for (int round = 0; round < 3; ++round) EXPECT_EQ(Set(key, u"empty", ""), 0u);
  EXPECT_EQ(Get(key, u"empty"), "");
}

TEST_F(RegistryStoreValuesTest, AHandleWithoutTheRightSetsNothing) {
  const HKEY key = CreateWithCell();
  EXPECT_EQ(Set(Open(u"SOFTWARE\\Child", kKeyRead), u"v", "2"), kErrorAccessDenied);
  registry_->RegCloseKey(key);
  EXPECT_EQ(Set(key, u"v", "2"), kErrorInvalidHandle);
  EXPECT_EQ(Get(Open(u"SOFTWARE\\Child"), u"v"), "1");
}

TEST_F(RegistryStoreValuesTest, FlushAndTheLastCloseTakeWhatIsInTheCells) {
  const HKEY key = CreateWithCell();
  EXPECT_EQ(registry_->RegFlushKey(key), 0u);
  Set(key, u"w", "0");
  Set(key, u"w", "1");
  RestartHost();
  EXPECT_EQ(Get(Open(u"SOFTWARE\\Child"), u"v"), "1");
  EXPECT_EQ(Get(Open(u"SOFTWARE\\Child"), u"w"), "1");
}

TEST_F(RegistryStoreValuesTest, ASetThroughACellAnIntervalAfterTheLastCopyWritesOne) {
  options_.copy_interval = std::chrono::milliseconds(100);
  Reopen();
  const HKEY key = CreateWithCell();
  std::this_thread::sleep_for(std::chrono::milliseconds(150));
  const auto before = std::filesystem::last_write_time(folder_ + "/registry/copy");
  EXPECT_EQ(Set(key, u"v", "2"), 0u);
  EXPECT_NE(std::filesystem::last_write_time(folder_ + "/registry/copy"), before);
  EXPECT_FALSE(WasInACell(key));
}

TEST_F(RegistryStoreValuesTest, ARestartOfTheHostDiscardsTheCellsAndTakesTheCopy) {
  const HKEY key = CreateWithCell();
  ASSERT_EQ(registry_->RegFlushKey(key), 0u);
  Close();
  {
    Child child = Start({"count", "0"});
    for (int i = 0; i < 5; ++i) ASSERT_NE(child.Line(), "");
    child.Kill();
  }
  const std::string cells = folder_ + "/registry/cells";
  std::filesystem::copy_file(cells, cells + ".kept");
  RestartHost();
  EXPECT_EQ(Get(Open(u"SOFTWARE\\Child"), u"v"), "1");
  // Nor do they come back when the disk gives them again beside the store that was built anew.
  Close();
  std::filesystem::rename(cells + ".kept", cells);
  Reopen();
  EXPECT_EQ(Get(Open(u"SOFTWARE\\Child"), u"v"), "1");
}

TEST_F(RegistryStoreValuesTest, ADrainThatFailsKeepsWhatWasAccepted) {
  const HKEY key = CreateWithCell();
  fail_drain_ = kErrorDiskFull;
  EXPECT_EQ(Set(key, u"v", "2"), 0u);
  EXPECT_EQ(Get(key, u"v"), "?112");
  EXPECT_EQ(Set(key, u"w", "w"), kErrorDiskFull);
  EXPECT_EQ(registry_->RegDeleteValueW(key, u"v"), kErrorDiskFull);
  EXPECT_EQ(registry_->RegFlushKey(key), kErrorDiskFull);
  EXPECT_EQ(Set(key, u"v", "3"), 0u);
  // Not even the last close can bring it into the store.
  Close();
  Reopen();
  fail_drain_ = 0;
  EXPECT_EQ(Values(Open(u"SOFTWARE\\Child")), (std::vector<SeenValue>{{u"v", kRegBinary, "3"}}));
}

TEST_F(RegistryStoreValuesTest, AFullDiskLosesNothingThatWasAccepted) {
  Close();
  const std::string disk = folder_ + "/registry";
  std::filesystem::remove_all(disk);
  std::filesystem::create_directory(disk);
  if (::mount("none", disk.c_str(), "tmpfs", 0, "size=2m") != 0) GTEST_SKIP() << "no small disk can be mounted here";
  Reopen();
  const HKEY key = CreateWithCell();
  {
    std::ofstream filler(disk + "/filler", std::ios::binary);
    const std::string page(4096, 'f');
    while (filler.write(page.data(), 4096).flush()) continue;
  }
  std::string last;
  for (int i = 0; i < 10; ++i) {
    last = std::to_string(i);
    EXPECT_EQ(Set(key, u"v", last), 0u);
    const std::string seen = Get(key, u"v");
    EXPECT_TRUE(seen == last || seen == "?112") << seen;
  }
  std::filesystem::remove(disk + "/filler");
  EXPECT_EQ(Get(key, u"v"), last);
  registry_->RegCloseKey(key);
  Close();
  EXPECT_EQ(::umount2(disk.c_str(), MNT_DETACH), 0);
}

TEST_F(RegistryStoreValuesTest, AProcessKilledAtAnyStepOfADrainLosesNothingAndBringsNothingBack) {
  for (int step = 0; step < 4; ++step) {
    for (const bool open_here : {false, true}) {
      SCOPED_TRACE(std::to_string(step) + (open_here ? " open" : " closed"));
      Create(u"SOFTWARE\\Child");
      if (!open_here) Close();
      EXPECT_EQ(Start({"drain", std::to_string(step)}).Wait(), -1);
      if (!open_here) Reopen();
      const HKEY key = Open(u"SOFTWARE\\Child");
      EXPECT_EQ(Get(key, u"v"), "2");
      EXPECT_EQ(Get(key, u"other"), "x");
      EXPECT_EQ(registry_->RegDeleteValueW(key, u"v"), 0u);
      EXPECT_EQ(Get(key, u"v"), "?2");
      Close();
      Reopen();
      EXPECT_EQ(Get(Open(u"SOFTWARE\\Child"), u"v"), "?2");
      ASSERT_EQ(registry_->RegDeleteTreeW(kHkeyLocalMachine, u"SOFTWARE\\Child"), 0u);
    }
  }
}

TEST_F(RegistryStoreValuesTest, AWriterKilledAmongItsCellsLosesNothingAndTearsNothing) {
  const std::string path = folder_ + "/accepted";
  std::ofstream(path) << std::string(8, '\0');
  const int file = ::open(path.c_str(), O_RDWR | O_CLOEXEC);
  void* const memory = ::mmap(nullptr, 8, PROT_READ | PROT_WRITE, MAP_SHARED, file, 0);
  ASSERT_NE(memory, MAP_FAILED);
  ::close(file);
  const auto* const accepted = static_cast<std::atomic<std::uint64_t>*>(memory);
  std::mt19937 random(3);
  for (int round = 0; round < 30; ++round) {
    const bool open_here = round % 3 != 0;
    HKEY key = Create(u"SOFTWARE\\Child");
    if (!open_here) Close();
    const std::uint64_t begin = *accepted;
    Child child = Start({"spin", path});
    while (*accepted < begin + 10) std::this_thread::yield();
    const auto until = std::chrono::steady_clock::now() + std::chrono::microseconds(random() % 20'000);
    while (std::chrono::steady_clock::now() < until) {
      if (round % 3 != 1) continue;
      // Each look drains the cells under the writer.
      const std::uint64_t floor = *accepted;
      std::uint64_t seen[3] = {};
      std::uint32_t size = sizeof seen;
      ASSERT_EQ(registry_->RegQueryValueExW(key, u"v", nullptr, seen, &size), 0u);
      ASSERT_TRUE(seen[0] >= floor && seen[0] == seen[1] && seen[1] == seen[2]);
    }
    child.Kill();
    if (!open_here) Reopen();
    key = Open(u"SOFTWARE\\Child");
    std::uint64_t seen[3] = {};
    std::uint32_t size = sizeof seen;
    ASSERT_EQ(registry_->RegQueryValueExW(key, u"v", nullptr, seen, &size), 0u);
    EXPECT_TRUE(seen[0] == *accepted || seen[0] == *accepted + 1) << seen[0] << " " << *accepted;
    EXPECT_TRUE(seen[0] == seen[1] && seen[1] == seen[2]);
    EXPECT_EQ(Set(key, u"after", "x"), 0u);
    Close();
    Reopen();
  }
  ::munmap(memory, 8);
}

// A key's values as they must stand: in the order in which they were first set, under the names they were given then.
class Model {
 public:
  void Set(const std::string& name, std::uint32_t type, const std::string& data) {
    SeenValue* value = Find(name);
    if (value == nullptr) value = &values.emplace_back(SeenValue{{name.begin(), name.end()}, 0, ""});
    value->type = type;
    value->data = data;
  }
  bool Delete(const std::string& name) {
    const SeenValue* value = Find(name);
    if (value == nullptr) return false;
    values.erase(values.begin() + (value - values.data()));
    return true;
  }
  std::string Answer(const std::string& name) {
    const SeenValue* value = Find(name);
    return value == nullptr ? "2" : "0 " + std::to_string(value->type) + " " + value->data;
  }

  std::vector<SeenValue> values;

 private:
  SeenValue* Find(const std::string& name) {
    for (SeenValue& value : values) {
      if ((value.name[0] | 0x20) == (name[0] | 0x20)) return &value;
    }
    return nullptr;
  }
};

TEST_F(RegistryStoreValuesTest, AnyOrderOfCallsOfTwoProcessesEndsAsIfEachHadGoneToTheStore) {
  std::mt19937 random(2026);
  Model model;
  Child child = Start({"serve"});
  const auto ask = [&](const std::string& line) {
    child.Tell(line);
    return child.Line();
  };
  HKEY keys[3] = {};
  const auto open_all = [&] {
    for (HKEY& key : keys) key = Create(u"SOFTWARE\\Child");
    ASSERT_EQ(ask("open 0"), "0");
  };
  open_all();
  unsigned place = 0;
  std::string name = "a";
  std::uint32_t type = kRegBinary;
  std::size_t size = 8;
  for (int step = 0; step < 6000; ++step) {
    if (random() % 5 == 0) place = random() % 6;  // 0 to 2 here, 3 to 5 there
    if (random() % 5 == 0) name = std::string(1, "aAbcdeE"[random() % 7]);
    if (random() % 12 == 0) type = random() % 2 == 0 ? kRegBinary : kRegDword;
    if (random() % 12 == 0) size = std::array<std::size_t, 4>{1, 8, 64, 65}[random() % 4];
    const std::u16string wide(name.begin(), name.end());
    const std::string there = std::to_string(place % 3) + " " + name;
    const unsigned what = random() % 100;
    if (what < 75) {
      std::string data(size, 'x');
      for (char& c : data) c = static_cast<char>('a' + random() % 26);
      const std::string result = place < 3 ? std::to_string(Set(keys[place], wide.c_str(), data, type))
                                           : ask("set " + there + " " + std::to_string(type) + " " + data);
      ASSERT_EQ(result, "0") << step;
      model.Set(name, type, data);
    } else if (what < 90) {
      const std::string data = place < 3 ? Get(keys[place], wide.c_str()) : "";
      const std::string wanted = model.Answer(name);
      if (place < 3) {
        ASSERT_EQ(data, wanted == "2" ? "?2" : wanted.substr(4)) << step;
      } else {
        ASSERT_EQ(ask("get " + there), wanted) << step;
      }
    } else if (what < 95) {
      const std::string result =
          place < 3 ? std::to_string(registry_->RegDeleteValueW(keys[place], wide.c_str())) : ask("delete " + there);
      ASSERT_EQ(result, model.Delete(name) ? "0" : "2") << step;
    } else if (what < 99) {
      ASSERT_EQ(Values(keys[place % 3]), model.values) << step;
    } else {
      ASSERT_EQ(registry_->RegDeleteTreeW(kHkeyLocalMachine, u"SOFTWARE\\Child"), 0u);
      ASSERT_EQ(Set(keys[place % 3], wide.c_str(), "x"), kErrorKeyDeleted);
      ASSERT_EQ(ask("set " + there + " 3 x"), "1018");
      for (const HKEY key : keys) registry_->RegCloseKey(key);
      open_all();
      model.values.clear();
    }
  }
  EXPECT_GT(drains_, 100);
}

TEST_F(RegistryStoreValuesTest, ThreadsOnOneHandleEachFindTheirLastValue) {
  const HKEY key = Create(u"SOFTWARE\\Child");
  std::vector<std::thread> threads;
  std::atomic<int> failures{0};
  for (int t = 0; t < 4; ++t) {
    threads.emplace_back([&, t] {
      const std::u16string name(1, static_cast<char16_t>(u'a' + t));
      for (std::uint64_t i = 0; i < 500; ++i) {
        std::uint64_t seen = 0;
        std::uint32_t size = sizeof seen;
        if (registry_->RegSetValueExW(key, name.c_str(), kRegBinary, &i, sizeof i) != 0) ++failures;
        if (i % 10 != 9) continue;
        if (registry_->RegQueryValueExW(key, name.c_str(), nullptr, &seen, &size) != 0 || seen != i) ++failures;
      }
    });
  }
  for (std::thread& thread : threads) thread.join();
  EXPECT_EQ(failures, 0);
}

}  // namespace
}  // namespace varnel::embedded
