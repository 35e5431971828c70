#include "platform/windows/system_library.h"

namespace varnel::windows {

HMODULE LoadFromSystemFolder(const wchar_t* file_name) {
  return ::LoadLibraryExW(file_name, nullptr, LOAD_LIBRARY_SEARCH_SYSTEM32);
}

}  // namespace varnel::windows
