#include "platform/embedded/tools/autologger.h"

#include <cstdio>
#include <cstring>
#include <optional>

#include "formats/guid_text.h"
#include "formats/text_encoding.h"
#include "platform/embedded/core/environment.h"
#include "platform/embedded/tools/open_key.h"

namespace varnel::embedded {
namespace {

using namespace platform;

constexpr char16_t kAutoLoggers[] = u"SYSTEM\\CurrentControlSet\\Control\\WMI\\Autologger";
constexpr char16_t kLogFolder[] = u"%SystemRoot%\\System32\\LogFiles\\WMI\\";

constexpr std::uint32_t kRealTimeMode = 0x100;
constexpr std::uint32_t kBufferingMode = 0x400;

std::optional<GUID> GuidOf(const std::u16string& text) {
  return formats::ParseGuid(formats::Utf16ToUtf8(text));
}

// The next number of the log file, written back; nothing where the files are not counted.
std::optional<std::uint32_t> NextFileNumber(const OpenKey& key) {
  const std::uint32_t largest = key.Number(u"FileMax").value_or(0);
  if (largest == 0) return std::nullopt;
  const std::uint32_t last = key.Number(u"FileCounter").value_or(0);
  const std::uint32_t next = last >= largest ? 1 : last + 1;
  key.SetNumber(u"FileCounter", next);
  return next;
}

std::u16string LogFile(const OpenKey& key, const AutoLogger& session) {
  auto path = key.Text(u"FileName");
  if (!path || path->empty()) {
    // Without a name of its own a session in memory has no file; any other has one of the session's name.
    if ((session.log_file_mode & (kRealTimeMode | kBufferingMode)) != 0) return u"";
    path = kLogFolder + session.name + u".etl";
  }
  const auto number = NextFileNumber(key);
  if (!number) return Environment().Expand(*path);
  char ending[16];
  std::snprintf(ending, sizeof ending, ".%03u", *number);
  return Environment().Expand(*path) + formats::Utf8ToUtf16(ending);
}

std::vector<AutoLoggerProvider> Providers(const OpenKey& session) {
  std::vector<AutoLoggerProvider> providers;
  for (const std::u16string& name : session.SubKeys()) {
    const auto guid = GuidOf(name);
    const OpenKey key = session.Open(name, kKeyRead);
    if (!guid || !key.is_open() || key.Number(u"Enabled").value_or(1) == 0) continue;
    AutoLoggerProvider provider;
    provider.guid = *guid;
    provider.level = static_cast<std::uint8_t>(key.Number(u"EnableLevel").value_or(0));
    provider.match_any_keyword = key.LongNumber(u"MatchAnyKeyword").value_or(0);
    provider.match_all_keyword = key.LongNumber(u"MatchAllKeyword").value_or(0);
    provider.enable_property = key.Number(u"EnableProperty").value_or(0);
    providers.push_back(provider);
  }
  return providers;
}

// False when the key lacks what a session must have.
bool ReadSession(const OpenKey& key, AutoLogger* session) {
  const auto guid = GuidOf(key.Text(u"Guid").value_or(u""));
  if (!guid) return false;
  session->guid = *guid;
  session->buffer_size_kb = key.Number(u"BufferSize").value_or(session->buffer_size_kb);
  session->minimum_buffers = key.Number(u"MinimumBuffers").value_or(session->minimum_buffers);
  session->maximum_buffers = key.Number(u"MaximumBuffers").value_or(session->maximum_buffers);
  session->log_file_mode = key.Number(u"LogFileMode").value_or(session->log_file_mode);
  session->clock_type = key.Number(u"ClockType").value_or(session->clock_type);
  session->maximum_file_size_mb = key.Number(u"MaxFileSize").value_or(session->maximum_file_size_mb);
  session->flush_timer_s = key.Number(u"FlushTimer").value_or(session->flush_timer_s);
  session->log_file = LogFile(key, *session);
  session->providers = Providers(key);
  return true;
}

}  // namespace

std::vector<AutoLoggerResult> StartAutoLoggers(Registry& registry, const StartSession& start) {
  std::vector<AutoLoggerResult> results;
  const OpenKey all = OpenKey::Of(registry, kHkeyLocalMachine, kAutoLoggers, kKeyRead);
  for (const std::u16string& name : all.SubKeys()) {
    const OpenKey key = all.Open(name, kKeyRead | kKeyWrite);
    if (!key.is_open() || key.Number(u"Start").value_or(0) != 1) continue;
    AutoLogger session;
    session.name = name;
    const std::uint32_t result = ReadSession(key, &session) ? start(session) : kErrorInvalidParameter;
    key.SetNumber(u"Status", result);
    results.push_back({name, session.log_file, result});
  }
  return results;
}

}  // namespace varnel::embedded
