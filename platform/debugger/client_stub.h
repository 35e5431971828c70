// Every slot of IDebugClient4 answers that it is not implemented. See engine_stub.h.
#pragma once

#include "platform/debugger/client.h"

#pragma push_macro("CreateProcess")
#undef CreateProcess

namespace varnel::platform {

class ClientStub : public IDebugClient4 {
 public:
  // IDebugClient
  HRESULT AttachKernel(std::uint32_t, const char*) override { return kNotImplemented; }
  HRESULT GetKernelConnectionOptions(char*, std::uint32_t, std::uint32_t*) override { return kNotImplemented; }
  HRESULT SetKernelConnectionOptions(const char*) override { return kNotImplemented; }
  HRESULT StartProcessServer(std::uint32_t, const char*, void*) override { return kNotImplemented; }
  HRESULT ConnectProcessServer(const char*, std::uint64_t*) override { return kNotImplemented; }
  HRESULT DisconnectProcessServer(std::uint64_t) override { return kNotImplemented; }
  HRESULT GetRunningProcessSystemIds(std::uint64_t, std::uint32_t*, std::uint32_t, std::uint32_t*) override {
    return kNotImplemented;
  }
  HRESULT GetRunningProcessSystemIdByExecutableName(std::uint64_t, const char*, std::uint32_t,
                                                    std::uint32_t*) override {
    return kNotImplemented;
  }
  HRESULT GetRunningProcessDescription(std::uint64_t, std::uint32_t, std::uint32_t, char*, std::uint32_t,
                                       std::uint32_t*, char*, std::uint32_t, std::uint32_t*) override {
    return kNotImplemented;
  }
  HRESULT AttachProcess(std::uint64_t, std::uint32_t, std::uint32_t) override { return kNotImplemented; }
  HRESULT CreateProcess(std::uint64_t, char*, std::uint32_t) override { return kNotImplemented; }
  HRESULT CreateProcessAndAttach(std::uint64_t, char*, std::uint32_t, std::uint32_t, std::uint32_t) override {
    return kNotImplemented;
  }
  HRESULT GetProcessOptions(std::uint32_t*) override { return kNotImplemented; }
  HRESULT AddProcessOptions(std::uint32_t) override { return kNotImplemented; }
  HRESULT RemoveProcessOptions(std::uint32_t) override { return kNotImplemented; }
  HRESULT SetProcessOptions(std::uint32_t) override { return kNotImplemented; }
  HRESULT OpenDumpFile(const char*) override { return kNotImplemented; }
  HRESULT WriteDumpFile(const char*, std::uint32_t) override { return kNotImplemented; }
  HRESULT ConnectSession(std::uint32_t, std::uint32_t) override { return kNotImplemented; }
  HRESULT StartServer(const char*) override { return kNotImplemented; }
  HRESULT OutputServers(std::uint32_t, const char*, std::uint32_t) override { return kNotImplemented; }
  HRESULT TerminateProcesses() override { return kNotImplemented; }
  HRESULT DetachProcesses() override { return kNotImplemented; }
  HRESULT EndSession(std::uint32_t) override { return kNotImplemented; }
  HRESULT GetExitCode(std::uint32_t*) override { return kNotImplemented; }
  HRESULT DispatchCallbacks(std::uint32_t) override { return kNotImplemented; }
  HRESULT ExitDispatch(IDebugClient*) override { return kNotImplemented; }
  HRESULT CreateClient(IDebugClient**) override { return kNotImplemented; }
  HRESULT GetInputCallbacks(IDebugInputCallbacks**) override { return kNotImplemented; }
  HRESULT SetInputCallbacks(IDebugInputCallbacks*) override { return kNotImplemented; }
  HRESULT GetOutputCallbacks(IDebugOutputCallbacks**) override { return kNotImplemented; }
  HRESULT SetOutputCallbacks(IDebugOutputCallbacks*) override { return kNotImplemented; }
  HRESULT GetOutputMask(std::uint32_t*) override { return kNotImplemented; }
  HRESULT SetOutputMask(std::uint32_t) override { return kNotImplemented; }
  HRESULT GetOtherOutputMask(IDebugClient*, std::uint32_t*) override { return kNotImplemented; }
  HRESULT SetOtherOutputMask(IDebugClient*, std::uint32_t) override { return kNotImplemented; }
  HRESULT GetOutputWidth(std::uint32_t*) override { return kNotImplemented; }
  HRESULT SetOutputWidth(std::uint32_t) override { return kNotImplemented; }
  HRESULT GetOutputLinePrefix(char*, std::uint32_t, std::uint32_t*) override { return kNotImplemented; }
  HRESULT SetOutputLinePrefix(const char*) override { return kNotImplemented; }
  HRESULT GetIdentity(char*, std::uint32_t, std::uint32_t*) override { return kNotImplemented; }
  HRESULT OutputIdentity(std::uint32_t, std::uint32_t, const char*) override { return kNotImplemented; }
  HRESULT GetEventCallbacks(IDebugEventCallbacks**) override { return kNotImplemented; }
  HRESULT SetEventCallbacks(IDebugEventCallbacks*) override { return kNotImplemented; }
  HRESULT FlushCallbacks() override { return kNotImplemented; }

  // IDebugClient2
  HRESULT WriteDumpFile2(const char*, std::uint32_t, std::uint32_t, const char*) override { return kNotImplemented; }
  HRESULT AddDumpInformationFile(const char*, std::uint32_t) override { return kNotImplemented; }
  HRESULT EndProcessServer(std::uint64_t) override { return kNotImplemented; }
  HRESULT WaitForProcessServerEnd(std::uint32_t) override { return kNotImplemented; }
  HRESULT IsKernelDebuggerEnabled() override { return kNotImplemented; }
  HRESULT TerminateCurrentProcess() override { return kNotImplemented; }
  HRESULT DetachCurrentProcess() override { return kNotImplemented; }
  HRESULT AbandonCurrentProcess() override { return kNotImplemented; }

  // IDebugClient3
  HRESULT GetRunningProcessSystemIdByExecutableNameWide(std::uint64_t, const char16_t*, std::uint32_t,
                                                        std::uint32_t*) override {
    return kNotImplemented;
  }
  HRESULT GetRunningProcessDescriptionWide(std::uint64_t, std::uint32_t, std::uint32_t, char16_t*, std::uint32_t,
                                           std::uint32_t*, char16_t*, std::uint32_t, std::uint32_t*) override {
    return kNotImplemented;
  }
  HRESULT CreateProcessWide(std::uint64_t, char16_t*, std::uint32_t) override { return kNotImplemented; }
  HRESULT CreateProcessAndAttachWide(std::uint64_t, char16_t*, std::uint32_t, std::uint32_t, std::uint32_t) override {
    return kNotImplemented;
  }

  // IDebugClient4
  HRESULT OpenDumpFileWide(const char16_t*, std::uint64_t) override { return kNotImplemented; }
  HRESULT WriteDumpFileWide(const char16_t*, std::uint64_t, std::uint32_t, std::uint32_t, const char16_t*) override {
    return kNotImplemented;
  }
  HRESULT AddDumpInformationFileWide(const char16_t*, std::uint64_t, std::uint32_t) override { return kNotImplemented; }
  HRESULT GetNumberDumpFiles(std::uint32_t*) override { return kNotImplemented; }
  HRESULT GetDumpFile(std::uint32_t, char*, std::uint32_t, std::uint32_t*, std::uint64_t*, std::uint32_t*) override {
    return kNotImplemented;
  }
  HRESULT GetDumpFileWide(std::uint32_t, char16_t*, std::uint32_t, std::uint32_t*, std::uint64_t*,
                          std::uint32_t*) override {
    return kNotImplemented;
  }

 protected:
  ~ClientStub() = default;
};

}  // namespace varnel::platform

#pragma pop_macro("CreateProcess")
