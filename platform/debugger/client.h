// The engine's client: opening targets, sessions, callbacks. See engine.h for who may call and who owns what.
#pragma once

#include "platform/debugger/types.h"

// The system's own headers may have made this name a macro; the slot keeps its name.
#pragma push_macro("CreateProcess")
#undef CreateProcess

namespace varnel::platform {

/// Slots 3 to 47.
class IDebugClient : public IUnknown {
 public:
  virtual HRESULT AttachKernel(std::uint32_t flags, const char* connect_options) = 0;
  virtual HRESULT GetKernelConnectionOptions(char* buffer, std::uint32_t buffer_size, std::uint32_t* options_size) = 0;
  virtual HRESULT SetKernelConnectionOptions(const char* options) = 0;
  virtual HRESULT StartProcessServer(std::uint32_t flags, const char* options, void* reserved) = 0;
  virtual HRESULT ConnectProcessServer(const char* remote_options, std::uint64_t* server) = 0;
  virtual HRESULT DisconnectProcessServer(std::uint64_t server) = 0;
  virtual HRESULT GetRunningProcessSystemIds(std::uint64_t server, std::uint32_t* ids, std::uint32_t count,
                                             std::uint32_t* actual_count) = 0;
  virtual HRESULT GetRunningProcessSystemIdByExecutableName(std::uint64_t server, const char* exe_name,
                                                            std::uint32_t flags, std::uint32_t* id) = 0;
  virtual HRESULT GetRunningProcessDescription(std::uint64_t server, std::uint32_t system_id, std::uint32_t flags,
                                               char* exe_name, std::uint32_t exe_name_size,
                                               std::uint32_t* actual_exe_name_size, char* description,
                                               std::uint32_t description_size,
                                               std::uint32_t* actual_description_size) = 0;
  virtual HRESULT AttachProcess(std::uint64_t server, std::uint32_t process_id, std::uint32_t attach_flags) = 0;
  virtual HRESULT CreateProcess(std::uint64_t server, char* command_line, std::uint32_t create_flags) = 0;
  virtual HRESULT CreateProcessAndAttach(std::uint64_t server, char* command_line, std::uint32_t create_flags,
                                         std::uint32_t process_id, std::uint32_t attach_flags) = 0;
  virtual HRESULT GetProcessOptions(std::uint32_t* options) = 0;
  virtual HRESULT AddProcessOptions(std::uint32_t options) = 0;
  virtual HRESULT RemoveProcessOptions(std::uint32_t options) = 0;
  virtual HRESULT SetProcessOptions(std::uint32_t options) = 0;
  /// Names the dump, in the system code page. Nothing is loaded yet: the target comes up in WaitForEvent.
  virtual HRESULT OpenDumpFile(const char* dump_file) = 0;
  virtual HRESULT WriteDumpFile(const char* dump_file, std::uint32_t qualifier) = 0;
  virtual HRESULT ConnectSession(std::uint32_t flags, std::uint32_t history_limit) = 0;
  virtual HRESULT StartServer(const char* options) = 0;
  virtual HRESULT OutputServers(std::uint32_t output_control, const char* machine, std::uint32_t flags) = 0;
  virtual HRESULT TerminateProcesses() = 0;
  virtual HRESULT DetachProcesses() = 0;
  /// flags 0: ends the session without touching the dump.
  virtual HRESULT EndSession(std::uint32_t flags) = 0;
  virtual HRESULT GetExitCode(std::uint32_t* code) = 0;
  virtual HRESULT DispatchCallbacks(std::uint32_t timeout) = 0;
  virtual HRESULT ExitDispatch(IDebugClient* client) = 0;
  virtual HRESULT CreateClient(IDebugClient** client) = 0;
  virtual HRESULT GetInputCallbacks(IDebugInputCallbacks** callbacks) = 0;
  virtual HRESULT SetInputCallbacks(IDebugInputCallbacks* callbacks) = 0;
  virtual HRESULT GetOutputCallbacks(IDebugOutputCallbacks** callbacks) = 0;
  virtual HRESULT SetOutputCallbacks(IDebugOutputCallbacks* callbacks) = 0;
  virtual HRESULT GetOutputMask(std::uint32_t* mask) = 0;
  virtual HRESULT SetOutputMask(std::uint32_t mask) = 0;
  virtual HRESULT GetOtherOutputMask(IDebugClient* client, std::uint32_t* mask) = 0;
  virtual HRESULT SetOtherOutputMask(IDebugClient* client, std::uint32_t mask) = 0;
  virtual HRESULT GetOutputWidth(std::uint32_t* columns) = 0;
  virtual HRESULT SetOutputWidth(std::uint32_t columns) = 0;
  virtual HRESULT GetOutputLinePrefix(char* buffer, std::uint32_t buffer_size, std::uint32_t* prefix_size) = 0;
  virtual HRESULT SetOutputLinePrefix(const char* prefix) = 0;
  virtual HRESULT GetIdentity(char* buffer, std::uint32_t buffer_size, std::uint32_t* identity_size) = 0;
  virtual HRESULT OutputIdentity(std::uint32_t output_control, std::uint32_t flags, const char* format) = 0;
  virtual HRESULT GetEventCallbacks(IDebugEventCallbacks** callbacks) = 0;
  virtual HRESULT SetEventCallbacks(IDebugEventCallbacks* callbacks) = 0;
  virtual HRESULT FlushCallbacks() = 0;

 protected:
  ~IDebugClient() = default;
};

/// Slots 48 to 55.
class IDebugClient2 : public IDebugClient {
 public:
  virtual HRESULT WriteDumpFile2(const char* dump_file, std::uint32_t qualifier, std::uint32_t format_flags,
                                 const char* comment) = 0;
  virtual HRESULT AddDumpInformationFile(const char* info_file, std::uint32_t type) = 0;
  virtual HRESULT EndProcessServer(std::uint64_t server) = 0;
  virtual HRESULT WaitForProcessServerEnd(std::uint32_t timeout) = 0;
  virtual HRESULT IsKernelDebuggerEnabled() = 0;
  virtual HRESULT TerminateCurrentProcess() = 0;
  virtual HRESULT DetachCurrentProcess() = 0;
  virtual HRESULT AbandonCurrentProcess() = 0;

 protected:
  ~IDebugClient2() = default;
};

/// Slots 56 to 59.
class IDebugClient3 : public IDebugClient2 {
 public:
  virtual HRESULT GetRunningProcessSystemIdByExecutableNameWide(std::uint64_t server, const char16_t* exe_name,
                                                                std::uint32_t flags, std::uint32_t* id) = 0;
  virtual HRESULT GetRunningProcessDescriptionWide(std::uint64_t server, std::uint32_t system_id, std::uint32_t flags,
                                                   char16_t* exe_name, std::uint32_t exe_name_size,
                                                   std::uint32_t* actual_exe_name_size, char16_t* description,
                                                   std::uint32_t description_size,
                                                   std::uint32_t* actual_description_size) = 0;
  virtual HRESULT CreateProcessWide(std::uint64_t server, char16_t* command_line, std::uint32_t create_flags) = 0;
  virtual HRESULT CreateProcessAndAttachWide(std::uint64_t server, char16_t* command_line, std::uint32_t create_flags,
                                             std::uint32_t process_id, std::uint32_t attach_flags) = 0;

 protected:
  ~IDebugClient3() = default;
};

/// Slots 60 to 65.
class IDebugClient4 : public IDebugClient3 {
 public:
  /// As OpenDumpFile. file_handle 0: the file is opened by its name.
  virtual HRESULT OpenDumpFileWide(const char16_t* file_name, std::uint64_t file_handle) = 0;
  virtual HRESULT WriteDumpFileWide(const char16_t* file_name, std::uint64_t file_handle, std::uint32_t qualifier,
                                    std::uint32_t format_flags, const char16_t* comment) = 0;
  virtual HRESULT AddDumpInformationFileWide(const char16_t* file_name, std::uint64_t file_handle,
                                             std::uint32_t type) = 0;
  virtual HRESULT GetNumberDumpFiles(std::uint32_t* number) = 0;
  virtual HRESULT GetDumpFile(std::uint32_t index, char* buffer, std::uint32_t buffer_size, std::uint32_t* name_size,
                              std::uint64_t* handle, std::uint32_t* type) = 0;
  virtual HRESULT GetDumpFileWide(std::uint32_t index, char16_t* buffer, std::uint32_t buffer_size,
                                  std::uint32_t* name_size, std::uint64_t* handle, std::uint32_t* type) = 0;

 protected:
  ~IDebugClient4() = default;
};

}  // namespace varnel::platform

#pragma pop_macro("CreateProcess")
