// Writes the seeds of evtx_fuzz into a folder: chunks of few records, without the zeros at their ends.
#include <fstream>
#include <string>

#include "tests/support/evtx_builder.h"

namespace {

void Write(const std::string& path, std::string bytes) {
  bytes.resize(bytes.find_last_not_of('\0') + 1);
  std::ofstream(path, std::ios::binary) << bytes;
}

}  // namespace

int main(int count, char** arguments) {
  if (count != 2) return 2;
  const std::string folder = arguments[1];
  varnel::testing::EvtxBuilder builder;
  varnel::testing::EvtxEvent event;
  event.data = {{"BugcheckCode", "159"}, {"BugcheckParameter1", "0x0000000000000003"}, {"Empty", ""}};
  builder.Add(event);
  Write(folder + "/one", builder.LastChunk());
  event.record_id = 2;
  event.event_id = 41;
  builder.Add(event);
  Write(folder + "/two", builder.LastChunk());
  Write(folder + "/cut", builder.LastChunk().substr(0, 900));
  std::string damaged = builder.LastChunk();
  damaged[700] = '\x55';
  Write(folder + "/damaged", damaged);
  return 0;
}
