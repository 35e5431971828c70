#include "provider/registration.h"

#include <fcntl.h>
#include <pthread.h>
#include <sys/mman.h>

#include <bit>
#include <cerrno>
#include <cstdlib>
#include <cstring>
#include <memory>
#include <set>

#include "platform/embedded/core/machine.h"
#include "platform/embedded/ring/ofd_lock.h"
#include "platform/embedded/ring/process_identity.h"
#include "platform/embedded/ring/session_store.h"

namespace varnel::provider {
namespace {

namespace ring = embedded::ring;
using ring::kPageSize;

/// All registrations of the process, for the handler that runs in a forked child.
std::mutex& AllMutex() {
  static auto* mutex = new std::mutex;
  return *mutex;
}
std::set<Registration*>& All() {
  static auto* all = new std::set<Registration*>;
  return *all;
}

std::uintptr_t PageOf(const varnel_registration* gate) noexcept {
  return reinterpret_cast<std::uintptr_t>(gate) & ~std::uintptr_t{kPageSize - 1};
}

/// Maps the entry's page of the table with a private page behind it. Null on failure, with errno.
std::byte* MapPages(const std::string& table, std::uint32_t entry) {
  const ring::UniqueFd fd(::open(table.c_str(), O_RDWR | O_CLOEXEC));
  if (!fd.valid()) return nullptr;
  void* both = ::mmap(nullptr, 2 * kPageSize, PROT_READ | PROT_WRITE, MAP_PRIVATE | MAP_ANONYMOUS, -1, 0);
  if (both == MAP_FAILED) return nullptr;
  void* page =
      ::mmap(both, kPageSize, PROT_READ, MAP_SHARED | MAP_FIXED, fd.get(), static_cast<off_t>(ring::EntryPage(entry)));
  if (page != MAP_FAILED) return static_cast<std::byte*>(both);
  ::munmap(both, 2 * kPageSize);
  return nullptr;
}

}  // namespace

int Registration::Create(const char* machine, const GUID& guid, varnel_registration** gate) {
  if (machine == nullptr) machine = std::getenv("VARNEL_MACHINE");
  if (machine == nullptr || *machine == '\0') return ENOENT;
  const auto opened = embedded::Machine::Open(machine);
  if (!opened.ok()) return ENOENT;
  const std::string folder = opened.value()->SessionsPath();
  std::optional<std::uint32_t> entry;
  const ring::SessionStore store(folder, embedded::HostBootId(), 0);
  errno = 0;
  if (!store.ChangeEnables([&](ring::EnableTable& table) { entry = table.FindOrAdd(guid); })) {
    return errno != 0 ? errno : EIO;
  }
  if (!entry) return ENOSPC;
  std::byte* pages = MapPages(folder + "/providers", *entry);
  if (pages == nullptr) return errno;
  static const int fork_handler =
      ::pthread_atfork([] { AllMutex().lock(); }, [] { AllMutex().unlock(); }, &Registration::AfterForkInChild);
  static_cast<void>(fork_handler);
  auto* made = new Registration(pages, *entry, guid, MachineSessions::Of(folder));
  std::memcpy(pages + kPageSize, &made, sizeof(Registration*));  // NOLINT(bugprone-sizeof-expression): the address
  const std::lock_guard lock(AllMutex());
  All().insert(made);
  *gate = reinterpret_cast<varnel_registration*>(pages + made->entry_in_page_);
  return 0;
}

Registration& Registration::From(varnel_registration* gate) noexcept {
  return *reinterpret_cast<Registration**>(PageOf(gate) + kPageSize)[0];
}

const Registration& Registration::From(const varnel_registration* gate) noexcept {
  return *reinterpret_cast<Registration* const*>(PageOf(gate) + kPageSize)[0];
}

Registration::Registration(std::byte* pages, std::uint32_t entry, const GUID& guid, MachineSessions& sessions)
    : pages_(pages), entry_in_page_(ring::EntryInPage(entry)), guid_(guid), sessions_(sessions) {}

Registration::~Registration() {
  {
    const std::lock_guard lock(AllMutex());
    All().erase(this);
  }
  ::munmap(pages_, 2 * kPageSize);
}

void Registration::Disable() noexcept {
  // The parent's threads hold locks that nobody in the child gives back: the gate reads 0 from here on.
  static_cast<void>(::mmap(pages_, kPageSize, PROT_READ, MAP_PRIVATE | MAP_ANONYMOUS | MAP_FIXED, -1, 0));
}

void Registration::AfterForkInChild() noexcept {
  ring::ForgetIdentityAfterFork();
  ForgetSessionsAfterFork();
  ring::ForgetLinesAfterFork();
  for (Registration* registration : All()) registration->Disable();
  AllMutex().unlock();
}

bool Registration::EnabledFor(std::uint8_t level, std::uint64_t keyword) const noexcept {
  const auto& entry = *reinterpret_cast<const ring::ProviderEntry*>(pages_ + entry_in_page_);
  for (std::uint32_t gate = entry.gate.load(std::memory_order_acquire) & 0xFF; gate != 0; gate &= gate - 1) {
    ring::Enable enable;
    if (ring::ReadEnable(entry, std::countr_zero(gate), &enable) && enable.Passes(level, keyword)) return true;
  }
  return false;
}

void Registration::ReserveAll(const varnel_event_descriptor& descriptor, std::uint32_t payload,
                              Reserved* out) noexcept {
  const auto& entry = *reinterpret_cast<const ring::ProviderEntry*>(pages_ + entry_in_page_);
  for (std::uint32_t gate = entry.gate.load(std::memory_order_acquire) & 0xFF; gate != 0; gate &= gate - 1) {
    ring::Enable enable;
    if (!ring::ReadEnable(entry, std::countr_zero(gate), &enable)) continue;
    if (!enable.Passes(descriptor.level, descriptor.keyword)) continue;
    ring::Session* session = ThreadSession(sessions_, enable.session);
    if (session == nullptr) continue;
    const std::uint32_t size = static_cast<std::uint32_t>(sizeof(formats::EtlEventHeaderFormat)) + payload;
    switch (ring::Reserve(session->map(), session->file(), size, &out->rooms[out->count])) {
      case ring::ReserveResult::kReserved:
        ++out->count;
        break;
      case ring::ReserveResult::kEnded:
        break;
      case ring::ReserveResult::kTooLarge:
        out->error = EMSGSIZE;
        break;
      case ring::ReserveResult::kNoRoom:
      case ring::ReserveResult::kNoLine:
        out->error = ENOBUFS;
        break;
    }
  }
}

int Registration::CommitAll(const varnel_event_descriptor& descriptor, std::span<const ring::Piece> pieces,
                            const Reserved& reserved) noexcept {
  if (reserved.count == 0) return reserved.error;
  formats::EtlEventHeaderFormat header{};
  header.thread_id = ring::CurrentThread();
  header.process_id = ring::CurrentProcess();
  header.provider_id = guid_;
  header.id = descriptor.id;
  header.version = descriptor.version;
  header.channel = descriptor.channel;
  header.level = descriptor.level;
  header.opcode = descriptor.opcode;
  header.task = descriptor.task;
  header.keyword = descriptor.keyword;
  int error = reserved.error;
  for (int i = 0; i < reserved.count; ++i) {
    if (!ring::Commit(reserved.rooms[i], header, pieces)) error = ENOBUFS;
  }
  return error;
}

int Registration::Write(const varnel_event_descriptor& descriptor, std::span<const ring::Piece> pieces,
                        std::uint32_t payload) noexcept {
  Reserved reserved;
  ReserveAll(descriptor, payload, &reserved);
  return CommitAll(descriptor, pieces, reserved);
}

int Registration::WriteCounted(int module, const varnel_event_descriptor& descriptor,
                               std::span<const ring::Piece> pieces, std::uint32_t payload,
                               std::uint32_t* counter) noexcept {
  Reserved reserved;
  {
    Module& state = modules_[static_cast<std::size_t>(module)];
    const std::lock_guard lock(state.mutex);
    *counter = state.next++;
    ReserveAll(descriptor, payload, &reserved);
  }
  return CommitAll(descriptor, pieces, reserved);
}

void Registration::SetCounter(int module, std::uint32_t next) noexcept {
  Module& state = modules_[static_cast<std::size_t>(module)];
  const std::lock_guard lock(state.mutex);
  state.next = next;
}

}  // namespace varnel::provider
