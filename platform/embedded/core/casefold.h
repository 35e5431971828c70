// The upper-case form of names: one fixed table of the basic plane, for registry keys and values and for file names, so
// that what is one name to one of them is one name to the other, on every machine and in every locale. Surrogates stay
// as they are. Pure; any thread.
#pragma once

#include <string>
#include <string_view>

namespace varnel::embedded {

char16_t FoldUpper(char16_t unit);

/// Unit by unit, so the length stays.
std::u16string FoldUpper(std::u16string_view text);

/// True when both fold to the same text.
bool EqualFolded(std::u16string_view a, std::u16string_view b);

/// Negative, 0 or positive: the order of the folded texts by code unit, in which the platform lists names.
int CompareFolded(std::u16string_view a, std::u16string_view b);

}  // namespace varnel::embedded
