#include "platform/embedded/eventlog/evtx_frames.h"

#include <poll.h>
#include <sys/socket.h>
#include <unistd.h>

#include <array>
#include <cerrno>
#include <cstring>

namespace varnel::embedded::evtx {
namespace {

constexpr std::array<std::uint32_t, 256> MakeTable() {
  std::array<std::uint32_t, 256> table{};
  for (std::uint32_t i = 0; i < table.size(); ++i) {
    std::uint32_t value = i;
    for (int bit = 0; bit < 8; ++bit) value = (value >> 1) ^ ((value & 1) != 0 ? 0xEDB88320u : 0u);
    table[i] = value;
  }
  return table;
}
constexpr auto kTable = MakeTable();

/// @return false at the time-out.
bool WaitFor(int fd, short events, int timeout_ms) {
  pollfd entry{fd, events, 0};
  int ready = 0;
  do {
    ready = ::poll(&entry, 1, timeout_ms);
  } while (ready < 0 && errno == EINTR);
  return ready > 0;
}

Failure ReadBytes(int fd, int timeout_ms, char* into, std::size_t size) {
  while (size > 0) {
    if (!WaitFor(fd, POLLIN, timeout_ms)) return Failure::kTimeout;
    const ssize_t got = ::read(fd, into, size);
    if (got < 0 && (errno == EINTR || errno == EAGAIN)) continue;
    if (got <= 0) return Failure::kEnd;
    into += got;
    size -= static_cast<std::size_t>(got);
  }
  return Failure::kNone;
}

}  // namespace

std::uint32_t Crc32(std::string_view bytes) {
  std::uint32_t crc = ~std::uint32_t{0};
  for (const char byte : bytes) crc = (crc >> 8) ^ kTable[(crc ^ static_cast<unsigned char>(byte)) & 0xFF];
  return ~crc;
}

std::string Frame(Kind kind, std::string_view body) {
  const Header header{kMark, kind, static_cast<std::uint32_t>(body.size()), Crc32(body)};
  std::string frame(reinterpret_cast<const char*>(&header), sizeof header);
  frame += body;
  return frame;
}

Failure ReadMessage(int fd, int timeout_ms, Message* message) {
  Header header{};
  Failure failure = ReadBytes(fd, timeout_ms, reinterpret_cast<char*>(&header), sizeof header);
  if (failure != Failure::kNone) return failure;
  if (header.mark != kMark || header.size > kMaxMessageBytes) return Failure::kBroken;
  message->kind = header.kind;
  message->body.resize(header.size);
  failure = ReadBytes(fd, timeout_ms, message->body.data(), message->body.size());
  if (failure != Failure::kNone) return failure;
  return Crc32(message->body) == header.crc ? Failure::kNone : Failure::kBroken;
}

bool WriteBytes(int fd, int timeout_ms, std::string_view bytes) {
  while (!bytes.empty()) {
    if (!WaitFor(fd, POLLOUT, timeout_ms)) return false;
    ssize_t put = ::send(fd, bytes.data(), bytes.size(), MSG_NOSIGNAL | MSG_DONTWAIT);
    if (put < 0 && errno == ENOTSOCK) put = ::write(fd, bytes.data(), bytes.size());
    if (put < 0 && (errno == EINTR || errno == EAGAIN)) continue;
    if (put <= 0) return false;
    bytes.remove_prefix(static_cast<std::size_t>(put));
  }
  return true;
}

}  // namespace varnel::embedded::evtx
