#include "platform/embedded/system/embedded_system.h"

#include <sys/random.h>
#include <unistd.h>

#include <algorithm>
#include <atomic>
#include <cstdio>
#include <cstdlib>
#include <cstring>
#include <span>

#include "formats/guid_text.h"
#include "formats/text_encoding.h"
#include "platform/embedded/core/handle_table.h"
#include "platform/embedded/core/wide_buffer.h"
#include "platform/embedded/system/guarded_call.h"
#include "platform/embedded/system/text_conversion.h"
#include "platform/embedded/system/time_conversion.h"
#include "platform/unpack.h"

namespace varnel::embedded {
namespace {

using platform::FILETIME;
using platform::HANDLE;
using platform::HMODULE;
using platform::SYSTEMTIME;

constexpr std::uint32_t kErrorEnvironmentVariableNotFound = 203;
constexpr std::uint32_t kStatusInvalidParameter = 0xC000000D;
constexpr std::uint32_t kStatusBadCompressionBuffer = 0xC0000242;
constexpr std::uint32_t kStatusUnsupportedCompression = 0xC000025F;
constexpr std::int32_t kFail = static_cast<std::int32_t>(0x80004005);
constexpr std::int32_t kChangedMode = static_cast<std::int32_t>(0x80010106);

std::u16string ImageFromHost() {
  const char* text = std::getenv("VARNEL_HOST_IMAGE");
  if (text != nullptr && *text != '\0') return formats::Utf8ToUtf16(text);
  return u"C:\\Program Files\\Varnel\\Host\\wardlet.exe";
}

DebugSink DefaultSink() {
  const char* where = std::getenv("VARNEL_DEBUG_OUTPUT");
  if (where == nullptr || std::string_view(where) != "stderr") return {};
  return [](std::string_view text) { std::fwrite(text.data(), 1, text.size(), stderr); };
}

/// The process's sink, shared so that one that is being replaced lives until its last caller has left it.
class DebugOutput {
 public:
  DebugOutput() { Set({}); }
  void Set(DebugSink sink) {
    auto shared = std::make_shared<const DebugSink>(sink ? std::move(sink) : DefaultSink());
    std::lock_guard lock(mutex_);
    sink_ = std::move(shared);
  }
  std::shared_ptr<const DebugSink> sink() const {
    std::lock_guard lock(mutex_);
    return sink_;
  }

 private:
  mutable std::mutex mutex_;
  std::shared_ptr<const DebugSink> sink_;  // guarded by mutex_
};

DebugOutput& Output() {
  static DebugOutput* const output = new DebugOutput;  // never destroyed: exit handlers may still write
  return *output;
}

/// COM's start-up of one thread.
struct ComState {
  std::uint32_t count = 0;
  std::uint32_t model = 0;
};
thread_local ComState t_com;

/// The process's token: there is one, so it holds nothing.
class TokenObject : public Object {
 public:
  TokenObject() : Object(Kind::kOther) {}
};

void SystemTimePrecise(FILETIME* time) {
  *time = platform::ToFileTime(FileTimeNow());
}

}  // namespace

void SetDebugSink(DebugSink sink) {
  Output().Set(std::move(sink));
}

EmbeddedSystem::EmbeddedSystem(std::shared_ptr<const Machine> machine, Environment* environment)
    : environment_(environment), libraries_(std::move(machine)), host_image_(ImageFromHost()) {
  libraries_.AddProcedure(u"kernel32.dll", "GetSystemTimePreciseAsFileTime",
                          reinterpret_cast<platform::Procedure>(&SystemTimePrecise));
}

void EmbeddedSystem::SetHostImage(std::u16string path) {
  std::lock_guard lock(mutex_);
  host_image_ = std::move(path);
}

std::u16string EmbeddedSystem::HostImage() const {
  std::lock_guard lock(mutex_);
  return host_image_;
}

bool EmbeddedSystem::CloseHandle(HANDLE handle) {
  const auto object = Handles().Find(handle);
  if (!object) return Fail(platform::kErrorInvalidHandle);
  switch (object->kind()) {
    case Object::Kind::kEvent:
    case Object::Kind::kThread:
    case Object::Kind::kFile:
    case Object::Kind::kOther:
      return Handles().Remove(handle) != nullptr || Fail(platform::kErrorInvalidHandle);
    default:
      return Fail(platform::kErrorInvalidHandle);  // these have a call of their own
  }
}

std::uint32_t EmbeddedSystem::GetLastError() {
  return LastError();
}

void EmbeddedSystem::SetLastError(std::uint32_t error) {
  embedded::SetLastError(error);
}

std::uint32_t EmbeddedSystem::GetSystemDirectoryW(char16_t* buffer, std::uint32_t capacity) {
  return CopyOrTellSize(u"C:\\Windows\\System32", buffer, capacity);
}

std::uint32_t EmbeddedSystem::ExpandEnvironmentStringsW(const char16_t* source, char16_t* buffer,
                                                        std::uint32_t capacity) {
  if (source == nullptr) return Fail(platform::kErrorInvalidParameter);
  const std::u16string text = environment_->Expand(source);
  CopyOrTellSize(text, buffer, capacity);
  return static_cast<std::uint32_t>(text.size()) + 1;
}

std::uint32_t EmbeddedSystem::GetEnvironmentVariableW(const char16_t* name, char16_t* buffer, std::uint32_t capacity) {
  const auto value = environment_->Get(ViewOf(name));
  if (!value) return Fail(kErrorEnvironmentVariableNotFound);
  if (value->empty()) embedded::SetLastError(platform::kErrorSuccess);  // tells it from a variable that is not there
  return CopyOrTellSize(*value, buffer, capacity);
}

bool EmbeddedSystem::SetEnvironmentVariableW(const char16_t* name, const char16_t* value) {
  const std::u16string_view key = ViewOf(name);
  if (key.empty() || key.find(u'=') != std::u16string_view::npos) return Fail(platform::kErrorInvalidParameter);
  if (value == nullptr) return environment_->Remove(key) || Fail(kErrorEnvironmentVariableNotFound);
  environment_->Set(key, value);
  return true;
}

std::uint32_t EmbeddedSystem::GetModuleFileNameW(HMODULE module, char16_t* buffer, std::uint32_t capacity) {
  const std::u16string path = module == nullptr ? HostImage() : libraries_.PathOf(module);
  if (path.empty()) return Fail(platform::kErrorModNotFound);
  if (CopyOrTellSize(path, buffer, capacity) == path.size()) return static_cast<std::uint32_t>(path.size());
  embedded::SetLastError(platform::kErrorInsufficientBuffer);
  if (buffer == nullptr || capacity == 0) return 0;
  CopyOrTellSize(std::u16string_view(path).substr(0, capacity - 1), buffer, capacity);
  return capacity;
}

HMODULE EmbeddedSystem::LoadLibraryW(const char16_t* path) {
  const std::u16string image = HostImage();
  return libraries_.Load(ViewOf(path), image.substr(0, image.find_last_of(u'\\')));
}

platform::Procedure EmbeddedSystem::GetProcAddress(HMODULE module, const char* name) {
  return libraries_.Find(module, name == nullptr ? "" : name);
}

bool EmbeddedSystem::FreeLibrary(HMODULE module) {
  return libraries_.Free(module);
}

std::uint32_t EmbeddedSystem::SetErrorMode(std::uint32_t mode) {
  static std::atomic<std::uint32_t> current{0};
  return current.exchange(mode);
}

void EmbeddedSystem::GetSystemTimeAsFileTime(FILETIME* time) {
  SystemTimePrecise(time);
}

void EmbeddedSystem::GetSystemTimePreciseAsFileTime(FILETIME* time) {
  SystemTimePrecise(time);
}

bool EmbeddedSystem::FileTimeToSystemTime(const FILETIME* time, SYSTEMTIME* result) {
  return BreakDown(platform::ToUint64(*time), result) || Fail(platform::kErrorInvalidParameter);
}

bool EmbeddedSystem::SystemTimeToFileTime(const SYSTEMTIME* time, FILETIME* result) {
  std::uint64_t value = 0;
  if (!Compose(*time, &value)) return Fail(platform::kErrorInvalidParameter);
  *result = platform::ToFileTime(value);
  return true;
}

bool EmbeddedSystem::SystemTimeToTzSpecificLocalTime(const platform::TIME_ZONE_INFORMATION* zone,
                                                     const SYSTEMTIME* universal, SYSTEMTIME* local) {
  constexpr platform::TIME_ZONE_INFORMATION kMachineZone{};  // UTC
  return ToLocal(zone == nullptr ? kMachineZone : *zone, *universal, local) || Fail(platform::kErrorInvalidParameter);
}

void EmbeddedSystem::GetLocalTime(SYSTEMTIME* time) {
  BreakDown(FileTimeNow(), time);  // the machine's zone is UTC
}

std::int32_t EmbeddedSystem::CoCreateGuid(GUID* guid) {
  if (::getrandom(guid, sizeof *guid, 0) != static_cast<ssize_t>(sizeof *guid)) return kFail;
  guid->Data3 = static_cast<std::uint16_t>((guid->Data3 & 0x0FFF) | 0x4000);  // made from random numbers
  guid->Data4[0] = static_cast<std::uint8_t>((guid->Data4[0] & 0x3F) | 0x80);
  return 0;
}

std::int32_t EmbeddedSystem::StringFromGUID2(const GUID& guid, char16_t* buffer, std::int32_t capacity) {
  const std::string text = formats::FormatGuid(guid);
  if (buffer == nullptr || capacity <= static_cast<std::int32_t>(text.size())) return 0;
  std::copy(text.begin(), text.end(), buffer);
  buffer[text.size()] = u'\0';
  return static_cast<std::int32_t>(text.size()) + 1;
}

std::uint32_t EmbeddedSystem::GetCurrentProcessId() {
  return static_cast<std::uint32_t>(::getpid());
}

std::uint32_t EmbeddedSystem::GetCurrentThreadId() {
  return static_cast<std::uint32_t>(::gettid());
}

bool EmbeddedSystem::OpenProcessToken(std::uint32_t, HANDLE* token) {
  *token = Handles().Insert(std::make_shared<TokenObject>());
  return *token != nullptr;
}

bool EmbeddedSystem::GetTokenInformation(HANDLE token, std::uint32_t information_class, void* information,
                                         std::uint32_t size, std::uint32_t* needed) {
  const auto object = Handles().Find(token);
  if (dynamic_cast<const TokenObject*>(object.get()) == nullptr) return Fail(platform::kErrorInvalidHandle);
  if (information_class != platform::kTokenElevation) return Fail(platform::kErrorInvalidParameter);
  // Whoever may use the machine's folder is its administrator.
  constexpr std::uint32_t kElevated = 1;
  *needed = sizeof kElevated;
  if (size < sizeof kElevated) return Fail(platform::kErrorInsufficientBuffer);
  std::memcpy(information, &kElevated, sizeof kElevated);
  return true;
}

std::int32_t EmbeddedSystem::CoInitializeEx(std::uint32_t concurrency_model) {
  constexpr std::uint32_t kApartment = 2;
  if (t_com.count != 0 && ((t_com.model ^ concurrency_model) & kApartment) != 0) return kChangedMode;
  t_com.model = concurrency_model;
  return t_com.count++ == 0 ? 0 : 1;
}

void EmbeddedSystem::CoUninitialize() {
  if (t_com.count != 0) --t_com.count;
}

std::int32_t EmbeddedSystem::MultiByteToWideChar(std::uint32_t code_page, std::uint32_t flags, const char* text,
                                                 std::int32_t length, char16_t* buffer, std::int32_t capacity) {
  return Utf8ToWide(code_page, flags, text, length, buffer, capacity);
}

std::int32_t EmbeddedSystem::WideCharToMultiByte(std::uint32_t code_page, std::uint32_t flags, const char16_t* text,
                                                 std::int32_t length, char* buffer, std::int32_t capacity) {
  return WideToUtf8(code_page, flags, text, length, buffer, capacity);
}

void EmbeddedSystem::OutputDebugStringW(const char16_t* text) {
  const auto sink = Output().sink();
  if (*sink && text != nullptr) (*sink)(formats::Utf16ToUtf8(text));
}

void EmbeddedSystem::OutputDebugStringA(const char* text) {
  const auto sink = Output().sink();
  if (*sink && text != nullptr) (*sink)(text);
}

void* EmbeddedSystem::HeapAlloc(std::size_t size) {
  void* const block = std::malloc(size == 0 ? 1 : size);
  if (block == nullptr) embedded::SetLastError(platform::kErrorNotEnoughMemory);
  return block;
}

void EmbeddedSystem::HeapFree(void* block) {
  std::free(block);
}

std::uint32_t EmbeddedSystem::GuardedCall(platform::GuardedFunction function, void* parameter) {
  return RunGuarded(function, parameter);
}

std::uint32_t EmbeddedSystem::RtlDecompressBuffer(std::uint16_t format, void* out, std::uint32_t out_size,
                                                  const void* in, std::uint32_t in_size, std::uint32_t* final_size) {
  if (format < 2) return kStatusInvalidParameter;
  if (format > 4) return kStatusUnsupportedCompression;
  const auto size = platform::UnpackUpTo(format, {static_cast<const std::byte*>(in), in_size},
                                         {static_cast<std::byte*>(out), out_size});
  if (!size) return kStatusBadCompressionBuffer;
  *final_size = static_cast<std::uint32_t>(*size);
  return 0;
}

bool EmbeddedSystem::DisableThreadLibraryCalls(HMODULE) {
  return true;
}

}  // namespace varnel::embedded
