#include <gtest/gtest.h>

#include "tests/platform_embedded/crashdump/read_dump.h"

namespace varnel::embedded {
namespace {

class PlantedDebuggerDataTest : public EachForm {
 protected:
  static void ExpectPlanted(const DumpedMachine& made) {
    const formats::DebuggerData* data = made.dump->debugger_data();
    ASSERT_NE(data, nullptr);
    const auto bytes = data->bytes();
    EXPECT_EQ(std::vector<std::byte>(bytes.begin(), bytes.end()), made.machine.debugger_data);
  }
};

TEST_P(PlantedDebuggerDataTest, APlainBlockIsFound) {
  const DumpedMachine made(SomeCrash(), Form());
  ExpectPlanted(made);
  EXPECT_EQ(made.dump->debugger_data()->PagingLevels(), 4);
  EXPECT_FALSE(made.dump->debugger_data()->was_encoded());
}

TEST_P(PlantedDebuggerDataTest, AScrambledBlockReadsTheSame) {
  CrashedMachineOptions crash = SomeCrash();
  crash.encoded_debugger_data = true;
  const DumpedMachine made(crash, Form());
  ExpectPlanted(made);
  EXPECT_EQ(made.dump->debugger_data()->was_encoded(), !IsSmall()) << "a small dump's copy is plain";
}

TEST_P(PlantedDebuggerDataTest, ItTellsFiveLevels) {
  CrashedMachineOptions crash = SomeCrash();
  crash.paging_levels = 5;
  const DumpedMachine made(crash, Form());
  ExpectPlanted(made);
  EXPECT_EQ(made.dump->debugger_data()->PagingLevels(), 5);
}

TEST_P(PlantedDebuggerDataTest, TheBuildsNameIsFoundThroughIt) {
  const DumpedMachine made(SomeCrash(), Form());
  const auto place = made.dump->debugger_data()->At<std::uint64_t>(0x208);
  ASSERT_TRUE(place.has_value());
  const auto text = made.Read(*place, made.machine.build_lab.size());
  EXPECT_EQ(std::string(reinterpret_cast<const char*>(text.data()), text.size()), made.machine.build_lab);
}

INSTANTIATE_TEST_SUITE_P(Forms, PlantedDebuggerDataTest, kFormsWithMemory, FormName);

}  // namespace
}  // namespace varnel::embedded
