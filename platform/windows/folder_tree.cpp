#include "platform/windows/folder_tree.h"

#include <string>

#include "platform/windows/border.h"

namespace varnel::windows {
namespace {

bool IsAbsent(DWORD error) {
  return error == ERROR_FILE_NOT_FOUND || error == ERROR_PATH_NOT_FOUND;
}

DWORD CreateWithParents(const std::wstring& path) {
  if (::CreateDirectoryW(path.c_str(), nullptr) != 0) return ERROR_SUCCESS;
  const DWORD error = ::GetLastError();
  if (error == ERROR_ALREADY_EXISTS) {
    const DWORD attributes = ::GetFileAttributesW(path.c_str());
    const bool is_folder = attributes != INVALID_FILE_ATTRIBUTES && (attributes & FILE_ATTRIBUTE_DIRECTORY) != 0;
    return is_folder ? ERROR_SUCCESS : error;
  }
  const std::size_t separator = path.find_last_of(L"\\/");
  if (error != ERROR_PATH_NOT_FOUND || separator == std::wstring::npos || separator == 0) return error;
  const DWORD above = CreateWithParents(path.substr(0, separator));
  if (above != ERROR_SUCCESS) return above;
  return ::CreateDirectoryW(path.c_str(), nullptr) != 0 || ::GetLastError() == ERROR_ALREADY_EXISTS
             ? DWORD{ERROR_SUCCESS}
             : ::GetLastError();
}

DWORD RemoveFolder(const std::wstring& path);

DWORD RemoveEntry(const std::wstring& folder, const ::WIN32_FIND_DATAW& entry) {
  const std::wstring name = entry.cFileName;
  if (name == L"." || name == L"..") return ERROR_SUCCESS;
  const std::wstring path = folder + L'\\' + name;
  if ((entry.dwFileAttributes & FILE_ATTRIBUTE_READONLY) != 0) {
    ::SetFileAttributesW(path.c_str(), entry.dwFileAttributes & ~DWORD{FILE_ATTRIBUTE_READONLY});
  }
  if ((entry.dwFileAttributes & FILE_ATTRIBUTE_DIRECTORY) == 0) {
    return ::DeleteFileW(path.c_str()) != 0 ? DWORD{ERROR_SUCCESS} : ::GetLastError();
  }
  if ((entry.dwFileAttributes & FILE_ATTRIBUTE_REPARSE_POINT) != 0) {
    return ::RemoveDirectoryW(path.c_str()) != 0 ? DWORD{ERROR_SUCCESS} : ::GetLastError();
  }
  return RemoveFolder(path);
}

DWORD RemoveFolder(const std::wstring& path) {
  ::WIN32_FIND_DATAW entry;
  const HANDLE find = ::FindFirstFileW((path + L"\\*").c_str(), &entry);
  if (find == INVALID_HANDLE_VALUE) return ::GetLastError();
  DWORD error = ERROR_SUCCESS;
  do {
    error = RemoveEntry(path, entry);
  } while (error == ERROR_SUCCESS && ::FindNextFileW(find, &entry) != 0);
  ::FindClose(find);
  if (error != ERROR_SUCCESS) return error;
  return ::RemoveDirectoryW(path.c_str()) != 0 ? DWORD{ERROR_SUCCESS} : ::GetLastError();
}

}  // namespace

std::uint32_t CreateFolderTree(const char16_t* path) {
  return CreateWithParents(Wide(path));
}

std::uint32_t RemoveFolderTree(const char16_t* path) {
  const DWORD attributes = ::GetFileAttributesW(Wide(path));
  const bool leads_away = attributes != INVALID_FILE_ATTRIBUTES && (attributes & FILE_ATTRIBUTE_REPARSE_POINT) != 0;
  if (leads_away) return ::RemoveDirectoryW(Wide(path)) != 0 ? DWORD{ERROR_SUCCESS} : ::GetLastError();
  const DWORD error = RemoveFolder(Wide(path));
  return IsAbsent(error) ? DWORD{ERROR_SUCCESS} : error;
}

}  // namespace varnel::windows
