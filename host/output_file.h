// Opens a file for whole lines that are written at its end. Each system has a file of its own.
#pragma once

#include <string>

namespace varnel::host {

/// A descriptor that writes at the end of the file, made if it is not there; the caller closes it. -1 on a failure;
/// errno tells why. `in_a_line` tells whether the file's last line has no end.
int OpenForAppending(const std::string& path, bool* in_a_line);

}  // namespace varnel::host
