#include <windows.h>

#include <cstdint>
#include <string_view>

#include "tests/faults/page_memory.h"

namespace varnel::testing {
namespace {

bool (*g_is_watched)(const void*) = nullptr;
int g_exit_code = 0;

LONG CALLBACK OnFault(EXCEPTION_POINTERS* pointers) {
  const EXCEPTION_RECORD& record = *pointers->ExceptionRecord;
  if (record.ExceptionCode != EXCEPTION_ACCESS_VIOLATION || record.NumberParameters < 2)
    return EXCEPTION_CONTINUE_SEARCH;
  if (!g_is_watched(reinterpret_cast<const void*>(static_cast<std::uintptr_t>(record.ExceptionInformation[1])))) {
    return EXCEPTION_CONTINUE_SEARCH;
  }
  constexpr std::string_view kText = "uses freed memory\n";
  DWORD written = 0;
  ::WriteFile(::GetStdHandle(STD_ERROR_HANDLE), kText.data(), static_cast<DWORD>(kText.size()), &written, nullptr);
  ::TerminateProcess(::GetCurrentProcess(), static_cast<UINT>(g_exit_code));
  return EXCEPTION_CONTINUE_SEARCH;
}

}  // namespace

void* MapPage(std::size_t size) {
  return ::VirtualAlloc(nullptr, size, MEM_RESERVE | MEM_COMMIT, PAGE_READWRITE);
}

void ClosePage(void* page, std::size_t size) {
  DWORD before = 0;
  ::VirtualProtect(page, size, PAGE_NOACCESS, &before);
}

void EndAtFaultOn(bool (*is_watched)(const void* address), int exit_code) {
  g_is_watched = is_watched;
  g_exit_code = exit_code;
  ::AddVectoredExceptionHandler(1, OnFault);
}

}  // namespace varnel::testing
