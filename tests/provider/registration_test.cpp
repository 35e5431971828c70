#include "provider/registration.h"

#include <gtest/gtest.h>

#include <algorithm>
#include <cerrno>
#include <cstdlib>
#include <cstring>
#include <set>
#include <thread>
#include <vector>

#include "tests/support/trace_fixture.h"

namespace {

using varnel::embedded::ring::Piece;
using varnel::provider::Registration;
using varnel::testing::kTestProvider;
using varnel::testing::ReadTraceFile;
using varnel::testing::TraceMachine;

constexpr varnel_event_descriptor kDescriptor = {7, 1, 9, 3, 2, 5, 0x80};

class RegistrationTest : public ::testing::Test {
 protected:
  void SetUp() override { ASSERT_EQ(Registration::Create(machine_.root().c_str(), kTestProvider, &gate_), 0); }
  void TearDown() override { delete &Registration::From(gate_); }

  Registration& Own() const { return Registration::From(gate_); }
  int Write(std::uint32_t number) const {
    const Piece piece{&number, sizeof number};
    return Own().Write(kDescriptor, {&piece, 1}, sizeof number);
  }
  int WriteCounted(int module) const {
    std::uint32_t counter = 0;
    const Piece piece{&counter, sizeof counter};
    return Own().WriteCounted(module, kDescriptor, {&piece, 1}, sizeof counter, &counter);
  }
  std::vector<std::uint32_t> NumbersIn(const std::string& name) const {
    std::vector<std::uint32_t> numbers;
    for (const auto& event : ReadTraceFile(machine_.FilePath(name)).events) numbers.push_back(event.U32(0));
    return numbers;
  }

  TraceMachine machine_;
  varnel_registration* gate_ = nullptr;
};

using Numbers = std::vector<std::uint32_t>;

TEST_F(RegistrationTest, AGateLeadsBackToItsRegistration) {
  varnel_registration* other = nullptr;
  ASSERT_EQ(Registration::Create(machine_.root().c_str(), kTestProvider, &other), 0);
  EXPECT_NE(&Registration::From(other), &Own());
  EXPECT_EQ(&Registration::From(const_cast<const varnel_registration*>(gate_)), &Own());
  delete &Registration::From(other);
}

TEST_F(RegistrationTest, WhatIsNoMachineIsRefused) {
  varnel_registration* gate = nullptr;
  ::unsetenv("VARNEL_MACHINE");
  EXPECT_EQ(Registration::Create(nullptr, kTestProvider, &gate), ENOENT);
  EXPECT_EQ(Registration::Create("", kTestProvider, &gate), ENOENT);
  EXPECT_EQ(Registration::Create("/usr", kTestProvider, &gate), ENOENT);
  EXPECT_EQ(gate, nullptr);
}

TEST_F(RegistrationTest, TheEnvironmentNamesTheMachineWhereTheCallerDoesNot) {
  varnel_registration* gate = nullptr;
  ::setenv("VARNEL_MACHINE", machine_.root().c_str(), 1);
  EXPECT_EQ(Registration::Create(nullptr, kTestProvider, &gate), 0);
  ::unsetenv("VARNEL_MACHINE");
  ASSERT_NE(gate, nullptr);
  delete &Registration::From(gate);
}

TEST_F(RegistrationTest, WithoutASessionAWriteIsAGoodNothing) {
  EXPECT_FALSE(Own().EnabledFor(0, 0));
  EXPECT_EQ(Write(1), 0);
}

TEST_F(RegistrationTest, AnEventGoesToEachSessionThatWantsIt) {
  const auto first = machine_.Start(machine_.Parameters("first"));
  const auto second = machine_.Start(machine_.Parameters("second"));
  machine_.Enable(*first, kTestProvider);
  EXPECT_EQ(Write(1), 0);
  machine_.Enable(*second, kTestProvider);
  EXPECT_EQ(Write(2), 0);
  machine_.Store().Stop(*first);
  EXPECT_EQ(Write(3), 0);
  machine_.Store().Stop(*second);
  EXPECT_EQ(Write(4), 0);
  EXPECT_EQ(NumbersIn("first.etl"), (Numbers{1, 2}));
  EXPECT_EQ(NumbersIn("second.etl"), (Numbers{2, 3}));
}

TEST_F(RegistrationTest, EnabledForAsksLevelAndKeywordOfAllSessions) {
  const auto session = machine_.Start(machine_.Parameters("s"));
  machine_.Store().ChangeEnables([&](varnel::embedded::ring::EnableTable& table) {
    table.Set(*table.FindOrAdd(kTestProvider), {session->id(), 3, 0xF0, 0});
  });
  EXPECT_TRUE(Own().EnabledFor(3, 0x10));
  EXPECT_FALSE(Own().EnabledFor(4, 0x10));
  EXPECT_FALSE(Own().EnabledFor(3, 0x100));
  const auto wider = machine_.Start(machine_.Parameters("wider"));
  machine_.Enable(*wider, kTestProvider);
  EXPECT_TRUE(Own().EnabledFor(3, 0x100));
  machine_.Store().StopAll();
}

TEST_F(RegistrationTest, AnEventThatFitsNoBufferIsRefusedAndOthersGoOn) {
  const auto session = machine_.Start(machine_.Parameters("s"));
  machine_.Enable(*session, kTestProvider);
  const std::vector<std::byte> large(5000);
  const Piece piece{large.data(), static_cast<std::uint32_t>(large.size())};
  EXPECT_EQ(Own().Write(kDescriptor, {&piece, 1}, piece.size), EMSGSIZE);
  EXPECT_EQ(Write(1), 0);
  machine_.Store().Stop(*session);
  EXPECT_EQ(NumbersIn("s.etl"), (Numbers{1}));
}

TEST_F(RegistrationTest, EachModuleCountsForItselfFromOne) {
  const auto session = machine_.Start(machine_.Parameters("s"));
  machine_.Enable(*session, kTestProvider);
  for (const int module : {0, 0, 30, 0, 30}) EXPECT_EQ(WriteCounted(module), 0);
  machine_.Store().Stop(*session);
  EXPECT_EQ(NumbersIn("s.etl"), (Numbers{1, 2, 1, 3, 2}));
}

TEST_F(RegistrationTest, ACounterGoesOnFromWhereItIsSetAndWraps) {
  const auto session = machine_.Start(machine_.Parameters("s"));
  machine_.Enable(*session, kTestProvider);
  Own().SetCounter(4, 0xFFFFFFFF);
  for (int i = 0; i < 3; ++i) EXPECT_EQ(WriteCounted(4), 0);
  machine_.Store().Stop(*session);
  EXPECT_EQ(NumbersIn("s.etl"), (Numbers{0xFFFFFFFF, 0, 1}));
}

TEST_F(RegistrationTest, ACounterMovesOnWhereNobodyListens) {
  for (int i = 0; i < 3; ++i) EXPECT_EQ(WriteCounted(4), 0);
  const auto session = machine_.Start(machine_.Parameters("s"));
  machine_.Enable(*session, kTestProvider);
  EXPECT_EQ(WriteCounted(4), 0);
  machine_.Store().Stop(*session);
  EXPECT_EQ(NumbersIn("s.etl"), (Numbers{4}));
}

TEST_F(RegistrationTest, CountersOfThreadsStandInTheOrderOfTheStamps) {
  const auto session = machine_.Start(machine_.Parameters("s"));
  machine_.Enable(*session, kTestProvider);
  std::vector<std::thread> threads;
  for (int i = 0; i < 4; ++i) {
    threads.emplace_back([this] {
      for (int j = 0; j < 200; ++j) WriteCounted(4);  // one without room is counted and leaves a gap
    });
  }
  for (auto& thread : threads) thread.join();
  machine_.Store().Stop(*session);
  const Numbers numbers = NumbersIn("s.etl");
  EXPECT_TRUE(std::is_sorted(numbers.begin(), numbers.end()));
  EXPECT_GT(numbers.size(), 1u);
  EXPECT_EQ(std::set<std::uint32_t>(numbers.begin(), numbers.end()).size(), numbers.size());
  EXPECT_LE(numbers.back(), 800u);
}

TEST_F(RegistrationTest, AForkedChildWritesNothingThroughItsParents) {
  const auto session = machine_.Start(machine_.Parameters("s"));
  machine_.Enable(*session, kTestProvider);
  EXPECT_EQ(Write(1), 0);
  const pid_t child = ::fork();
  if (child == 0) ::_exit(!Own().EnabledFor(0, 0) && Write(2) == 0 ? 0 : 1);
  EXPECT_EQ(varnel::testing::WaitForEnd(child), 0);
  EXPECT_EQ(Write(3), 0);
  machine_.Store().Stop(*session);
  EXPECT_EQ(NumbersIn("s.etl"), (Numbers{1, 3}));
}

}  // namespace
