// Feeds UTF-16 texts to what the module reads out of an event's XML. An event that is not found leaves nothing behind,
// the same text tells the same, and no number of a stop error comes without its element.
#include <cstddef>
#include <cstdint>
#include <cstdlib>
#include <cstring>
#include <string>

#include "crash/crash_event_xml.h"
#include "tests/support/scripted_platform.h"

namespace {

void Require(bool good) {
  if (!good) std::abort();
}

bool Same(const varnel::CrashEventRecord& a, const varnel::CrashEventRecord& b) {
  return a.BugcheckCode == b.BugcheckCode && a.BugcheckParameter1 == b.BugcheckParameter1 &&
         a.BugcheckParameter2 == b.BugcheckParameter2 && a.BugcheckParameter3 == b.BugcheckParameter3 &&
         a.BugcheckParameter4 == b.BugcheckParameter4;
}

}  // namespace

extern "C" int LLVMFuzzerTestOneInput(const std::uint8_t* data, std::size_t size) {
  static const varnel::testing::ScriptedPlatform machine;
  std::u16string text(size / sizeof(char16_t), u'\0');
  if (!text.empty()) std::memcpy(text.data(), data, text.size() * sizeof(char16_t));
  std::uint32_t id = 7;
  std::uint64_t time = 7;
  const std::uint32_t found = varnel::ParseEventHeader(text.c_str(), &id, &time);
  Require(found == 1 || (found == 0 && id == 0 && time == 0));
  std::uint32_t same_id = 0;
  std::uint64_t same_time = 0;
  Require(varnel::ParseEventHeader(text.c_str(), &same_id, &same_time) == found && same_id == id && same_time == time);
  const varnel::CrashEventRecord empty{};
  varnel::CrashEventRecord record{};
  varnel::ParseBugcheckData(text.c_str(), &record);
  Require(Same(record, empty) || text.find(u"Bugcheck") != std::u16string::npos ||
          text.find(u'&') != std::u16string::npos);
  varnel::CrashEventRecord again = record;
  varnel::ParseBugcheckData(text.c_str(), &again);
  Require(Same(again, record));
  return 0;
}
