#include "tests/support/fake_system.h"

#include <algorithm>
#include <cstdlib>
#include <cstring>
#include <string_view>
#include <utility>

#include "formats/guid_text.h"
#include "formats/text_encoding.h"
#include "tests/support/civil_time.h"
#include "tests/support/last_error.h"
#include "tests/support/names.h"

namespace varnel::testing {
namespace {

std::atomic<FakeSystem*> g_newest{nullptr};
thread_local int g_com_starts = 0;
thread_local std::uint32_t g_com_model = 0;

void PreciseTime(platform::FILETIME* time) {
  if (FakeSystem* const system = g_newest.load(); system != nullptr) *time = platform::ToFileTime(system->Now());
}

/// Copies with the NUL; the length, or the room needed when it does not fit.
std::uint32_t CopyOut(std::u16string_view text, char16_t* buffer, std::uint32_t capacity) {
  const auto length = static_cast<std::uint32_t>(text.size());
  if (length >= capacity) return length + 1;
  std::copy(text.begin(), text.end(), buffer);
  buffer[length] = 0;
  return length;
}

/// The result of a text conversion: how much was or would be written.
template <typename CharT>
std::int32_t ConvertOut(const std::basic_string<CharT>& text, CharT* buffer, std::int32_t capacity) {
  const auto length = static_cast<std::int32_t>(text.size());
  if (capacity == 0) return length;
  if (length > capacity) {
    FailWith(platform::kErrorInsufficientBuffer);
    return 0;
  }
  std::copy(text.begin(), text.end(), buffer);
  return length;
}

/// Text of a machine whose narrow code page gives each byte a character of its own.
std::u16string FromLatin1(std::string_view text) {
  std::u16string wide;
  for (const char c : text) wide.push_back(static_cast<unsigned char>(c));
  return wide;
}

std::string ToLatin1(std::u16string_view text) {
  std::string narrow;
  for (const char16_t c : text) narrow.push_back(c <= 0xFF ? static_cast<char>(c) : '?');
  return narrow;
}

/// The narrow code page is UTF-8, by each of its names.
bool IsConvertible(std::uint32_t code_page, std::int32_t length) {
  const bool known = code_page == platform::kCpAcp || code_page == platform::kCpUtf8;
  return (known && length != 0) || FailWith(platform::kErrorInvalidParameter);
}

struct Token : FakeObject {
  explicit Token(std::uint32_t asked) : access(asked) {}
  const std::uint32_t access;
};

std::u16string Lowered(std::u16string_view name) {
  std::u16string lowered(name);
  for (char16_t& c : lowered) {
    if (c >= u'A' && c <= u'Z') c = static_cast<char16_t>(c + 32);
  }
  return lowered;
}

template <typename CharT>
std::basic_string<CharT> TextOf(const CharT* text, std::int32_t length) {
  if (length >= 0) return {text, static_cast<std::size_t>(length)};
  std::basic_string<CharT> with_nul(text);
  with_nul.push_back(0);
  return with_nul;
}

}  // namespace

FakeSystem::FakeSystem(FakeHandles* handles, VirtualTime* time)
    : handles_(handles), time_(time), base_time_(FileTimeOf(2026, 2, 4, 1, 5, 7, 123)) {
  procedures["GetSystemTimePreciseAsFileTime"] = reinterpret_cast<platform::Procedure>(&PreciseTime);
  g_newest = this;
}

FakeSystem::~FakeSystem() {
  g_newest = nullptr;
}

void FakeSystem::SetTime(std::uint64_t file_time) {
  const std::uint64_t passed = time_->now_ms() * 10'000;
  const std::lock_guard lock(mutex_);
  base_time_ = file_time - passed;
}

std::uint64_t FakeSystem::Now() const {
  const std::uint64_t passed = time_->now_ms() * 10'000;
  const std::lock_guard lock(mutex_);
  return base_time_ + passed;
}

std::vector<std::string> FakeSystem::DebugLines() const {
  const std::lock_guard lock(mutex_);
  return debug_lines_;
}

std::string FakeSystem::DebugText() const {
  std::string all;
  for (const std::string& line : DebugLines()) all += line;
  return all;
}

void FakeSystem::ClearDebug() {
  const std::lock_guard lock(mutex_);
  debug_lines_.clear();
}

void FakeSystem::FailAllocation(unsigned nth, bool persistent) {
  const std::lock_guard lock(mutex_);
  failing_allocation_ = nth == 0 ? 0 : allocations_ + nth;
  failing_from_there_ = persistent;
}

bool FakeSystem::CloseHandle(platform::HANDLE handle) {
  return handles_->Close(handle) || FailWith(platform::kErrorInvalidHandle);
}

std::uint32_t FakeSystem::GetLastError() {
  return g_last_error;
}

void FakeSystem::SetLastError(std::uint32_t error) {
  g_last_error = error;
}

std::uint32_t FakeSystem::GetSystemDirectoryW(char16_t* buffer, std::uint32_t capacity) {
  return CopyOut(system_directory, buffer, capacity);
}

std::uint32_t FakeSystem::ExpandEnvironmentStringsW(const char16_t* source, char16_t* buffer, std::uint32_t capacity) {
  const std::u16string text(source);
  std::u16string out;
  for (std::size_t at = 0; at < text.size();) {
    const std::size_t end = text[at] == u'%' ? text.find(u'%', at + 1) : std::u16string::npos;
    const auto found =
        end == std::u16string::npos ? environment.end() : FindByName(environment, text.substr(at + 1, end - at - 1));
    if (found == environment.end()) {
      out.push_back(text[at++]);
    } else {
      out += found->second;
      at = end + 1;
    }
  }
  const auto needed = static_cast<std::uint32_t>(out.size() + 1);
  if (needed <= capacity) CopyOut(out, buffer, capacity);
  return needed;
}

std::uint32_t FakeSystem::GetEnvironmentVariableW(const char16_t* name, char16_t* buffer, std::uint32_t capacity) {
  const std::lock_guard lock(mutex_);
  const auto found = FindByName(environment, name);
  if (found != environment.end()) return CopyOut(found->second, buffer, capacity);
  FailWith(203);
  return 0;
}

bool FakeSystem::SetEnvironmentVariableW(const char16_t* name, const char16_t* value) {
  if (*name == 0 || std::u16string_view(name).find(u'=') != std::u16string_view::npos) {
    return FailWith(platform::kErrorInvalidParameter);
  }
  const std::lock_guard lock(mutex_);
  const auto found = FindByName(environment, name);
  if (found != environment.end()) environment.erase(found);
  if (value != nullptr) environment[name] = value;
  return true;
}

std::uint32_t FakeSystem::GetModuleFileNameW(platform::HMODULE module, char16_t* buffer, std::uint32_t capacity) {
  const std::lock_guard lock(mutex_);
  std::u16string path = host_path;
  if (module != nullptr) {
    const auto found = loaded_.find(reinterpret_cast<std::uintptr_t>(module));
    if (found == loaded_.end()) {
      FailWith(platform::kErrorModNotFound);
      return 0;
    }
    path = found->second;
  }
  if (path.size() < capacity) return CopyOut(path, buffer, capacity);
  if (capacity != 0) CopyOut(path.substr(0, capacity - 1), buffer, capacity);
  FailWith(platform::kErrorInsufficientBuffer);
  return capacity;
}

platform::HMODULE FakeSystem::LoadLibraryW(const char16_t* path) {
  const std::lock_guard lock(mutex_);
  const std::u16string name(path);
  if (!libraries.contains(name) && !libraries.contains(Lowered(name) + u".dll") && !libraries.contains(Lowered(name))) {
    FailWith(platform::kErrorModNotFound);
    return nullptr;
  }
  next_module_ += 0x10000;
  loaded_[next_module_] = path;
  return reinterpret_cast<platform::HMODULE>(next_module_);
}

platform::Procedure FakeSystem::GetProcAddress(platform::HMODULE module, const char* name) {
  const std::lock_guard lock(mutex_);
  const auto found = procedures.find(name);
  if (loaded_.contains(reinterpret_cast<std::uintptr_t>(module)) && found != procedures.end()) return found->second;
  FailWith(platform::kErrorProcNotFound);
  return nullptr;
}

bool FakeSystem::FreeLibrary(platform::HMODULE module) {
  const std::lock_guard lock(mutex_);
  return loaded_.erase(reinterpret_cast<std::uintptr_t>(module)) > 0 || FailWith(platform::kErrorModNotFound);
}

std::uint32_t FakeSystem::SetErrorMode(std::uint32_t mode) {
  const std::lock_guard lock(mutex_);
  return std::exchange(error_mode_, mode);
}

void FakeSystem::GetSystemTimeAsFileTime(platform::FILETIME* time) {
  *time = platform::ToFileTime(Now());
}

void FakeSystem::GetSystemTimePreciseAsFileTime(platform::FILETIME* time) {
  *time = platform::ToFileTime(Now());
}

bool FakeSystem::FileTimeToSystemTime(const platform::FILETIME* time, platform::SYSTEMTIME* result) {
  return CivilFromFileTime(platform::ToUint64(*time), result) || FailWith(platform::kErrorInvalidParameter);
}

bool FakeSystem::SystemTimeToFileTime(const platform::SYSTEMTIME* time, platform::FILETIME* result) {
  if (!IsCivilTime(*time)) return FailWith(platform::kErrorInvalidParameter);
  *result = platform::ToFileTime(FileTimeFromCivil(*time));
  return true;
}

bool FakeSystem::SystemTimeToTzSpecificLocalTime(const platform::TIME_ZONE_INFORMATION* zone,
                                                 const platform::SYSTEMTIME* universal, platform::SYSTEMTIME* local) {
  const std::int64_t bias = zone == nullptr ? zone_bias : zone->Bias + zone->StandardBias;
  if (!IsCivilTime(*universal)) return FailWith(platform::kErrorInvalidParameter);
  const std::uint64_t time = FileTimeFromCivil(*universal) - static_cast<std::uint64_t>(bias * 600'000'000);
  return CivilFromFileTime(time, local) || FailWith(platform::kErrorInvalidParameter);
}

void FakeSystem::GetLocalTime(platform::SYSTEMTIME* time) {
  CivilFromFileTime(Now() - static_cast<std::uint64_t>(std::int64_t{zone_bias} * 600'000'000), time);
}

std::int32_t FakeSystem::CoCreateGuid(GUID* guid) {
  const std::lock_guard lock(mutex_);
  *guid = GUID{next_guid_++, 0xFA4E, 0x4000, {0x80, 0, 0, 0, 0, 0, 0, 0}};
  return 0;
}

std::int32_t FakeSystem::StringFromGUID2(const GUID& guid, char16_t* buffer, std::int32_t capacity) {
  const std::string text = formats::FormatGuid(guid);
  if (capacity <= static_cast<std::int32_t>(text.size())) return 0;
  std::copy(text.begin(), text.end(), buffer);
  buffer[text.size()] = 0;
  return static_cast<std::int32_t>(text.size()) + 1;
}

std::uint32_t FakeSystem::GetCurrentThreadId() {
  static std::atomic<std::uint32_t> next{1000};
  thread_local const std::uint32_t id = next += 4;
  return id;
}

bool FakeSystem::OpenProcessToken(std::uint32_t access, platform::HANDLE* token) {
  *token = handles_->Add(std::make_shared<Token>(access));
  return true;
}

bool FakeSystem::GetTokenInformation(platform::HANDLE token, std::uint32_t information_class, void* information,
                                     std::uint32_t size, std::uint32_t* needed) {
  const auto opened = handles_->Get<Token>(token);
  if (opened == nullptr) return FailWith(platform::kErrorInvalidHandle);
  if ((opened->access & platform::kTokenQuery) == 0) return FailWith(platform::kErrorAccessDenied);
  if (information_class != platform::kTokenElevation) return FailWith(platform::kErrorInvalidParameter);
  const std::uint32_t answer = elevated ? 1 : 0;
  *needed = sizeof answer;
  if (size < sizeof answer) return FailWith(platform::kErrorInsufficientBuffer);
  std::memcpy(information, &answer, sizeof answer);
  return true;
}

std::int32_t FakeSystem::CoInitializeEx(std::uint32_t concurrency_model) {
  if (g_com_starts > 0 && concurrency_model != g_com_model) return static_cast<std::int32_t>(0x80010106);
  g_com_model = concurrency_model;
  return g_com_starts++ == 0 ? 0 : 1;
}

void FakeSystem::CoUninitialize() {
  if (g_com_starts > 0) --g_com_starts;
}

std::int32_t FakeSystem::MultiByteToWideChar(std::uint32_t code_page, std::uint32_t flags, const char* text,
                                             std::int32_t length, char16_t* buffer, std::int32_t capacity) {
  if (!IsConvertible(code_page, length)) return 0;
  const std::string source = TextOf(text, length);
  if ((flags & 8) != 0 && formats::ToValidUtf8(source) != source) {
    FailWith(platform::kErrorNoUnicodeTranslation);
    return 0;
  }
  const bool by_bytes = code_page == platform::kCpAcp && narrow_is_latin1;
  return ConvertOut(by_bytes ? FromLatin1(source) : formats::Utf8ToUtf16(source), buffer, capacity);
}

std::int32_t FakeSystem::WideCharToMultiByte(std::uint32_t code_page, std::uint32_t flags, const char16_t* text,
                                             std::int32_t length, char* buffer, std::int32_t capacity) {
  if (!IsConvertible(code_page, length)) return 0;
  const std::u16string source = TextOf(text, length);
  if (code_page == platform::kCpAcp && narrow_is_latin1) return ConvertOut(ToLatin1(source), buffer, capacity);
  const std::string converted = formats::Utf16ToUtf8(source);
  if ((flags & 0x80) != 0 && formats::Utf8ToUtf16(converted) != source) {
    FailWith(platform::kErrorNoUnicodeTranslation);
    return 0;
  }
  return ConvertOut(converted, buffer, capacity);
}

void FakeSystem::OutputDebugStringW(const char16_t* text) {
  const std::lock_guard lock(mutex_);
  debug_lines_.push_back(formats::Utf16ToUtf8(text));
}

void FakeSystem::OutputDebugStringA(const char* text) {
  const std::lock_guard lock(mutex_);
  debug_lines_.emplace_back(text);
}

void* FakeSystem::HeapAlloc(std::size_t size) {
  {
    const std::lock_guard lock(mutex_);
    ++allocations_;
    const bool fails = failing_allocation_ != 0 && (allocations_ == failing_allocation_ ||
                                                    (failing_from_there_ && allocations_ > failing_allocation_));
    if (fails) return nullptr;
  }
  void* const block = std::malloc(size == 0 ? 1 : size);
  if (block != nullptr) {
    ++heap_blocks_;
    std::memset(block, 0xCD, size);  // a reader of what was never written finds something else than zero
  }
  return block;
}

void FakeSystem::HeapFree(void* block) {
  if (block == nullptr) return;
  --heap_blocks_;
  std::free(block);
}

std::uint32_t FakeSystem::GuardedCall(platform::GuardedFunction function, void* parameter) {
  if (guard) return guard(function, parameter);
  function(parameter);
  return 0;
}

std::uint32_t FakeSystem::RtlDecompressBuffer(std::uint16_t format, void* out, std::uint32_t out_size, const void* in,
                                              std::uint32_t in_size, std::uint32_t* final_size) {
  return unpack ? unpack(format, out, out_size, in, in_size, final_size) : 0xC00000BB;
}

}  // namespace varnel::testing
