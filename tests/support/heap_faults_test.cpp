#include "tests/support/heap_faults.h"

#include <gtest/gtest.h>

#include <atomic>
#include <new>
#include <thread>

#include "tests/support/faulty_ports.h"
#include "tests/support/scripted_platform.h"

namespace varnel::testing {
namespace {

// Through a pointer, so that no compiler leaves an allocation out.
void* (*volatile g_new)(std::size_t) = &::operator new;

bool Allocates() {
  try {
    ::operator delete(g_new(16));
    return true;
  } catch (const std::bad_alloc&) {
    return false;
  }
}

class HeapFaultsTest : public ::testing::Test {
 protected:
  void SetUp() override {
    if (!HeapFaults::Work()) GTEST_SKIP() << "the heap of this build cannot fail";
  }
};

TEST_F(HeapFaultsTest, TheNthAllocationFailsAlone) {
  const HeapFaults faults(2);
  const bool first = Allocates();
  const bool second = Allocates();
  const bool third = Allocates();
  const unsigned seen = faults.allocations();
  EXPECT_TRUE(first);
  EXPECT_FALSE(second);
  EXPECT_TRUE(third);
  EXPECT_GE(seen, 3u);
  EXPECT_TRUE(faults.failed());
}

TEST_F(HeapFaultsTest, APersistentFaultTakesAllBehindItAndEndsWithItsScope) {
  bool second = true;
  {
    const HeapFaults faults(1, true);
    const bool first = Allocates();
    second = Allocates() || first;
  }
  EXPECT_FALSE(second);
  EXPECT_TRUE(Allocates());
}

TEST_F(HeapFaultsTest, AnotherThreadIsNotArmed) {
  bool allocated = false;
  std::atomic<bool> armed{false};
  {
    std::thread thread([&] {
      while (!armed) std::this_thread::yield();
      allocated = Allocates();
    });
    const HeapFaults faults(1, true);
    armed = true;
    thread.join();
  }
  EXPECT_TRUE(allocated);
}

TEST_F(HeapFaultsTest, ThePortsBelowAPlanKeepTheirMemory) {
  ScriptedPlatform machine;
  HeapFaultPlan plan;
  const FaultyPlatform watched(machine.ports, &plan);
  bool made = false;
  bool counted = true;
  {
    const HeapFaults faults(1, true);
    made = platform::FilesPort().CreateDirectoryW(u"C:\\new");
    counted = faults.allocations() != 0;
  }
  EXPECT_TRUE(made);
  EXPECT_FALSE(counted);
  EXPECT_TRUE(machine.files.IsFolder(u"C:\\new"));
}

}  // namespace
}  // namespace varnel::testing
