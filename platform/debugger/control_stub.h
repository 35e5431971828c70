// Every slot of IDebugControl4 answers that it is not implemented. See engine_stub.h.
#pragma once

#include "platform/debugger/control.h"

namespace varnel::platform {

class ControlStub : public IDebugControl4 {
 public:
  // IDebugControl
  HRESULT GetInterrupt() override { return kNotImplemented; }
  HRESULT SetInterrupt(std::uint32_t) override { return kNotImplemented; }
  HRESULT GetInterruptTimeout(std::uint32_t*) override { return kNotImplemented; }
  HRESULT SetInterruptTimeout(std::uint32_t) override { return kNotImplemented; }
  HRESULT GetLogFile(char*, std::uint32_t, std::uint32_t*, BOOL*) override { return kNotImplemented; }
  HRESULT OpenLogFile(const char*, BOOL) override { return kNotImplemented; }
  HRESULT CloseLogFile() override { return kNotImplemented; }
  HRESULT GetLogMask(std::uint32_t*) override { return kNotImplemented; }
  HRESULT SetLogMask(std::uint32_t) override { return kNotImplemented; }
  HRESULT Input(char*, std::uint32_t, std::uint32_t*) override { return kNotImplemented; }
  HRESULT ReturnInput(const char*) override { return kNotImplemented; }
  HRESULT Output(std::uint32_t, const char*, ...) override { return kNotImplemented; }
  HRESULT OutputVaList(std::uint32_t, const char*, std::va_list) override { return kNotImplemented; }
  HRESULT ControlledOutput(std::uint32_t, std::uint32_t, const char*, ...) override { return kNotImplemented; }
  HRESULT ControlledOutputVaList(std::uint32_t, std::uint32_t, const char*, std::va_list) override {
    return kNotImplemented;
  }
  HRESULT OutputPrompt(std::uint32_t, const char*, ...) override { return kNotImplemented; }
  HRESULT OutputPromptVaList(std::uint32_t, const char*, std::va_list) override { return kNotImplemented; }
  HRESULT GetPromptText(char*, std::uint32_t, std::uint32_t*) override { return kNotImplemented; }
  HRESULT OutputCurrentState(std::uint32_t, std::uint32_t) override { return kNotImplemented; }
  HRESULT OutputVersionInformation(std::uint32_t) override { return kNotImplemented; }
  HRESULT GetNotifyEventHandle(std::uint64_t*) override { return kNotImplemented; }
  HRESULT SetNotifyEventHandle(std::uint64_t) override { return kNotImplemented; }
  HRESULT Assemble(std::uint64_t, const char*, std::uint64_t*) override { return kNotImplemented; }
  HRESULT Disassemble(std::uint64_t, std::uint32_t, char*, std::uint32_t, std::uint32_t*, std::uint64_t*) override {
    return kNotImplemented;
  }
  HRESULT GetDisassembleEffectiveOffset(std::uint64_t*) override { return kNotImplemented; }
  HRESULT OutputDisassembly(std::uint32_t, std::uint64_t, std::uint32_t, std::uint64_t*) override {
    return kNotImplemented;
  }
  HRESULT OutputDisassemblyLines(std::uint32_t, std::uint32_t, std::uint32_t, std::uint64_t, std::uint32_t,
                                 std::uint32_t*, std::uint64_t*, std::uint64_t*, std::uint64_t*) override {
    return kNotImplemented;
  }
  HRESULT GetNearInstruction(std::uint64_t, std::int32_t, std::uint64_t*) override { return kNotImplemented; }
  HRESULT GetStackTrace(std::uint64_t, std::uint64_t, std::uint64_t, DEBUG_STACK_FRAME*, std::uint32_t,
                        std::uint32_t*) override {
    return kNotImplemented;
  }
  HRESULT GetReturnOffset(std::uint64_t*) override { return kNotImplemented; }
  HRESULT OutputStackTrace(std::uint32_t, DEBUG_STACK_FRAME*, std::uint32_t, std::uint32_t) override {
    return kNotImplemented;
  }
  HRESULT GetDebuggeeType(std::uint32_t*, std::uint32_t*) override { return kNotImplemented; }
  HRESULT GetActualProcessorType(std::uint32_t*) override { return kNotImplemented; }
  HRESULT GetExecutingProcessorType(std::uint32_t*) override { return kNotImplemented; }
  HRESULT GetNumberPossibleExecutingProcessorTypes(std::uint32_t*) override { return kNotImplemented; }
  HRESULT GetPossibleExecutingProcessorTypes(std::uint32_t, std::uint32_t, std::uint32_t*) override {
    return kNotImplemented;
  }
  HRESULT GetNumberProcessors(std::uint32_t*) override { return kNotImplemented; }
  HRESULT GetSystemVersion(std::uint32_t*, std::uint32_t*, std::uint32_t*, char*, std::uint32_t, std::uint32_t*,
                           std::uint32_t*, char*, std::uint32_t, std::uint32_t*) override {
    return kNotImplemented;
  }
  HRESULT GetPageSize(std::uint32_t*) override { return kNotImplemented; }
  HRESULT IsPointer64Bit() override { return kNotImplemented; }
  HRESULT ReadBugCheckData(std::uint32_t*, std::uint64_t*, std::uint64_t*, std::uint64_t*, std::uint64_t*) override {
    return kNotImplemented;
  }
  HRESULT GetNumberSupportedProcessorTypes(std::uint32_t*) override { return kNotImplemented; }
  HRESULT GetSupportedProcessorTypes(std::uint32_t, std::uint32_t, std::uint32_t*) override { return kNotImplemented; }
  HRESULT GetProcessorTypeNames(std::uint32_t, char*, std::uint32_t, std::uint32_t*, char*, std::uint32_t,
                                std::uint32_t*) override {
    return kNotImplemented;
  }
  HRESULT GetEffectiveProcessorType(std::uint32_t*) override { return kNotImplemented; }
  HRESULT SetEffectiveProcessorType(std::uint32_t) override { return kNotImplemented; }
  HRESULT GetExecutionStatus(std::uint32_t*) override { return kNotImplemented; }
  HRESULT SetExecutionStatus(std::uint32_t) override { return kNotImplemented; }
  HRESULT GetCodeLevel(std::uint32_t*) override { return kNotImplemented; }
  HRESULT SetCodeLevel(std::uint32_t) override { return kNotImplemented; }
  HRESULT GetEngineOptions(std::uint32_t*) override { return kNotImplemented; }
  HRESULT AddEngineOptions(std::uint32_t) override { return kNotImplemented; }
  HRESULT RemoveEngineOptions(std::uint32_t) override { return kNotImplemented; }
  HRESULT SetEngineOptions(std::uint32_t) override { return kNotImplemented; }
  HRESULT GetSystemErrorControl(std::uint32_t*, std::uint32_t*) override { return kNotImplemented; }
  HRESULT SetSystemErrorControl(std::uint32_t, std::uint32_t) override { return kNotImplemented; }
  HRESULT GetTextMacro(std::uint32_t, char*, std::uint32_t, std::uint32_t*) override { return kNotImplemented; }
  HRESULT SetTextMacro(std::uint32_t, const char*) override { return kNotImplemented; }
  HRESULT GetRadix(std::uint32_t*) override { return kNotImplemented; }
  HRESULT SetRadix(std::uint32_t) override { return kNotImplemented; }
  HRESULT Evaluate(const char*, std::uint32_t, DEBUG_VALUE*, std::uint32_t*) override { return kNotImplemented; }
  HRESULT CoerceValue(DEBUG_VALUE*, std::uint32_t, DEBUG_VALUE*) override { return kNotImplemented; }
  HRESULT CoerceValues(std::uint32_t, DEBUG_VALUE*, std::uint32_t*, DEBUG_VALUE*) override { return kNotImplemented; }
  HRESULT Execute(std::uint32_t, const char*, std::uint32_t) override { return kNotImplemented; }
  HRESULT ExecuteCommandFile(std::uint32_t, const char*, std::uint32_t) override { return kNotImplemented; }
  HRESULT GetNumberBreakpoints(std::uint32_t*) override { return kNotImplemented; }
  HRESULT GetBreakpointByIndex(std::uint32_t, IDebugBreakpoint**) override { return kNotImplemented; }
  HRESULT GetBreakpointById(std::uint32_t, IDebugBreakpoint**) override { return kNotImplemented; }
  HRESULT GetBreakpointParameters(std::uint32_t, std::uint32_t*, std::uint32_t, DEBUG_BREAKPOINT_PARAMETERS*) override {
    return kNotImplemented;
  }
  HRESULT AddBreakpoint(std::uint32_t, std::uint32_t, IDebugBreakpoint**) override { return kNotImplemented; }
  HRESULT RemoveBreakpoint(IDebugBreakpoint*) override { return kNotImplemented; }
  HRESULT AddExtension(const char*, std::uint32_t, std::uint64_t*) override { return kNotImplemented; }
  HRESULT RemoveExtension(std::uint64_t) override { return kNotImplemented; }
  HRESULT GetExtensionByPath(const char*, std::uint64_t*) override { return kNotImplemented; }
  HRESULT CallExtension(std::uint64_t, const char*, const char*) override { return kNotImplemented; }
  HRESULT GetExtensionFunction(std::uint64_t, const char*, Procedure*) override { return kNotImplemented; }
  HRESULT GetWindbgExtensionApis32(void*) override { return kNotImplemented; }
  HRESULT GetWindbgExtensionApis64(void*) override { return kNotImplemented; }
  HRESULT GetNumberEventFilters(std::uint32_t*, std::uint32_t*, std::uint32_t*) override { return kNotImplemented; }
  HRESULT GetEventFilterText(std::uint32_t, char*, std::uint32_t, std::uint32_t*) override { return kNotImplemented; }
  HRESULT GetEventFilterCommand(std::uint32_t, char*, std::uint32_t, std::uint32_t*) override {
    return kNotImplemented;
  }
  HRESULT SetEventFilterCommand(std::uint32_t, const char*) override { return kNotImplemented; }
  HRESULT GetSpecificFilterParameters(std::uint32_t, std::uint32_t, DEBUG_SPECIFIC_FILTER_PARAMETERS*) override {
    return kNotImplemented;
  }
  HRESULT SetSpecificFilterParameters(std::uint32_t, std::uint32_t, DEBUG_SPECIFIC_FILTER_PARAMETERS*) override {
    return kNotImplemented;
  }
  HRESULT GetSpecificFilterArgument(std::uint32_t, char*, std::uint32_t, std::uint32_t*) override {
    return kNotImplemented;
  }
  HRESULT SetSpecificFilterArgument(std::uint32_t, const char*) override { return kNotImplemented; }
  HRESULT GetExceptionFilterParameters(std::uint32_t, std::uint32_t*, std::uint32_t,
                                       DEBUG_EXCEPTION_FILTER_PARAMETERS*) override {
    return kNotImplemented;
  }
  HRESULT SetExceptionFilterParameters(std::uint32_t, DEBUG_EXCEPTION_FILTER_PARAMETERS*) override {
    return kNotImplemented;
  }
  HRESULT GetExceptionFilterSecondCommand(std::uint32_t, char*, std::uint32_t, std::uint32_t*) override {
    return kNotImplemented;
  }
  HRESULT SetExceptionFilterSecondCommand(std::uint32_t, const char*) override { return kNotImplemented; }
  HRESULT WaitForEvent(std::uint32_t, std::uint32_t) override { return kNotImplemented; }
  HRESULT GetLastEventInformation(std::uint32_t*, std::uint32_t*, std::uint32_t*, void*, std::uint32_t, std::uint32_t*,
                                  char*, std::uint32_t, std::uint32_t*) override {
    return kNotImplemented;
  }

  // IDebugControl2
  HRESULT GetCurrentTimeDate(std::uint32_t*) override { return kNotImplemented; }
  HRESULT GetCurrentSystemUpTime(std::uint32_t*) override { return kNotImplemented; }
  HRESULT GetDumpFormatFlags(std::uint32_t*) override { return kNotImplemented; }
  HRESULT GetNumberTextReplacements(std::uint32_t*) override { return kNotImplemented; }
  HRESULT GetTextReplacement(const char*, std::uint32_t, char*, std::uint32_t, std::uint32_t*, char*, std::uint32_t,
                             std::uint32_t*) override {
    return kNotImplemented;
  }
  HRESULT SetTextReplacement(const char*, const char*) override { return kNotImplemented; }
  HRESULT RemoveTextReplacements() override { return kNotImplemented; }
  HRESULT OutputTextReplacements(std::uint32_t, std::uint32_t) override { return kNotImplemented; }

  // IDebugControl3
  HRESULT GetAssemblyOptions(std::uint32_t*) override { return kNotImplemented; }
  HRESULT AddAssemblyOptions(std::uint32_t) override { return kNotImplemented; }
  HRESULT RemoveAssemblyOptions(std::uint32_t) override { return kNotImplemented; }
  HRESULT SetAssemblyOptions(std::uint32_t) override { return kNotImplemented; }
  HRESULT GetExpressionSyntax(std::uint32_t*) override { return kNotImplemented; }
  HRESULT SetExpressionSyntax(std::uint32_t) override { return kNotImplemented; }
  HRESULT SetExpressionSyntaxByName(const char*) override { return kNotImplemented; }
  HRESULT GetNumberExpressionSyntaxes(std::uint32_t*) override { return kNotImplemented; }
  HRESULT GetExpressionSyntaxNames(std::uint32_t, char*, std::uint32_t, std::uint32_t*, char*, std::uint32_t,
                                   std::uint32_t*) override {
    return kNotImplemented;
  }
  HRESULT GetNumberEvents(std::uint32_t*) override { return kNotImplemented; }
  HRESULT GetEventIndexDescription(std::uint32_t, std::uint32_t, char*, std::uint32_t, std::uint32_t*) override {
    return kNotImplemented;
  }
  HRESULT GetCurrentEventIndex(std::uint32_t*) override { return kNotImplemented; }
  HRESULT SetNextEventIndex(std::uint32_t, std::uint32_t, std::uint32_t*) override { return kNotImplemented; }

  // IDebugControl4
  HRESULT GetLogFileWide(char16_t*, std::uint32_t, std::uint32_t*, BOOL*) override { return kNotImplemented; }
  HRESULT OpenLogFileWide(const char16_t*, BOOL) override { return kNotImplemented; }
  HRESULT InputWide(char16_t*, std::uint32_t, std::uint32_t*) override { return kNotImplemented; }
  HRESULT ReturnInputWide(const char16_t*) override { return kNotImplemented; }
  HRESULT OutputWide(std::uint32_t, const char16_t*, ...) override { return kNotImplemented; }
  HRESULT OutputVaListWide(std::uint32_t, const char16_t*, std::va_list) override { return kNotImplemented; }
  HRESULT ControlledOutputWide(std::uint32_t, std::uint32_t, const char16_t*, ...) override { return kNotImplemented; }
  HRESULT ControlledOutputVaListWide(std::uint32_t, std::uint32_t, const char16_t*, std::va_list) override {
    return kNotImplemented;
  }
  HRESULT OutputPromptWide(std::uint32_t, const char16_t*, ...) override { return kNotImplemented; }
  HRESULT OutputPromptVaListWide(std::uint32_t, const char16_t*, std::va_list) override { return kNotImplemented; }
  HRESULT GetPromptTextWide(char16_t*, std::uint32_t, std::uint32_t*) override { return kNotImplemented; }
  HRESULT AssembleWide(std::uint64_t, const char16_t*, std::uint64_t*) override { return kNotImplemented; }
  HRESULT DisassembleWide(std::uint64_t, std::uint32_t, char16_t*, std::uint32_t, std::uint32_t*,
                          std::uint64_t*) override {
    return kNotImplemented;
  }
  HRESULT GetProcessorTypeNamesWide(std::uint32_t, char16_t*, std::uint32_t, std::uint32_t*, char16_t*, std::uint32_t,
                                    std::uint32_t*) override {
    return kNotImplemented;
  }
  HRESULT GetTextMacroWide(std::uint32_t, char16_t*, std::uint32_t, std::uint32_t*) override { return kNotImplemented; }
  HRESULT SetTextMacroWide(std::uint32_t, const char16_t*) override { return kNotImplemented; }
  HRESULT EvaluateWide(const char16_t*, std::uint32_t, DEBUG_VALUE*, std::uint32_t*) override {
    return kNotImplemented;
  }
  HRESULT ExecuteWide(std::uint32_t, const char16_t*, std::uint32_t) override { return kNotImplemented; }
  HRESULT ExecuteCommandFileWide(std::uint32_t, const char16_t*, std::uint32_t) override { return kNotImplemented; }
  HRESULT GetBreakpointByIndex2(std::uint32_t, IDebugBreakpoint2**) override { return kNotImplemented; }
  HRESULT GetBreakpointById2(std::uint32_t, IDebugBreakpoint2**) override { return kNotImplemented; }
  HRESULT AddBreakpoint2(std::uint32_t, std::uint32_t, IDebugBreakpoint2**) override { return kNotImplemented; }
  HRESULT RemoveBreakpoint2(IDebugBreakpoint2*) override { return kNotImplemented; }
  HRESULT AddExtensionWide(const char16_t*, std::uint32_t, std::uint64_t*) override { return kNotImplemented; }
  HRESULT GetExtensionByPathWide(const char16_t*, std::uint64_t*) override { return kNotImplemented; }
  HRESULT CallExtensionWide(std::uint64_t, const char16_t*, const char16_t*) override { return kNotImplemented; }
  HRESULT GetExtensionFunctionWide(std::uint64_t, const char16_t*, Procedure*) override { return kNotImplemented; }
  HRESULT GetEventFilterTextWide(std::uint32_t, char16_t*, std::uint32_t, std::uint32_t*) override {
    return kNotImplemented;
  }
  HRESULT GetEventFilterCommandWide(std::uint32_t, char16_t*, std::uint32_t, std::uint32_t*) override {
    return kNotImplemented;
  }
  HRESULT SetEventFilterCommandWide(std::uint32_t, const char16_t*) override { return kNotImplemented; }
  HRESULT GetSpecificFilterArgumentWide(std::uint32_t, char16_t*, std::uint32_t, std::uint32_t*) override {
    return kNotImplemented;
  }
  HRESULT SetSpecificFilterArgumentWide(std::uint32_t, const char16_t*) override { return kNotImplemented; }
  HRESULT GetExceptionFilterSecondCommandWide(std::uint32_t, char16_t*, std::uint32_t, std::uint32_t*) override {
    return kNotImplemented;
  }
  HRESULT SetExceptionFilterSecondCommandWide(std::uint32_t, const char16_t*) override { return kNotImplemented; }
  HRESULT GetLastEventInformationWide(std::uint32_t*, std::uint32_t*, std::uint32_t*, void*, std::uint32_t,
                                      std::uint32_t*, char16_t*, std::uint32_t, std::uint32_t*) override {
    return kNotImplemented;
  }
  HRESULT GetTextReplacementWide(const char16_t*, std::uint32_t, char16_t*, std::uint32_t, std::uint32_t*, char16_t*,
                                 std::uint32_t, std::uint32_t*) override {
    return kNotImplemented;
  }
  HRESULT SetTextReplacementWide(const char16_t*, const char16_t*) override { return kNotImplemented; }
  HRESULT SetExpressionSyntaxByNameWide(const char16_t*) override { return kNotImplemented; }
  HRESULT GetExpressionSyntaxNamesWide(std::uint32_t, char16_t*, std::uint32_t, std::uint32_t*, char16_t*,
                                       std::uint32_t, std::uint32_t*) override {
    return kNotImplemented;
  }
  HRESULT GetEventIndexDescriptionWide(std::uint32_t, std::uint32_t, char16_t*, std::uint32_t,
                                       std::uint32_t*) override {
    return kNotImplemented;
  }
  HRESULT GetLogFile2(char*, std::uint32_t, std::uint32_t*, std::uint32_t*) override { return kNotImplemented; }
  HRESULT OpenLogFile2(const char*, std::uint32_t) override { return kNotImplemented; }
  HRESULT GetLogFile2Wide(char16_t*, std::uint32_t, std::uint32_t*, std::uint32_t*) override { return kNotImplemented; }
  HRESULT OpenLogFile2Wide(const char16_t*, std::uint32_t) override { return kNotImplemented; }
  HRESULT GetSystemVersionValues(std::uint32_t*, std::uint32_t*, std::uint32_t*, std::uint32_t*,
                                 std::uint32_t*) override {
    return kNotImplemented;
  }
  HRESULT GetSystemVersionString(std::uint32_t, char*, std::uint32_t, std::uint32_t*) override {
    return kNotImplemented;
  }
  HRESULT GetSystemVersionStringWide(std::uint32_t, char16_t*, std::uint32_t, std::uint32_t*) override {
    return kNotImplemented;
  }
  HRESULT GetContextStackTrace(void*, std::uint32_t, DEBUG_STACK_FRAME*, std::uint32_t, void*, std::uint32_t,
                               std::uint32_t, std::uint32_t*) override {
    return kNotImplemented;
  }
  HRESULT OutputContextStackTrace(std::uint32_t, DEBUG_STACK_FRAME*, std::uint32_t, void*, std::uint32_t, std::uint32_t,
                                  std::uint32_t) override {
    return kNotImplemented;
  }
  HRESULT GetStoredEventInformation(std::uint32_t*, std::uint32_t*, std::uint32_t*, void*, std::uint32_t,
                                    std::uint32_t*, void*, std::uint32_t, std::uint32_t*) override {
    return kNotImplemented;
  }
  HRESULT GetManagedStatus(std::uint32_t*, std::uint32_t, char*, std::uint32_t, std::uint32_t*) override {
    return kNotImplemented;
  }
  HRESULT GetManagedStatusWide(std::uint32_t*, std::uint32_t, char16_t*, std::uint32_t, std::uint32_t*) override {
    return kNotImplemented;
  }
  HRESULT ResetManagedStatus(std::uint32_t) override { return kNotImplemented; }

 protected:
  ~ControlStub() = default;
};

}  // namespace varnel::platform
