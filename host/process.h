// What a program of ours does to its own process and asks of it. Each system has a file of its own.
#pragma once

#include <string>
#include <vector>

namespace varnel::host {

/// To be called once, before anything is read, written or opened: a closed pipe is a failed write and no signal; a
/// standard stream that the caller has closed fails and never becomes another file; on Windows the streams carry bytes
/// as they are and a console shows UTF-8 while this process lives.
void PrepareProcess();

/// The command line in UTF-8, the program's name first. The arguments are main's.
std::vector<std::string> CommandLine(int argc, const char* const* argv);

/// Whether a person sees what is written to the descriptor.
bool IsTerminal(int fd);

/// Ends the process at once: nothing is written out and nobody else is asked, but a console has its code page back. Any
/// thread may call.
[[noreturn]] void EndProcess(int exit_code);

/// A variable of the environment, in UTF-8; empty where it is not set.
std::string EnvironmentText(const char* name);

}  // namespace varnel::host
