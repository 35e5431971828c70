// Paths of the scripted files port.
#pragma once

#include <string>
#include <string_view>

namespace varnel::testing {

/// One kind of separator and none at the end; "." and ".." resolved, dots and blanks at the end of a name dropped (but
/// not in a `pattern`'s last name).
std::u16string NormalizedPath(std::u16string_view path, bool pattern = false);
/// The normalized path in the form in which paths are compared.
std::u16string PathKey(std::u16string_view path);

/// Of a normalized path: what stands before and behind the last separator.
std::u16string FolderOfPath(std::u16string_view normalized);
std::u16string NameOfPath(std::u16string_view normalized);

/// Whether no name may hold one of the path's characters.
bool HasForbiddenCharacter(std::u16string_view path);

/// A name against a pattern with '*' and '?'; both folded. "*.*" fits every name.
bool MatchesPattern(std::u16string_view pattern, std::u16string_view name);

}  // namespace varnel::testing
