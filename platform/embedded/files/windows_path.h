// Windows paths as text: what a path means before any file system is asked. Pure; any thread.
#pragma once

#include <cstdint>
#include <string>
#include <string_view>
#include <vector>

namespace varnel::embedded {

/// A full path: a drive and the names below it.
struct WindowsPath {
  char16_t drive = u'C';  // upper case
  std::vector<std::u16string> names;
  bool ends_in_separator = false;  // behind the last name: it must be a folder
  bool verbatim = false;           // written with the prefix that lifts the limit of 259 characters

  /// "C:\name\name", "C:\" for a root.
  std::u16string Text() const;
};

/// Reads a path as the platform does: both separators, "." and ".." removed, a single dot behind a name and all dots
/// and blanks at the end removed. A path without a drive or not from the root stands below the system folder, where
/// services run. 0, or the Win32 error: 3 (empty or too long), 53 (a server's share), 2 (a device), 123 (a name that
/// can't be).
std::uint32_t ParseWindowsPath(std::u16string_view text, WindowsPath* path);

/// Whether a file can have the name: none of the characters < > : " / \ | ? * nor a control character, no lone
/// surrogate, no dot or blank at its end, no device's name such as NUL or COM1.txt, from 1 to 255 characters.
bool IsFileName(std::u16string_view name);

/// Whether a name fits a pattern with '*' and '?' as a search in a folder takes it: without regard to case, "*.*" fits
/// every name, "*." those without a dot, and '?' at the end fits nothing too.
bool MatchesPattern(std::u16string_view name, std::u16string_view pattern);

}  // namespace varnel::embedded
