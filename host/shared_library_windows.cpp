#define WIN32_LEAN_AND_MEAN
#include <windows.h>

#include <filesystem>
#include <system_error>

#include "host/error_text.h"
#include "host/path_text.h"
#include "host/shared_library.h"

namespace varnel::host {

namespace fs = std::filesystem;

const char* const kModulePlaces[3] = {"VarnelWardlet.dll", "../Wardlet/VarnelWardlet.dll", "../tool/VarnelWardlet.dll"};

formats::Result<void*> OpenLibrary(const std::string& path) {
  std::error_code error;
  const fs::path given = PathOf(path);
  // A bare name stands for a file beside the program, never for one in whatever folder the user is in.
  const fs::path full = given.has_parent_path() ? fs::absolute(given, error) : PathOf(ProgramFolder()) / given;
  if (error) return formats::Error{path + ": " + ErrorText(error)};
  HMODULE library = ::LoadLibraryExW(full.c_str(), nullptr, LOAD_LIBRARY_SEARCH_SYSTEM32);
  if (library != nullptr) return static_cast<void*>(library);
  const auto code = static_cast<int>(::GetLastError());
  return formats::Error{path + ": " + ErrorText({code, std::system_category()}) + " (" + std::to_string(code) + ")"};
}

void* FindExport(void* library, const char* name) {
  return reinterpret_cast<void*>(::GetProcAddress(static_cast<HMODULE>(library), name));
}

void CloseLibrary(void* library) {
  ::FreeLibrary(static_cast<HMODULE>(library));
}

std::string ProgramFolder() {
  std::wstring path(32768, L'\0');  // the longest path that there is
  path.resize(::GetModuleFileNameW(nullptr, path.data(), static_cast<DWORD>(path.size())));
  return TextOf(fs::path(path).parent_path());
}

}  // namespace varnel::host
