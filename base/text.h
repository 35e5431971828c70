// Pure text: what the shell's path helpers do, and GUIDs as text. Any thread may call.
#pragma once

#include <cstddef>

#include "interfaces/guid.h"

namespace varnel {

/// Characters of a GUID text with braces and its NUL.
inline constexpr std::size_t kGuidTextCapacity = 39;
/// Characters of a fixed path buffer, NUL included.
inline constexpr std::size_t kMaxPath = 260;

/// Appends `more` to a path in a buffer of 260 characters, with one backslash between them; leading backslashes of
/// `more` are skipped, a UNC or drive-rooted `more` replaces the path. False for a null argument, and, with the path
/// emptied, when the result does not fit. "." and ".." stay as they are: the file system resolves them.
bool PathAppendW(char16_t* path, const char16_t* more);

/// The first place of `needle` in `text`, or null. An empty needle or a null argument gives null.
const char16_t* StrStrW(const char16_t* text, const char16_t* needle);

std::size_t TextLength(const char16_t* text);
std::size_t TextLength(const char* text);

/// Copies with the NUL within `capacity` characters, cut if it must be. False when it was cut or the capacity is 0.
bool CopyText(char16_t* out, std::size_t capacity, const char16_t* text);

/// ASCII letters folded, all else by its code unit, as the run-time library's comparison does without a locale. Below
/// 0, 0 or above 0.
int CompareTextNoCase(const char16_t* a, const char16_t* b);
/// The same over at most `count` characters.
int CompareTextNoCase(const char16_t* a, const char16_t* b, std::size_t count);

/// "{XXXXXXXX-XXXX-XXXX-XXXX-XXXXXXXXXXXX}" in upper case into a buffer of at least 39 characters.
void GuidToText(const GUID& guid, char16_t* out);
void GuidToText(const GUID& guid, char* out);

}  // namespace varnel
