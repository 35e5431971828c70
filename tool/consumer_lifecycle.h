// Start and stop of everything that the module runs. Called on the host's thread, which serialises the calls itself.
#pragma once

#include <cstdint>

#include "interfaces/wardlet_tool.h"

namespace varnel {

/// Makes sure that a trace session exists, loads the providers' manifests, records the callback and starts the three
/// threads. 0; the Win32 error of the session or of a manifest; 0x90000000 when the module was running, which then is
/// stopped, or when no name could be made for the file of a session that had to be started.
//
// Not every failure is told. Of the steps after the manifests were loaded none brings its own code: the result is then
// what the manifests gave. With 0 there, the caller sees success, nothing is torn down and what started keeps running.
std::uint32_t EtwConsumerStart(std::uint32_t Flags, VarnelEventCallback callback, void* context);

/// Ends the threads in a fixed order, drains and frees every consumer and clears the table. Returns when no thread of
/// the module is left. 0, or 31 when the module was not started.
std::uint32_t EtwConsumerStop();

}  // namespace varnel
