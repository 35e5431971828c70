// Runs the conformance suite of the ports on the scripted platform, so that tests on it meet what real machines do.
#include <gtest/gtest.h>

#include "tests/support/scripted_platform.h"

int main(int argc, char** argv) {
  // What the scripted system leaves to the test that needs it: guards and unpacking are its own, zones have no
  // transitions, and text that is cut short is no promise of it.
  GTEST_FLAG_SET(filter,
                 "-GuardedCalls.*:Unpacking.*:TimeConversion.AZoneWithTransitionsChangesOverAtTheirHour"
                 ":TextConversion.ASequenceCutShortBecomesOneReplacementCharacter");
  ::testing::InitGoogleTest(&argc, argv);
  varnel::testing::ScriptedPlatform machine;
  machine.files.AddFolder(u"C:\\Program Files\\Varnel\\Host");
  machine.files.AddFile(u"C:\\Windows\\System32\\kernel32.dll", "stands in for the system's\n");
  return RUN_ALL_TESTS();
}
