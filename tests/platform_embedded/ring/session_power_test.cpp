// A power failure: of every file of the sessions each page may be as it was at any earlier moment, new files may be
// missing or short, and the host starts anew.
#include <fcntl.h>
#include <gtest/gtest.h>
#include <sys/stat.h>
#include <unistd.h>

#include <filesystem>
#include <fstream>
#include <iterator>
#include <map>
#include <random>
#include <set>
#include <utility>

#include "platform/embedded/ring/session_store.h"
#include "platform/embedded/ring/steps.h"
#include "tests/support/trace_fixture.h"

namespace {

using namespace varnel::embedded::ring;
using namespace varnel::testing;
namespace fs = std::filesystem;

constexpr std::size_t kPage = 4096;
constexpr std::uint32_t kEvents = 400;
const std::string kNextBoot = "the boot behind the power failure";

std::string Bytes(const fs::path& path) {
  std::ifstream in(path, std::ios::binary);
  return {std::istreambuf_iterator<char>(in), {}};
}

/// The bytes of the files under a machine's sessions and drive, by their paths.
using Disk = std::map<std::string, std::string>;

Disk LookAt(const TraceMachine& machine) {
  Disk disk;
  for (const char* part : {"sessions", "C"}) {
    for (const auto& entry : fs::recursive_directory_iterator(machine.root() + "/" + part)) {
      if (entry.is_regular_file()) disk[fs::relative(entry.path(), machine.root())] = Bytes(entry.path());
    }
  }
  return disk;
}

/// What the disk held at each step of the machine's life, for the hook that takes it down.
const TraceMachine* looked_at = nullptr;
std::vector<Disk>* moments = nullptr;

void Look(Step step) {
  // The steps of a buffer's way, and one of an event's; the others leave the same pages.
  if (step < Step::kFilled) return;
  static int passed = 0;
  if (step < Step::kClosed && ++passed % 16 != 0) return;
  moments->push_back(LookAt(*looked_at));
}

/// A machine's life as moments: a session starts, has a provider enabled, takes events, stops; a second one takes its
/// place.
std::vector<Disk> LiveThrough() {
  const TraceMachine machine;
  std::vector<Disk> all;
  looked_at = &machine;
  moments = &all;
  const auto note = [&] { all.push_back(LookAt(machine)); };
  note();
  std::uint32_t number = 0;
  for (const char* name : {"s", "u"}) {
    const auto session = machine.Start(machine.Parameters(name));
    note();
    machine.Enable(*session, kTestProvider);
    note();
    step_hook = Look;
    for (std::uint32_t i = 0; i < kEvents / 2; ++i) EXPECT_TRUE(WriteNumbers(*session, 1, number++, i % 100));
    session->Flush();
    step_hook = nullptr;
    note();
    machine.Store().Stop(*session);
    note();
  }
  return all;
}

/// A file of which each page is the old one or the new one; what neither wrote reads as zeros.
std::string MixPages(const std::string& older, const std::string& newer, std::mt19937& random) {
  const std::size_t shortest = std::min(older.size(), newer.size());
  const std::size_t longest = std::max(older.size(), newer.size());
  std::size_t size = random() % 2 == 0 ? newer.size() : older.size();
  if (random() % 4 == 0) size = shortest + random() % (longest - shortest + 1) / kPage * kPage;
  std::string mixed(size, '\0');
  for (std::size_t place = 0; place < size; place += kPage) {
    const std::string& from = random() % 2 == 0 ? newer : older;
    if (place < from.size()) mixed.replace(place, kPage, from, place, kPage);
  }
  return mixed.substr(0, size);
}

/// What a power failure may leave of two moments.
Disk Mix(const Disk& older, const Disk& newer, std::mt19937& random) {
  std::set<std::string> paths;
  for (const Disk* disk : {&older, &newer}) {
    for (const auto& [path, bytes] : *disk) paths.insert(path);
  }
  Disk mixed;
  for (const std::string& path : paths) {
    const auto in_older = older.find(path);
    const auto in_newer = newer.find(path);
    const bool in_both = in_older != older.end() && in_newer != newer.end();
    if (!in_both && random() % 2 == 0) continue;
    mixed[path] = MixPages(in_older != older.end() ? in_older->second : std::string(),
                           in_newer != newer.end() ? in_newer->second : std::string(), random);
  }
  return mixed;
}

void PutBack(const Disk& disk, const TraceMachine& machine) {
  for (const auto& [path, bytes] : disk) {
    const fs::path file = fs::path(machine.root()) / path;
    fs::create_directories(file.parent_path());
    std::ofstream(file, std::ios::binary) << bytes;
  }
}

/// A buffer is a page here, so whatever is left of a file holds whole events that were written, each once.
void CheckFile(const std::string& path) {
  const ReadFile file = ReadTraceFile(path);
  std::set<std::uint32_t> numbers;
  for (const ReadEvent& event : file.events) {
    EXPECT_EQ(WriterOf(event), 1u);
    EXPECT_LT(NumberOf(event), kEvents);
    EXPECT_TRUE(numbers.insert(NumberOf(event)).second) << NumberOf(event) << " twice";
  }
}

/// A session started now works, and it alone has providers enabled.
void CheckNewSession(const TraceMachine& machine, const SessionStore& store) {
  StartFailure failure = StartFailure::kNone;
  const auto session = store.Start(machine.Parameters("s2"), &failure);
  ASSERT_NE(session, nullptr) << static_cast<int>(failure);
  const auto enables = [&] {
    std::vector<std::uint64_t> sessions;
    const auto table = store.LookAtEnables();
    EXPECT_NE(table, nullptr);
    for (const auto& guid : table->Providers()) {
      for (const Enable& enable : table->EnablesOf(*table->Find(guid))) sessions.push_back(enable.session);
    }
    return sessions;
  };
  EXPECT_EQ(enables().size(), 0u) << "an enable of a session that is gone";
  EXPECT_TRUE(store.ChangeEnables([&](EnableTable& table) {
    EXPECT_TRUE(table.Set(*table.FindOrAdd(kTestProvider), {session->id(), 5, ~std::uint64_t{0}, 0}));
  }));
  EXPECT_EQ(enables(), std::vector<std::uint64_t>{session->id()});
  for (std::uint32_t i = 0; i < 100; ++i) EXPECT_TRUE(WriteNumbers(*session, 1, i));
  EXPECT_TRUE(store.Stop(*session));
  const ReadFile file = ReadTraceFile(machine.FilePath("s2.etl"));
  EXPECT_EQ(file.events.size(), 100u);
  EXPECT_EQ(file.skipped_bytes, 0u);
}

TEST(SessionPower, WhateverAPowerFailureLeavesTheSessionsAreGoneAndANewOneWorks) {
  const std::vector<Disk> life = LiveThrough();
  ASSERT_GT(life.size(), 50u);
  std::mt19937 random(20261121);
  for (int round = 0; round < 300; ++round) {
    SCOPED_TRACE(round);
    const std::size_t newer = random() % life.size();
    const std::size_t older = newer - random() % (std::min<std::size_t>(newer, 20) + 1);
    const TraceMachine machine;
    PutBack(Mix(life[older], life[newer], random), machine);
    const SessionStore store(machine.machine().SessionsPath(), kNextBoot, 2);
    EXPECT_TRUE(store.RunningIds().empty());
    EXPECT_EQ(store.FindByName(u"s"), nullptr);
    for (const char* name : {"s.etl", "u.etl"}) {
      struct stat info {};
      if (::stat(machine.FilePath(name).c_str(), &info) != 0) continue;
      EXPECT_FALSE(store.IsFileInUse(info.st_dev, info.st_ino));
      CheckFile(machine.FilePath(name));
    }
    CheckNewSession(machine, store);
    if (HasFailure()) break;
  }
}

TEST(SessionPower, AnEnableWhoseSessionsFolderIsLostDoesNotComeIntoForceAgain) {
  const TraceMachine machine;
  const SessionStore store(machine.machine().SessionsPath(), kNextBoot, 2);
  // Eight failures, each of which left the enable and not the folder: as many as a provider has room for.
  for (std::uint64_t id = 1; id <= kEnablesPerProvider; ++id) {
    EXPECT_TRUE(store.ChangeEnables([&](EnableTable& table) {
      EXPECT_TRUE(table.Set(*table.FindOrAdd(kTestProvider), {id, 5, ~std::uint64_t{0}, 0}));
    }));
  }
  CheckNewSession(machine, store);
}

}  // namespace
