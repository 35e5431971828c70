// The engine's control interface: waiting, facts of the target's system, stacks, commands. See engine.h for who may
// call and who owns what.
#pragma once

#include <cstdarg>

#include "platform/debugger/types.h"

namespace varnel::platform {

/// Slots 3 to 94.
class IDebugControl : public IUnknown {
 public:
  virtual HRESULT GetInterrupt() = 0;
  virtual HRESULT SetInterrupt(std::uint32_t flags) = 0;
  virtual HRESULT GetInterruptTimeout(std::uint32_t* seconds) = 0;
  virtual HRESULT SetInterruptTimeout(std::uint32_t seconds) = 0;
  virtual HRESULT GetLogFile(char* buffer, std::uint32_t buffer_size, std::uint32_t* file_size, BOOL* append) = 0;
  virtual HRESULT OpenLogFile(const char* file, BOOL append) = 0;
  virtual HRESULT CloseLogFile() = 0;
  virtual HRESULT GetLogMask(std::uint32_t* mask) = 0;
  virtual HRESULT SetLogMask(std::uint32_t mask) = 0;
  virtual HRESULT Input(char* buffer, std::uint32_t buffer_size, std::uint32_t* input_size) = 0;
  virtual HRESULT ReturnInput(const char* buffer) = 0;
  virtual HRESULT Output(std::uint32_t mask, const char* format, ...) = 0;
  virtual HRESULT OutputVaList(std::uint32_t mask, const char* format, std::va_list args) = 0;
  virtual HRESULT ControlledOutput(std::uint32_t output_control, std::uint32_t mask, const char* format, ...) = 0;
  virtual HRESULT ControlledOutputVaList(std::uint32_t output_control, std::uint32_t mask, const char* format,
                                         std::va_list args) = 0;
  virtual HRESULT OutputPrompt(std::uint32_t output_control, const char* format, ...) = 0;
  virtual HRESULT OutputPromptVaList(std::uint32_t output_control, const char* format, std::va_list args) = 0;
  virtual HRESULT GetPromptText(char* buffer, std::uint32_t buffer_size, std::uint32_t* text_size) = 0;
  virtual HRESULT OutputCurrentState(std::uint32_t output_control, std::uint32_t flags) = 0;
  virtual HRESULT OutputVersionInformation(std::uint32_t output_control) = 0;
  virtual HRESULT GetNotifyEventHandle(std::uint64_t* handle) = 0;
  virtual HRESULT SetNotifyEventHandle(std::uint64_t handle) = 0;
  virtual HRESULT Assemble(std::uint64_t offset, const char* instr, std::uint64_t* end_offset) = 0;
  virtual HRESULT Disassemble(std::uint64_t offset, std::uint32_t flags, char* buffer, std::uint32_t buffer_size,
                              std::uint32_t* disassembly_size, std::uint64_t* end_offset) = 0;
  virtual HRESULT GetDisassembleEffectiveOffset(std::uint64_t* offset) = 0;
  virtual HRESULT OutputDisassembly(std::uint32_t output_control, std::uint64_t offset, std::uint32_t flags,
                                    std::uint64_t* end_offset) = 0;
  virtual HRESULT OutputDisassemblyLines(std::uint32_t output_control, std::uint32_t previous_lines,
                                         std::uint32_t total_lines, std::uint64_t offset, std::uint32_t flags,
                                         std::uint32_t* offset_line, std::uint64_t* start_offset,
                                         std::uint64_t* end_offset, std::uint64_t* line_offsets) = 0;
  virtual HRESULT GetNearInstruction(std::uint64_t offset, std::int32_t delta, std::uint64_t* near_offset) = 0;
  /// Three zero offsets start at the current context. Writes at most frames_size frames.
  virtual HRESULT GetStackTrace(std::uint64_t frame_offset, std::uint64_t stack_offset,
                                std::uint64_t instruction_offset, DEBUG_STACK_FRAME* frames, std::uint32_t frames_size,
                                std::uint32_t* frames_filled) = 0;
  virtual HRESULT GetReturnOffset(std::uint64_t* offset) = 0;
  virtual HRESULT OutputStackTrace(std::uint32_t output_control, DEBUG_STACK_FRAME* frames, std::uint32_t frames_size,
                                   std::uint32_t flags) = 0;
  /// Class 1 is a kernel; its dumps have the qualifiers in types.h.
  virtual HRESULT GetDebuggeeType(std::uint32_t* target_class, std::uint32_t* qualifier) = 0;
  /// An IMAGE_FILE_MACHINE number: 34404 is x64.
  virtual HRESULT GetActualProcessorType(std::uint32_t* type) = 0;
  virtual HRESULT GetExecutingProcessorType(std::uint32_t* type) = 0;
  virtual HRESULT GetNumberPossibleExecutingProcessorTypes(std::uint32_t* number) = 0;
  virtual HRESULT GetPossibleExecutingProcessorTypes(std::uint32_t start, std::uint32_t count,
                                                     std::uint32_t* types) = 0;
  virtual HRESULT GetNumberProcessors(std::uint32_t* number) = 0;
  virtual HRESULT GetSystemVersion(std::uint32_t* platform_id, std::uint32_t* major, std::uint32_t* minor,
                                   char* service_pack_string, std::uint32_t service_pack_string_size,
                                   std::uint32_t* service_pack_string_used, std::uint32_t* service_pack_number,
                                   char* build_string, std::uint32_t build_string_size,
                                   std::uint32_t* build_string_used) = 0;
  virtual HRESULT GetPageSize(std::uint32_t* size) = 0;
  virtual HRESULT IsPointer64Bit() = 0;
  /// Kernel targets only.
  virtual HRESULT ReadBugCheckData(std::uint32_t* code, std::uint64_t* arg1, std::uint64_t* arg2, std::uint64_t* arg3,
                                   std::uint64_t* arg4) = 0;
  virtual HRESULT GetNumberSupportedProcessorTypes(std::uint32_t* number) = 0;
  virtual HRESULT GetSupportedProcessorTypes(std::uint32_t start, std::uint32_t count, std::uint32_t* types) = 0;
  virtual HRESULT GetProcessorTypeNames(std::uint32_t type, char* full_name_buffer, std::uint32_t full_name_buffer_size,
                                        std::uint32_t* full_name_size, char* abbrev_name_buffer,
                                        std::uint32_t abbrev_name_buffer_size, std::uint32_t* abbrev_name_size) = 0;
  virtual HRESULT GetEffectiveProcessorType(std::uint32_t* type) = 0;
  virtual HRESULT SetEffectiveProcessorType(std::uint32_t type) = 0;
  virtual HRESULT GetExecutionStatus(std::uint32_t* status) = 0;
  virtual HRESULT SetExecutionStatus(std::uint32_t status) = 0;
  virtual HRESULT GetCodeLevel(std::uint32_t* level) = 0;
  virtual HRESULT SetCodeLevel(std::uint32_t level) = 0;
  virtual HRESULT GetEngineOptions(std::uint32_t* options) = 0;
  virtual HRESULT AddEngineOptions(std::uint32_t options) = 0;
  virtual HRESULT RemoveEngineOptions(std::uint32_t options) = 0;
  virtual HRESULT SetEngineOptions(std::uint32_t options) = 0;
  virtual HRESULT GetSystemErrorControl(std::uint32_t* output_level, std::uint32_t* break_level) = 0;
  virtual HRESULT SetSystemErrorControl(std::uint32_t output_level, std::uint32_t break_level) = 0;
  virtual HRESULT GetTextMacro(std::uint32_t slot, char* buffer, std::uint32_t buffer_size,
                               std::uint32_t* macro_size) = 0;
  virtual HRESULT SetTextMacro(std::uint32_t slot, const char* macro) = 0;
  virtual HRESULT GetRadix(std::uint32_t* radix) = 0;
  virtual HRESULT SetRadix(std::uint32_t radix) = 0;
  virtual HRESULT Evaluate(const char* expression, std::uint32_t desired_type, DEBUG_VALUE* value,
                           std::uint32_t* remainder_index) = 0;
  virtual HRESULT CoerceValue(DEBUG_VALUE* in, std::uint32_t out_type, DEBUG_VALUE* out) = 0;
  virtual HRESULT CoerceValues(std::uint32_t count, DEBUG_VALUE* in, std::uint32_t* out_types, DEBUG_VALUE* out) = 0;
  virtual HRESULT Execute(std::uint32_t output_control, const char* command, std::uint32_t flags) = 0;
  virtual HRESULT ExecuteCommandFile(std::uint32_t output_control, const char* command_file, std::uint32_t flags) = 0;
  virtual HRESULT GetNumberBreakpoints(std::uint32_t* number) = 0;
  virtual HRESULT GetBreakpointByIndex(std::uint32_t index, IDebugBreakpoint** bp) = 0;
  virtual HRESULT GetBreakpointById(std::uint32_t id, IDebugBreakpoint** bp) = 0;
  virtual HRESULT GetBreakpointParameters(std::uint32_t count, std::uint32_t* ids, std::uint32_t start,
                                          DEBUG_BREAKPOINT_PARAMETERS* params) = 0;
  virtual HRESULT AddBreakpoint(std::uint32_t type, std::uint32_t desired_id, IDebugBreakpoint** bp) = 0;
  virtual HRESULT RemoveBreakpoint(IDebugBreakpoint* bp) = 0;
  virtual HRESULT AddExtension(const char* path, std::uint32_t flags, std::uint64_t* handle) = 0;
  virtual HRESULT RemoveExtension(std::uint64_t handle) = 0;
  virtual HRESULT GetExtensionByPath(const char* path, std::uint64_t* handle) = 0;
  virtual HRESULT CallExtension(std::uint64_t handle, const char* function, const char* arguments) = 0;
  virtual HRESULT GetExtensionFunction(std::uint64_t handle, const char* func_name, Procedure* function) = 0;
  virtual HRESULT GetWindbgExtensionApis32(void* api) = 0;
  virtual HRESULT GetWindbgExtensionApis64(void* api) = 0;
  virtual HRESULT GetNumberEventFilters(std::uint32_t* specific_events, std::uint32_t* specific_exceptions,
                                        std::uint32_t* arbitrary_exceptions) = 0;
  virtual HRESULT GetEventFilterText(std::uint32_t index, char* buffer, std::uint32_t buffer_size,
                                     std::uint32_t* text_size) = 0;
  virtual HRESULT GetEventFilterCommand(std::uint32_t index, char* buffer, std::uint32_t buffer_size,
                                        std::uint32_t* command_size) = 0;
  virtual HRESULT SetEventFilterCommand(std::uint32_t index, const char* command) = 0;
  virtual HRESULT GetSpecificFilterParameters(std::uint32_t start, std::uint32_t count,
                                              DEBUG_SPECIFIC_FILTER_PARAMETERS* params) = 0;
  virtual HRESULT SetSpecificFilterParameters(std::uint32_t start, std::uint32_t count,
                                              DEBUG_SPECIFIC_FILTER_PARAMETERS* params) = 0;
  virtual HRESULT GetSpecificFilterArgument(std::uint32_t index, char* buffer, std::uint32_t buffer_size,
                                            std::uint32_t* argument_size) = 0;
  virtual HRESULT SetSpecificFilterArgument(std::uint32_t index, const char* argument) = 0;
  virtual HRESULT GetExceptionFilterParameters(std::uint32_t count, std::uint32_t* codes, std::uint32_t start,
                                               DEBUG_EXCEPTION_FILTER_PARAMETERS* params) = 0;
  virtual HRESULT SetExceptionFilterParameters(std::uint32_t count, DEBUG_EXCEPTION_FILTER_PARAMETERS* params) = 0;
  virtual HRESULT GetExceptionFilterSecondCommand(std::uint32_t index, char* buffer, std::uint32_t buffer_size,
                                                  std::uint32_t* command_size) = 0;
  virtual HRESULT SetExceptionFilterSecondCommand(std::uint32_t index, const char* command) = 0;
  /// flags 0. Blocks until the target is up (0) or timeout_ms are over (1); any thread that may use the engine.
  virtual HRESULT WaitForEvent(std::uint32_t flags, std::uint32_t timeout) = 0;
  virtual HRESULT GetLastEventInformation(std::uint32_t* type, std::uint32_t* process_id, std::uint32_t* thread_id,
                                          void* extra_information, std::uint32_t extra_information_size,
                                          std::uint32_t* extra_information_used, char* description,
                                          std::uint32_t description_size, std::uint32_t* description_used) = 0;

 protected:
  ~IDebugControl() = default;
};

/// Slots 95 to 102.
class IDebugControl2 : public IDebugControl {
 public:
  /// Seconds since 1970.
  virtual HRESULT GetCurrentTimeDate(std::uint32_t* time_date) = 0;
  /// Seconds since the boot.
  virtual HRESULT GetCurrentSystemUpTime(std::uint32_t* up_time) = 0;
  virtual HRESULT GetDumpFormatFlags(std::uint32_t* format_flags) = 0;
  virtual HRESULT GetNumberTextReplacements(std::uint32_t* num_repl) = 0;
  virtual HRESULT GetTextReplacement(const char* src_text, std::uint32_t index, char* src_buffer,
                                     std::uint32_t src_buffer_size, std::uint32_t* src_size, char* dst_buffer,
                                     std::uint32_t dst_buffer_size, std::uint32_t* dst_size) = 0;
  virtual HRESULT SetTextReplacement(const char* src_text, const char* dst_text) = 0;
  virtual HRESULT RemoveTextReplacements() = 0;
  virtual HRESULT OutputTextReplacements(std::uint32_t output_control, std::uint32_t flags) = 0;

 protected:
  ~IDebugControl2() = default;
};

/// Slots 103 to 115.
class IDebugControl3 : public IDebugControl2 {
 public:
  virtual HRESULT GetAssemblyOptions(std::uint32_t* options) = 0;
  virtual HRESULT AddAssemblyOptions(std::uint32_t options) = 0;
  virtual HRESULT RemoveAssemblyOptions(std::uint32_t options) = 0;
  virtual HRESULT SetAssemblyOptions(std::uint32_t options) = 0;
  virtual HRESULT GetExpressionSyntax(std::uint32_t* flags) = 0;
  virtual HRESULT SetExpressionSyntax(std::uint32_t flags) = 0;
  virtual HRESULT SetExpressionSyntaxByName(const char* abbrev_name) = 0;
  virtual HRESULT GetNumberExpressionSyntaxes(std::uint32_t* number) = 0;
  virtual HRESULT GetExpressionSyntaxNames(std::uint32_t index, char* full_name_buffer,
                                           std::uint32_t full_name_buffer_size, std::uint32_t* full_name_size,
                                           char* abbrev_name_buffer, std::uint32_t abbrev_name_buffer_size,
                                           std::uint32_t* abbrev_name_size) = 0;
  virtual HRESULT GetNumberEvents(std::uint32_t* events) = 0;
  virtual HRESULT GetEventIndexDescription(std::uint32_t index, std::uint32_t which, char* buffer,
                                           std::uint32_t buffer_size, std::uint32_t* desc_size) = 0;
  virtual HRESULT GetCurrentEventIndex(std::uint32_t* index) = 0;
  virtual HRESULT SetNextEventIndex(std::uint32_t relation, std::uint32_t value, std::uint32_t* next_index) = 0;

 protected:
  ~IDebugControl3() = default;
};

/// Slots 116 to 168.
class IDebugControl4 : public IDebugControl3 {
 public:
  virtual HRESULT GetLogFileWide(char16_t* buffer, std::uint32_t buffer_size, std::uint32_t* file_size,
                                 BOOL* append) = 0;
  virtual HRESULT OpenLogFileWide(const char16_t* file, BOOL append) = 0;
  virtual HRESULT InputWide(char16_t* buffer, std::uint32_t buffer_size, std::uint32_t* input_size) = 0;
  virtual HRESULT ReturnInputWide(const char16_t* buffer) = 0;
  virtual HRESULT OutputWide(std::uint32_t mask, const char16_t* format, ...) = 0;
  virtual HRESULT OutputVaListWide(std::uint32_t mask, const char16_t* format, std::va_list args) = 0;
  virtual HRESULT ControlledOutputWide(std::uint32_t output_control, std::uint32_t mask, const char16_t* format,
                                       ...) = 0;
  virtual HRESULT ControlledOutputVaListWide(std::uint32_t output_control, std::uint32_t mask, const char16_t* format,
                                             std::va_list args) = 0;
  virtual HRESULT OutputPromptWide(std::uint32_t output_control, const char16_t* format, ...) = 0;
  virtual HRESULT OutputPromptVaListWide(std::uint32_t output_control, const char16_t* format, std::va_list args) = 0;
  virtual HRESULT GetPromptTextWide(char16_t* buffer, std::uint32_t buffer_size, std::uint32_t* text_size) = 0;
  virtual HRESULT AssembleWide(std::uint64_t offset, const char16_t* instr, std::uint64_t* end_offset) = 0;
  virtual HRESULT DisassembleWide(std::uint64_t offset, std::uint32_t flags, char16_t* buffer,
                                  std::uint32_t buffer_size, std::uint32_t* disassembly_size,
                                  std::uint64_t* end_offset) = 0;
  virtual HRESULT GetProcessorTypeNamesWide(std::uint32_t type, char16_t* full_name_buffer,
                                            std::uint32_t full_name_buffer_size, std::uint32_t* full_name_size,
                                            char16_t* abbrev_name_buffer, std::uint32_t abbrev_name_buffer_size,
                                            std::uint32_t* abbrev_name_size) = 0;
  virtual HRESULT GetTextMacroWide(std::uint32_t slot, char16_t* buffer, std::uint32_t buffer_size,
                                   std::uint32_t* macro_size) = 0;
  virtual HRESULT SetTextMacroWide(std::uint32_t slot, const char16_t* macro) = 0;
  virtual HRESULT EvaluateWide(const char16_t* expression, std::uint32_t desired_type, DEBUG_VALUE* value,
                               std::uint32_t* remainder_index) = 0;
  virtual HRESULT ExecuteWide(std::uint32_t output_control, const char16_t* command, std::uint32_t flags) = 0;
  virtual HRESULT ExecuteCommandFileWide(std::uint32_t output_control, const char16_t* command_file,
                                         std::uint32_t flags) = 0;
  virtual HRESULT GetBreakpointByIndex2(std::uint32_t index, IDebugBreakpoint2** bp) = 0;
  virtual HRESULT GetBreakpointById2(std::uint32_t id, IDebugBreakpoint2** bp) = 0;
  virtual HRESULT AddBreakpoint2(std::uint32_t type, std::uint32_t desired_id, IDebugBreakpoint2** bp) = 0;
  virtual HRESULT RemoveBreakpoint2(IDebugBreakpoint2* bp) = 0;
  virtual HRESULT AddExtensionWide(const char16_t* path, std::uint32_t flags, std::uint64_t* handle) = 0;
  virtual HRESULT GetExtensionByPathWide(const char16_t* path, std::uint64_t* handle) = 0;
  virtual HRESULT CallExtensionWide(std::uint64_t handle, const char16_t* function, const char16_t* arguments) = 0;
  virtual HRESULT GetExtensionFunctionWide(std::uint64_t handle, const char16_t* func_name, Procedure* function) = 0;
  virtual HRESULT GetEventFilterTextWide(std::uint32_t index, char16_t* buffer, std::uint32_t buffer_size,
                                         std::uint32_t* text_size) = 0;
  virtual HRESULT GetEventFilterCommandWide(std::uint32_t index, char16_t* buffer, std::uint32_t buffer_size,
                                            std::uint32_t* command_size) = 0;
  virtual HRESULT SetEventFilterCommandWide(std::uint32_t index, const char16_t* command) = 0;
  virtual HRESULT GetSpecificFilterArgumentWide(std::uint32_t index, char16_t* buffer, std::uint32_t buffer_size,
                                                std::uint32_t* argument_size) = 0;
  virtual HRESULT SetSpecificFilterArgumentWide(std::uint32_t index, const char16_t* argument) = 0;
  virtual HRESULT GetExceptionFilterSecondCommandWide(std::uint32_t index, char16_t* buffer, std::uint32_t buffer_size,
                                                      std::uint32_t* command_size) = 0;
  virtual HRESULT SetExceptionFilterSecondCommandWide(std::uint32_t index, const char16_t* command) = 0;
  virtual HRESULT GetLastEventInformationWide(std::uint32_t* type, std::uint32_t* process_id, std::uint32_t* thread_id,
                                              void* extra_information, std::uint32_t extra_information_size,
                                              std::uint32_t* extra_information_used, char16_t* description,
                                              std::uint32_t description_size, std::uint32_t* description_used) = 0;
  virtual HRESULT GetTextReplacementWide(const char16_t* src_text, std::uint32_t index, char16_t* src_buffer,
                                         std::uint32_t src_buffer_size, std::uint32_t* src_size, char16_t* dst_buffer,
                                         std::uint32_t dst_buffer_size, std::uint32_t* dst_size) = 0;
  virtual HRESULT SetTextReplacementWide(const char16_t* src_text, const char16_t* dst_text) = 0;
  virtual HRESULT SetExpressionSyntaxByNameWide(const char16_t* abbrev_name) = 0;
  virtual HRESULT GetExpressionSyntaxNamesWide(std::uint32_t index, char16_t* full_name_buffer,
                                               std::uint32_t full_name_buffer_size, std::uint32_t* full_name_size,
                                               char16_t* abbrev_name_buffer, std::uint32_t abbrev_name_buffer_size,
                                               std::uint32_t* abbrev_name_size) = 0;
  virtual HRESULT GetEventIndexDescriptionWide(std::uint32_t index, std::uint32_t which, char16_t* buffer,
                                               std::uint32_t buffer_size, std::uint32_t* desc_size) = 0;
  virtual HRESULT GetLogFile2(char* buffer, std::uint32_t buffer_size, std::uint32_t* file_size,
                              std::uint32_t* flags) = 0;
  virtual HRESULT OpenLogFile2(const char* file, std::uint32_t flags) = 0;
  virtual HRESULT GetLogFile2Wide(char16_t* buffer, std::uint32_t buffer_size, std::uint32_t* file_size,
                                  std::uint32_t* flags) = 0;
  virtual HRESULT OpenLogFile2Wide(const char16_t* file, std::uint32_t flags) = 0;
  virtual HRESULT GetSystemVersionValues(std::uint32_t* platform_id, std::uint32_t* win32_major,
                                         std::uint32_t* win32_minor, std::uint32_t* kd_major,
                                         std::uint32_t* kd_minor) = 0;
  virtual HRESULT GetSystemVersionString(std::uint32_t which, char* buffer, std::uint32_t buffer_size,
                                         std::uint32_t* string_size) = 0;
  virtual HRESULT GetSystemVersionStringWide(std::uint32_t which, char16_t* buffer, std::uint32_t buffer_size,
                                             std::uint32_t* string_size) = 0;
  virtual HRESULT GetContextStackTrace(void* start_context, std::uint32_t start_context_size, DEBUG_STACK_FRAME* frames,
                                       std::uint32_t frames_size, void* frame_contexts,
                                       std::uint32_t frame_contexts_size, std::uint32_t frame_contexts_entry_size,
                                       std::uint32_t* frames_filled) = 0;
  virtual HRESULT OutputContextStackTrace(std::uint32_t output_control, DEBUG_STACK_FRAME* frames,
                                          std::uint32_t frames_size, void* frame_contexts,
                                          std::uint32_t frame_contexts_size, std::uint32_t frame_contexts_entry_size,
                                          std::uint32_t flags) = 0;
  virtual HRESULT GetStoredEventInformation(std::uint32_t* type, std::uint32_t* process_id, std::uint32_t* thread_id,
                                            void* context, std::uint32_t context_size, std::uint32_t* context_used,
                                            void* extra_information, std::uint32_t extra_information_size,
                                            std::uint32_t* extra_information_used) = 0;
  virtual HRESULT GetManagedStatus(std::uint32_t* flags, std::uint32_t which_string, char* string,
                                   std::uint32_t string_size, std::uint32_t* string_needed) = 0;
  virtual HRESULT GetManagedStatusWide(std::uint32_t* flags, std::uint32_t which_string, char16_t* string,
                                       std::uint32_t string_size, std::uint32_t* string_needed) = 0;
  virtual HRESULT ResetManagedStatus(std::uint32_t flags) = 0;

 protected:
  ~IDebugControl4() = default;
};

}  // namespace varnel::platform
