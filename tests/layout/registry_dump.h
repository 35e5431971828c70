// The registry of the machine that a test runs on, as text, and the files that hold what it has to be.
#pragma once

#include <initializer_list>
#include <string>
#include <vector>

namespace varnel::testing {

/// Where the module keeps what it remembers, below the machine's root.
inline constexpr char16_t kModuleKey[] = u"SOFTWARE\\KelvoCLSID\\GlobalCfg\\{4A234956-2B7D-4221-BADF-12593BD342A8}";

std::string Hex(const std::vector<unsigned char>& bytes);
/// A text as the registry holds it, without its NUL.
std::string HexOf(const std::u16string& text);

/// A line for each key and value below a key of the machine's root, in order: its path, and for a value its type and
/// its bytes. "no such key" where there is none.
std::string DumpOf(const char16_t* path);

/// The text has to be that of the file. VARNEL_UPDATE_GOLDEN=1 in the environment writes the file anew.
void ExpectGolden(const std::string& text, const char* file);

/// With all below them; keys of the machine's root.
void DeleteKeys(std::initializer_list<const char16_t*> paths);

}  // namespace varnel::testing
