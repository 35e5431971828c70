// What the library "dbgeng.dll" of a machine answers.
#pragma once

#include "platform/debugger/engine.h"
#include "platform/embedded/system/library_table.h"

namespace varnel::embedded {

/// Makes an engine of its own for each call; it opens dumps through the ports that are in force now. 0x80004002 for an
/// interface that the engine lacks. Any thread.
platform::HRESULT DebugCreate(const GUID& id, void** object);

/// Lets a process's "dbgeng.dll" answer. For the assembly, before the first load.
void AddDebuggerEngine(LibraryTable* libraries);

}  // namespace varnel::embedded
