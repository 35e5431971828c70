// The MD5 of a file.
#pragma once

#include <cstdint>

#include "base/md5_hash.h"

namespace varnel {

/// The MD5 of a file's bytes into 16 bytes. 1, or 0 on any failure, which is logged; `digest` is then untouched. Any
/// thread may call.
std::uint32_t WrapCalcFileMD5(const char16_t* path, std::uint8_t* digest);

}  // namespace varnel
