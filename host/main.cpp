// wardlet: the command-line host of the module.
#include "host/program.h"

int main(int argc, char** argv) {
  return varnel::host::RunProgram(argc, argv);
}
