// A machine made to have crash dumps told: it looks as if the module had run on it before and told every dump, and then
// those of some files had come. One thread.
#pragma once

#include <string>
#include <vector>

#include "formats/result.h"

namespace varnel::host {

/// A file of the host on such a machine.
struct PlacedDump {
  std::string file;
  std::string windows_path;  // where the machine has it; empty when it has not
  std::string reason;        // why not; without the file's name
};

/// Makes the machine in a folder that is not there or empty. The small dumps' folder has a read-only link to each file
/// under a name that ends in ".dmp"; creation times fall by 100 ns in the order given, so that the module, which takes
/// the newest dump first, tells them in that order. Both markers of told dumps are there and empty, so that no dump
/// counts as an old one. A file that can't be linked has its reason; an Error is of the machine.
formats::Result<std::vector<PlacedDump>> MakeDumpMachine(const std::string& folder,
                                                         const std::vector<std::string>& files);

}  // namespace varnel::host
