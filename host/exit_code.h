// The program's exit codes. The manual (host/wardlet.md) tells what each means.
#pragma once

namespace varnel::host {

enum ExitCode : int {
  kExitGood = 0,
  kExitFailed = 1,
  kExitWrongUse = 2,
  kExitGaps = 3,  // `trace gaps` found one
};

}  // namespace varnel::host
