// A session's control file and the machine's enable table with foreign bytes in them: opened, looked at, written into,
// read and stopped. Input: records of a place (4 bytes, its top bit chooses the table), a length (1 byte) and bytes.
#include <fcntl.h>
#include <sys/stat.h>
#include <unistd.h>

#include <cstddef>
#include <cstdint>
#include <cstdio>
#include <cstdlib>
#include <cstring>
#include <filesystem>
#include <fstream>
#include <string>
#include <vector>

#include "formats/byte_cursor.h"
#include "platform/embedded/core/machine.h"
#include "platform/embedded/ring/event_writer.h"
#include "platform/embedded/ring/ring.h"
#include "platform/embedded/ring/session_store.h"
#include "platform/embedded/trace/machine_sessions.h"
#include "platform/embedded/trace/sequence_reader.h"

namespace {

namespace fs = std::filesystem;
namespace ring = varnel::embedded::ring;
using varnel::embedded::Machine;
using varnel::formats::ByteCursor;

std::vector<std::byte> Load(const std::string& path) {
  std::ifstream in(path, std::ios::binary);
  const std::string text((std::istreambuf_iterator<char>(in)), std::istreambuf_iterator<char>());
  std::vector<std::byte> bytes(text.size());
  std::memcpy(bytes.data(), text.data(), text.size());
  return bytes;
}

void Store(const std::string& path, const std::vector<std::byte>& bytes) {
  std::ofstream(path, std::ios::binary | std::ios::trunc)
      .write(reinterpret_cast<const char*>(bytes.data()), static_cast<std::streamsize>(bytes.size()));
}

/// A machine with one small session that holds a few events, and its files as they were then.
struct Template {
  Template() {
    std::string pattern = fs::temp_directory_path().string() + "/varnel-fuzz-XXXXXX";
    if (::mkdtemp(pattern.data()) == nullptr) std::abort();
    root = fs::canonical(pattern).string();
    machine = Machine::Create(root).value();
    ring::SessionParameters parameters;
    parameters.name = u"s";
    parameters.buffer_size_kb = 4;
    parameters.maximum_buffers = 4;
    parameters.log_file_mode = 0x10000101;
    parameters.host_path = root + "/C/s.etl";
    parameters.log_file_name = u"C:\\s.etl";
    ring::StartFailure failure;
    const auto session = Sessions().Start(parameters, &failure);
    if (!session) std::abort();
    for (int i = 0; i < 60; ++i) Write(*session);
    folder = session->folder();
    control = Load(folder + "/control");
    table = Load(TablePath());
    etl = Load(root + "/C/s.etl");
  }
  ~Template() { fs::remove_all(root); }

  ring::SessionStore Sessions() const { return {machine->SessionsPath(), varnel::embedded::HostBootId(), 1}; }
  std::string TablePath() const { return machine->SessionsPath() + "/providers"; }
  static void Write(ring::Session& session) {
    ring::Reservation room;
    if (ring::Reserve(session.map(), session.file(), 100, &room) != ring::ReserveResult::kReserved) return;
    const char text[20] = "nineteen characters";
    const ring::Piece piece = {text, sizeof text};
    ring::Commit(room, {}, {&piece, 1});
  }

  std::string root;
  std::shared_ptr<Machine> machine;
  std::string folder;
  std::vector<std::byte> control;
  std::vector<std::byte> table;
  std::vector<std::byte> etl;
};

void Apply(ByteCursor input, std::vector<std::byte>* control, std::vector<std::byte>* table) {
  std::uint32_t place;
  std::uint8_t length;
  std::span<const std::byte> bytes;
  while (input.Read(&place) && input.Read(&length) &&
         input.Take(std::min<std::size_t>(length, input.remaining()), &bytes)) {
    auto& target = (place >> 31) != 0 ? *table : *control;
    const std::size_t at = (place & 0x7FFFFFFF) % target.size();
    const std::size_t count = std::min(bytes.size(), target.size() - at);
    if (count != 0) std::memcpy(target.data() + at, bytes.data(), count);
  }
}

void Use(const Template& made) {
  for (const auto& summary : varnel::embedded::ListSessions(*made.machine)) static_cast<void>(summary);
  made.Sessions().IsFileInUse(1, 2);
  const auto opened = ring::Session::Open(made.folder);
  if (!opened.ok()) return;
  const auto& session = opened.value();
  session->Tend(ring::SessionFile::Wait::kNo);
  for (int i = 0; i < 40; ++i) Template::Write(*session);
  session->Flush();
  varnel::embedded::SequenceReader reader(session);
  const std::uint64_t open = session->map()->open().sequence;
  for (std::uint64_t back = 0; back < 6; ++back) {
    reader.Read(open - back, varnel::embedded::SequenceReader::From::kRingFirst);
    reader.Read(open - back, varnel::embedded::SequenceReader::From::kFileOnly);
  }
  reader.NextAvailable(0, open, varnel::embedded::SequenceReader::From::kRingFirst);
}

}  // namespace

extern "C" int LLVMFuzzerTestOneInput(const std::uint8_t* data, std::size_t size) {
  static const Template made;
  auto control = made.control;
  auto table = made.table;
  Apply(ByteCursor({reinterpret_cast<const std::byte*>(data), size}), &control, &table);
  fs::create_directories(made.folder);
  Store(made.folder + "/control", control);
  ::close(::open((made.folder + "/lock").c_str(), O_RDWR | O_CREAT, 0666));
  Store(made.TablePath(), table);
  // The file keeps its inode, by which the control page knows it.
  {
    std::fstream file(made.root + "/C/s.etl", std::ios::in | std::ios::out | std::ios::binary);
    file.write(reinterpret_cast<const char*>(made.etl.data()), static_cast<std::streamsize>(made.etl.size()));
  }
  if (::truncate((made.root + "/C/s.etl").c_str(), static_cast<off_t>(made.etl.size())) != 0) std::abort();
  Use(made);
  made.Sessions().StopAll();
  return 0;
}
