// A C stream on an open file of a machine, so that a library that writes through stdio keeps to the machine's sharing.
#pragma once

#include <cstdio>
#include <memory>

#include "platform/embedded/files/file_opener.h"

namespace varnel::embedded {

/// What fopen's `mode` asks for: share mode 3 (reading and writing), and for 'a' the end of the file. 0 or a Win32
/// error; 87 for a mode that is none.
std::uint32_t OpenStream(const FileOpener& opener, std::u16string_view path, const char* mode, std::FILE** stream);

}  // namespace varnel::embedded
