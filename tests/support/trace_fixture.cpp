#include "tests/support/trace_fixture.h"

#include <sys/wait.h>
#include <unistd.h>

#include <cstdio>
#include <cstdlib>
#include <cstring>
#include <filesystem>
#include <fstream>
#include <iterator>

#include "formats/etl_reader.h"
#include "platform/embedded/ring/event_writer.h"

namespace varnel::testing {
namespace {

namespace fs = std::filesystem;

template <typename T>
T NumberAt(const std::vector<std::byte>& bytes, std::size_t offset) {
  T value = static_cast<T>(~T{0});
  if (offset + sizeof value <= bytes.size()) std::memcpy(&value, bytes.data() + offset, sizeof value);
  return value;
}

[[noreturn]] void Die(const std::string& why) {
  std::fprintf(stderr, "trace fixture: %s\n", why.c_str());
  std::abort();
}

std::vector<std::byte> Bytes(const std::string& path) {
  std::ifstream in(path, std::ios::binary);
  const std::string text((std::istreambuf_iterator<char>(in)), std::istreambuf_iterator<char>());
  std::vector<std::byte> bytes(text.size());
  if (!text.empty()) std::memcpy(bytes.data(), text.data(), text.size());
  return bytes;
}

ReadEvent Plain(const formats::EtlEventView& view) {
  ReadEvent event;
  event.provider = view.provider;
  event.id = view.id;
  event.keyword = view.keyword;
  event.process = view.process_id;
  event.thread = view.thread_id;
  event.stamp = view.stamp;
  event.file_time = view.file_time;
  event.payload.assign(view.payload.begin(), view.payload.end());
  return event;
}

}  // namespace

std::uint32_t ReadEvent::U32(std::size_t offset) const {
  return NumberAt<std::uint32_t>(payload, offset);
}

std::uint64_t ReadEvent::U64(std::size_t offset) const {
  return NumberAt<std::uint64_t>(payload, offset);
}

ReadFile ReadTraceFile(const std::string& path) {
  ReadFile file;
  const auto bytes = Bytes(path);
  formats::EtlMemorySource source(bytes);
  const auto reader = formats::EtlReader::Open(source, {});
  if (!reader.ok()) return file;
  const auto& header = reader.value()->header();
  file.ok = true;
  file.buffers_written = header.buffers_written;
  file.events_lost = header.events_lost;
  file.buffers_lost = header.buffers_lost;
  file.end_time = header.end_time;
  file.start_time = header.start_time;
  file.size = bytes.size();
  for (const auto& entry : reader.value()->index().entries) {
    if (entry.info.sequence != 0) file.sequences.push_back(entry.info.sequence);
  }
  while (const auto* view = reader.value()->Next()) {
    if (view->kind == formats::EtlEventKind::kEvent) file.events.push_back(Plain(*view));
  }
  file.skipped_bytes = reader.value()->account().skipped_bytes;
  return file;
}

TraceMachine::TraceMachine(const std::string& parent) {
  std::string pattern = (parent.empty() ? fs::temp_directory_path().string() : parent) + "/varnel-trace-XXXXXX";
  if (::mkdtemp(pattern.data()) == nullptr) Die("no temporary folder");
  root_ = pattern;
  auto machine = embedded::Machine::Create(root_);
  if (!machine.ok()) Die(machine.error().message);
  machine_ = std::move(machine).value();
}

TraceMachine::~TraceMachine() {
  std::error_code ignored;
  fs::remove_all(root_, ignored);
}

embedded::ring::SessionStore TraceMachine::Store() const {
  return {machine_->SessionsPath(), embedded::HostBootId(), 1};
}

embedded::ring::SessionParameters TraceMachine::Parameters(const std::string& name) const {
  embedded::ring::SessionParameters parameters;
  parameters.name.assign(name.begin(), name.end());
  parameters.buffer_size_kb = 4;
  parameters.maximum_buffers = 8;
  parameters.log_file_mode = 0x10000001;
  parameters.host_path = FilePath(name + ".etl");
  const std::string windows = "C:\\" + name + ".etl";
  parameters.log_file_name.assign(windows.begin(), windows.end());
  return parameters;
}

std::shared_ptr<embedded::ring::Session> TraceMachine::Start(
    const embedded::ring::SessionParameters& parameters) const {
  embedded::ring::StartFailure failure;
  auto session = Store().Start(parameters, &failure);
  if (!session) Die("session did not start: " + std::to_string(static_cast<int>(failure)));
  return session;
}

void TraceMachine::Enable(const embedded::ring::Session& session, const ::GUID& provider) const {
  Store().ChangeEnables([&](embedded::ring::EnableTable& table) {
    const auto entry = table.FindOrAdd(provider);
    if (!entry || !table.Set(*entry, {session.id(), 5, ~std::uint64_t{0}, 0})) Die("enable failed");
  });
}

bool WriteNumbers(embedded::ring::Session& session, std::uint32_t writer, std::uint32_t number, std::uint32_t filler) {
  namespace ring = embedded::ring;
  const std::uint32_t numbers[2] = {writer, number};
  const std::vector<std::byte> rest(filler, std::byte{0x5A});
  const ring::Piece pieces[] = {{numbers, sizeof numbers}, {rest.data(), filler}};
  ring::Reservation room;
  const std::uint32_t size = sizeof(formats::EtlEventHeaderFormat) + sizeof numbers + filler;
  if (ring::Reserve(session.map(), session.file(), size, &room) != ring::ReserveResult::kReserved) return false;
  formats::EtlEventHeaderFormat header{};
  header.provider_id = kTestProvider;
  header.process_id = ring::CurrentProcess();
  header.thread_id = ring::CurrentThread();
  return ring::Commit(room, header, pieces);
}

int WaitForEnd(pid_t child) {
  int status = 0;
  if (::waitpid(child, &status, 0) != child) Die("no such child");
  return status;
}

void WaitUntilStopped(pid_t child) {
  int status = 0;
  if (::waitpid(child, &status, WUNTRACED) != child || !WIFSTOPPED(status)) Die("the child did not stop");
}

}  // namespace varnel::testing
