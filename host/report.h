// What the program tells its user, apart from its output: lines on standard error that begin with the command's name.
// Any thread may call; a line is one write.
#pragma once

#include <string>
#include <string_view>

namespace varnel::host {

/// "wardlet run" once a command line was understood; "wardlet" before.
void SetCommandName(std::string_view name);
const std::string& CommandName();

/// Writes "<command name>: <message>\n" to standard error.
void Tell(std::string_view message);

/// Tells, and gives kExitFailed back.
int Fail(std::string_view message);

}  // namespace varnel::host
