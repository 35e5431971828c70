// The dump analyzer as the rest of the module reaches it: free functions around the one analyzer of the process. In
// order: init, start, which blocks its caller until the run ends, and uninit; stop ends a run early from another
// thread, at any time. Behind an uninit that gave 0 or 1 the order may begin anew.
#pragma once

#include <cstdint>
#include <string>

namespace varnel {

/// Takes the outcome of one dump, on the thread that called StartBsodAnalyzer. `success` 1: `report` is the dump's
/// report as JSON text; 0: `error` says why there is none. Both texts are valid during the call only. `context` is what
/// the start was given for this pass.
using BsodDumpCallBackFunction = void (*)(std::uint8_t success, const std::string& report, const std::string& error,
                                          void* context);

/// What StopBsodAnalyzer tells: there was nothing to stop.
inline constexpr std::uint32_t kBsodAnalyzerNoRun = 3;

/// Makes the analyzer. `productGuid` is the module's GUID as text. 0; 1 when there is one with this GUID already; a
/// negative HRESULT when it could not be made, and then there is none.
std::int32_t InitBsodAnalyzer(const char16_t* productGuid);

/// Looks at the dumps that were not looked at before: first without symbols, then with them, each pass only if its
/// callback is not null. Returns when both are done: 0; 0x800704C7 when it was stopped; 0x80004005 when there is no
/// analyzer or both callbacks are null; another negative HRESULT on a failure.
std::int32_t StartBsodAnalyzer(BsodDumpCallBackFunction callbackNoSymbol, void* contextNoSymbol,
                               BsodDumpCallBackFunction callbackWithSymbol, void* contextWithSymbol);

/// Ends the run under way and waits for its end, at most `timeoutMs` (all ones: without a limit). 0 when it has ended,
/// 1 when it was not waited for, 2 when the time was over, kBsodAnalyzerNoRun, 4 on a failure.
std::uint32_t StopBsodAnalyzer(std::uint32_t timeoutMs);

/// Takes the analyzer down. 0; 1 when there was none; a negative HRESULT when its run could not be stopped.
std::int32_t UninitBsodAnalyzer();

}  // namespace varnel
