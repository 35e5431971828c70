// The text of one dump report, from the analyzer to the host. For the crash thread, while the module is started.
#pragma once

#include <cstdint>
#include <string>

namespace varnel {

/// Wraps a report (JSON text; null or empty: there is none) for the host and hands it over; without a host's callback,
/// or behind the end of a stop, it goes to the debugger output instead. A report that is no JSON is logged and sent as
/// null. Without memory nothing is sent. `withSymbol`: of which pass it is.
void BuildBsodDumpJsonAndInvokeCB(const char* reportText, std::uint32_t withSymbol);

/// The analyzer's callback: sends the report of a dump that could be analyzed and, whether it could or not, signals
/// that the pass needs nothing more. `pass`: 0 without symbols, 1 with them. `error` isn't looked at.
void BsodDumpCallBack(std::uint8_t success, const std::string& report, const std::string& error, void* pass);

}  // namespace varnel
