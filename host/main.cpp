// wardlet: the command-line host of the module.
#include "host/process.h"
#include "host/program.h"

int main(int argc, char** argv) {
  varnel::host::PrepareProcess();
  const std::vector<std::string> line = varnel::host::CommandLine(argc, argv);
  std::vector<const char*> words;
  words.reserve(line.size());
  for (const std::string& word : line) words.push_back(word.c_str());
  return varnel::host::RunProgram(static_cast<int>(words.size()), words.data());
}
