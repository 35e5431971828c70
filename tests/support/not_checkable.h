// What can't be checked where the suite runs, by name and with the reason, in one list.
#pragma once

namespace varnel::testing {

/// Leaves the listed cases out of the run and prints the list. Does nothing on Windows itself.
void LeaveOutWhatCannotBeChecked();

}  // namespace varnel::testing
