// A library of the system's that is looked up at run time: from the system folder and nowhere else, since the loader's
// own search begins in the host's folder. Loaded at the first use and kept. Any thread may call.
#pragma once

#include "platform/windows/border.h"

namespace varnel::windows {

/// Null when the system has no such library; GetLastError then tells why.
HMODULE LoadFromSystemFolder(const wchar_t* file_name);

/// One function of such a library. Function is its pointer type.
template <class Function>
Function FindIn(HMODULE library, const char* name) {
  return library == nullptr ? nullptr : AsFunction<Function>(::GetProcAddress(library, name));
}

}  // namespace varnel::windows
