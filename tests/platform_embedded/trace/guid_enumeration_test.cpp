#include "platform/embedded/trace/guid_enumeration.h"

#include <gtest/gtest.h>

#include <cstring>
#include <vector>

#include "tests/support/trace_port_fixture.h"

namespace {

using varnel::testing::kTestProvider;
using varnel::testing::TracePort;
namespace vp = varnel::platform;

std::uint32_t U32At(const std::vector<std::byte>& bytes, std::size_t offset) {
  std::uint32_t value;
  std::memcpy(&value, bytes.data() + offset, sizeof value);
  return value;
}

class GuidEnumerationTest : public ::testing::Test {
 protected:
  std::uint32_t Ask(std::uint32_t information_class, const GUID* guid, std::vector<std::byte>* out) {
    std::uint32_t needed = 0;
    auto& trace = port_.trace();
    const std::uint32_t size = guid != nullptr ? sizeof *guid : 0;
    const std::uint32_t first = trace.EnumerateTraceGuidsEx(information_class, guid, size, nullptr, 0, &needed);
    if (first != 0 && first != vp::kErrorInsufficientBuffer) return first;
    EXPECT_EQ(first, needed == 0 ? 0u : vp::kErrorInsufficientBuffer);
    out->resize(needed);
    return trace.EnumerateTraceGuidsEx(information_class, guid, size, out->data(), needed, &needed);
  }
  TracePort port_;
};

TEST_F(GuidEnumerationTest, ListsTheProvidersThatWereEverRegistered) {
  std::vector<std::byte> answer;
  ASSERT_EQ(Ask(vp::kTraceGuidQueryList, nullptr, &answer), 0u);
  ASSERT_EQ(answer.size(), sizeof(GUID));
  EXPECT_EQ(std::memcmp(answer.data(), &kTestProvider, sizeof(GUID)), 0);
}

TEST_F(GuidEnumerationTest, TellsTheSessionsThatHaveAProviderEnabled) {
  const auto handle = port_.StartSession(u"one");
  std::vector<std::byte> answer;
  ASSERT_EQ(Ask(vp::kTraceGuidQueryInfo, &kTestProvider, &answer), 0u);
  ASSERT_EQ(answer.size(), 8u + 16u + 32u);
  EXPECT_EQ(U32At(answer, 0), 1u) << "instances";
  EXPECT_EQ(U32At(answer, 8), 0u) << "no next instance";
  EXPECT_EQ(U32At(answer, 12), 1u) << "enables";
  EXPECT_EQ(U32At(answer, 24), 1u) << "enabled";
  EXPECT_EQ(U32At(answer, 28) & 0xFF, 5u) << "level";
  EXPECT_EQ(U32At(answer, 28) >> 16, handle & 0xFFFF) << "logger id";
  std::uint64_t match_any;
  std::memcpy(&match_any, answer.data() + 40, sizeof match_any);
  EXPECT_EQ(match_any, ~std::uint64_t{0});
}

TEST_F(GuidEnumerationTest, AnUnknownProviderAnd4200AndBadArguments87) {
  const GUID unknown = {1, 2, 3, {4, 5, 6, 7, 8, 9, 10, 11}};
  std::vector<std::byte> answer;
  EXPECT_EQ(Ask(vp::kTraceGuidQueryInfo, &unknown, &answer), 4200u);
  EXPECT_EQ(Ask(vp::kTraceGuidQueryInfo, nullptr, &answer), vp::kErrorInvalidParameter);
  EXPECT_EQ(Ask(7, &kTestProvider, &answer), vp::kErrorInvalidParameter);
}

}  // namespace
