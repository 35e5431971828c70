#include "platform/embedded/core/environment.h"

#include <gtest/gtest.h>

#include <cstdlib>

namespace varnel::embedded {
namespace {

TEST(MachineEnvironment, BeginsWithWhatAMachineGivesItsServices) {
  const Environment environment;
  EXPECT_EQ(environment.Get(u"SystemRoot"), u"C:\\Windows");
  EXPECT_EQ(environment.Get(u"PROGRAMDATA"), u"C:\\ProgramData");
  EXPECT_EQ(environment.Get(u"temp"), u"C:\\Windows\\Temp");
}

TEST(MachineEnvironment, HoldsNothingOfTheHosts) {
  ASSERT_NE(std::getenv("PATH"), nullptr);
  EXPECT_FALSE(Environment().Get(u"HOME").has_value());
  EXPECT_EQ(Environment().Get(u"PATH"), u"C:\\Windows\\System32;C:\\Windows");
}

TEST(MachineEnvironment, AChangeIsOneProcessesOwn) {
  Environment first;
  first.Set(u"Mine", u"1");
  EXPECT_EQ(first.Get(u"MINE"), u"1");
  EXPECT_FALSE(Environment().Get(u"Mine").has_value());
  EXPECT_TRUE(first.Remove(u"mine"));
  EXPECT_FALSE(first.Remove(u"mine"));
}

TEST(MachineEnvironment, ExpandsEachKnownNameAndLeavesTheRest) {
  Environment environment;
  environment.Set(u"a", u"1");
  environment.Set(u"empty", u"");
  EXPECT_EQ(environment.Expand(u"%a%%A%"), u"11");
  EXPECT_EQ(environment.Expand(u"x%empty%y"), u"xy");
  EXPECT_EQ(environment.Expand(u"%none%a%"), u"%none1");
  EXPECT_EQ(environment.Expand(u"%%a%%"), u"%1%");
  EXPECT_EQ(environment.Expand(u"100% sure"), u"100% sure");
}

TEST(MachineEnvironment, ValuesAreNotExpandedAgain) {
  Environment environment;
  environment.Set(u"a", u"%b%");
  environment.Set(u"b", u"2");
  EXPECT_EQ(environment.Expand(u"%a%"), u"%b%");
}

TEST(MachineEnvironment, TheTemporaryFolderIsTheFirstThatIsSet) {
  Environment environment;
  environment.Set(u"TMP", u"D:\\t");
  EXPECT_EQ(TempFolder(environment), u"D:\\t\\");
  environment.Remove(u"TMP");
  EXPECT_EQ(TempFolder(environment), u"C:\\Windows\\Temp\\");
  environment.Set(u"TEMP", u"");
  environment.Remove(u"USERPROFILE");
  EXPECT_EQ(TempFolder(environment), u"C:\\Windows\\");
}

}  // namespace
}  // namespace varnel::embedded
