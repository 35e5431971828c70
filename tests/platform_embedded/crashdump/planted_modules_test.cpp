#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include "tests/platform_embedded/crashdump/read_dump.h"

namespace varnel::embedded {
namespace {

class PlantedModulesTest : public EachForm {
 protected:
  static void ExpectAll(const DumpedMachine& made) {
    const auto& read = made.dump->Modules();
    ASSERT_EQ(read.size(), made.machine.modules.size());
    for (std::size_t i = 0; i < read.size(); ++i) {
      const PlantedModule& planted = made.machine.modules[i];
      ASSERT_EQ(read[i].base, planted.base) << i;
      ASSERT_EQ(read[i].name, planted.name) << i;
      ASSERT_EQ(read[i].path, planted.path) << i;
      ASSERT_EQ(read[i].size, planted.size) << i;
      ASSERT_EQ(read[i].check_sum, planted.checksum) << i;
      ASSERT_EQ(read[i].time_date_stamp, planted.time_stamp) << i;
      ASSERT_EQ(read[i].entry_point, planted.entry_point) << i;
      ASSERT_EQ(read[i].exception_table, planted.exception_table) << i;
      ASSERT_EQ(read[i].exception_table_size, planted.exception_table_size) << i;
    }
  }
};

TEST_P(PlantedModulesTest, EachLoadedModuleIsFound) {
  const DumpedMachine made(SomeCrash(), Form());
  EXPECT_EQ(made.machine.modules.size(), 11u);
  ExpectAll(made);
}

TEST_P(PlantedModulesTest, FiveThousandMoreAreFoundToo) {
  CrashedMachineOptions crash = SomeCrash();
  crash.more_modules = 5000;
  const DumpedMachine made(crash, Form());
  EXPECT_EQ(made.machine.modules.size(), 5011u);
  ExpectAll(made);
}

TEST_P(PlantedModulesTest, EachUnloadedDriverIsFound) {
  const DumpedMachine made(SomeCrash(), Form());
  const auto& read = made.dump->UnloadedModules();
  ASSERT_EQ(read.size(), made.machine.unloaded.size());
  for (const PlantedUnloadedDriver& planted : made.machine.unloaded) {
    const std::u16string name = IsSmall() ? planted.name.substr(0, 12) : planted.name;
    EXPECT_THAT(read,
                testing::Contains(testing::AllOf(testing::Field(&formats::DumpUnloadedModule::name, name),
                                                 testing::Field(&formats::DumpUnloadedModule::start, planted.begin),
                                                 testing::Field(&formats::DumpUnloadedModule::end, planted.end))));
    if (IsSmall()) continue;
    EXPECT_THAT(read, testing::Contains(testing::Field(&formats::DumpUnloadedModule::time, planted.time)));
  }
}

INSTANTIATE_TEST_SUITE_P(Forms, PlantedModulesTest, kFormsWithMemory, FormName);

}  // namespace
}  // namespace varnel::embedded
