// Stands in for the helper program and misbehaves at the sixth record of every chunk, in the way that the name says
// under which it was started: "die", "hang", "garble", "other" (answers for another record), "deaf" (takes no chunk).
#include <unistd.h>

#include <csignal>
#include <string>
#include <vector>

#include "platform/embedded/eventlog/evtx_chunk.h"
#include "platform/embedded/eventlog/evtx_frames.h"

using namespace varnel::embedded::evtx;

namespace {

void Misbehave(const std::string& way, RecordHead* head) {
  if (way == "die") ::raise(SIGKILL);
  while (way == "hang") ::pause();
  if (way == "garble") WriteBytes(STDOUT_FILENO, -1, std::string(64, 'x'));
  if (way == "other") ++head->index;
}

void AnswerRecords(const std::string& way, const std::vector<EvtxKey>& keys, std::string_view request) {
  std::vector<std::uint32_t> wanted;
  if (!ValuesOf(request, &wanted)) return;
  for (const std::uint32_t index : wanted) {
    RecordHead head{keys.at(index).record_id, index, 0};
    if (index == 5) Misbehave(way, &head);
    std::string body(reinterpret_cast<const char*>(&head), sizeof head);
    body += "<Event><System><EventID>1</EventID><EventRecordID>" + std::to_string(head.record_id) +
            "</EventRecordID></System></Event>";
    WriteBytes(STDOUT_FILENO, -1, Frame(Kind::kRecord, body));
  }
}

}  // namespace

int main(int, char** arguments) {
  const std::string path = arguments[0];
  const std::string way = path.substr(path.rfind('/') + 1);
  std::vector<EvtxKey> keys;
  Message request;
  while (ReadMessage(STDIN_FILENO, -1, &request) == Failure::kNone) {
    if (request.kind == Kind::kGetRecords) AnswerRecords(way, keys, request.body);
    if (request.kind != Kind::kLoadChunk) continue;
    if (way == "deaf") return 1;
    keys = KeysOfSoundChunk(request.body);
    WriteBytes(STDOUT_FILENO, -1, Frame(Kind::kLoaded, ""));
  }
  return 0;
}
