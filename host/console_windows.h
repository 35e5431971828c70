// The console's code page, which outlives a program that changes it.
#pragma once

namespace varnel::host {

/// Gives the console back the code page that PrepareProcess found. Any thread may call, as often as it likes.
void RestoreConsole();

}  // namespace varnel::host
