// Prints a machine's registry, or a part of it, for a person or for a program. One thread.
#pragma once

#include <functional>
#include <string>
#include <string_view>

#include "formats/result.h"
#include "platform/registry.h"

namespace varnel::embedded {

enum class DumpForm {
  kText,       // "[key]" with its values below it, one on a line
  kJsonLines,  // one object for each key: {"key":"…","values":[{"name":"…","type":"REG_SZ","data":"…"}]}
};

/// Takes one line of UTF-8, without its end.
using DumpLine = std::function<void(std::string_view line)>;

/// Prints the key and all below it, in the registry's order. `key` begins with a root, in full or short
/// ("HKEY_LOCAL_MACHINE", "HKLM", "HKEY_USERS", "HKU"); an empty one stands for both roots. In JSON a 64-bit number is
/// a text and binary data hexadecimal. @return an Error that names a key that is not there, with nothing printed.
formats::Status DumpRegistry(platform::Registry& registry, std::string_view key, DumpForm form, const DumpLine& line);

}  // namespace varnel::embedded
