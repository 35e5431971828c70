// Runs a suite, the conformance suite first of all, on a machine folder made for the run.
#include <gtest/gtest.h>
#include <stdlib.h>

#include <filesystem>
#include <fstream>

#include "platform/embedded/core/machine.h"

namespace {

namespace fs = std::filesystem;

/// What every machine has of what the suite asks for.
void Furnish(const fs::path& drive) {
  fs::create_directories(drive / "Windows/System32");
  fs::create_directories(drive / "Windows/Temp");
  fs::create_directories(drive / "ProgramData");
  fs::create_directories(drive / "Program Files/Varnel/Host");
  for (const char* library : {"kernel32.dll", "dbgeng.dll"}) {
    std::ofstream(drive / "Windows/System32" / library) << "stands in for the system's\n";
  }
}

}  // namespace

int main(int argc, char** argv) {
  ::testing::InitGoogleTest(&argc, argv);
  std::string folder = (fs::temp_directory_path() / "varnel-conformance-XXXXXX").string();
  if (::mkdtemp(folder.data()) == nullptr) return 1;
  const auto machine = varnel::embedded::Machine::Create(folder + "/machine");
  if (!machine.ok()) return 1;
  Furnish(machine.value()->DrivePath('C'));
  ::setenv("VARNEL_MACHINE", machine.value()->root().c_str(), 1);
  const int result = RUN_ALL_TESTS();
  fs::remove_all(folder);
  return result;
}
