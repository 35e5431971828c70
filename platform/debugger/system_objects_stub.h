// Every slot of IDebugSystemObjects answers that it is not implemented. See engine_stub.h.
#pragma once

#include "platform/debugger/system_objects.h"

namespace varnel::platform {

class SystemObjectsStub : public IDebugSystemObjects {
 public:
  // IDebugSystemObjects
  HRESULT GetEventThread(std::uint32_t*) override { return kNotImplemented; }
  HRESULT GetEventProcess(std::uint32_t*) override { return kNotImplemented; }
  HRESULT GetCurrentThreadId(std::uint32_t*) override { return kNotImplemented; }
  HRESULT SetCurrentThreadId(std::uint32_t) override { return kNotImplemented; }
  HRESULT GetCurrentProcessId(std::uint32_t*) override { return kNotImplemented; }
  HRESULT SetCurrentProcessId(std::uint32_t) override { return kNotImplemented; }
  HRESULT GetNumberThreads(std::uint32_t*) override { return kNotImplemented; }
  HRESULT GetTotalNumberThreads(std::uint32_t*, std::uint32_t*) override { return kNotImplemented; }
  HRESULT GetThreadIdsByIndex(std::uint32_t, std::uint32_t, std::uint32_t*, std::uint32_t*) override {
    return kNotImplemented;
  }
  HRESULT GetThreadIdByProcessor(std::uint32_t, std::uint32_t*) override { return kNotImplemented; }
  HRESULT GetCurrentThreadDataOffset(std::uint64_t*) override { return kNotImplemented; }
  HRESULT GetThreadIdByDataOffset(std::uint64_t, std::uint32_t*) override { return kNotImplemented; }
  HRESULT GetCurrentThreadTeb(std::uint64_t*) override { return kNotImplemented; }
  HRESULT GetThreadIdByTeb(std::uint64_t, std::uint32_t*) override { return kNotImplemented; }
  HRESULT GetCurrentThreadSystemId(std::uint32_t*) override { return kNotImplemented; }
  HRESULT GetThreadIdBySystemId(std::uint32_t, std::uint32_t*) override { return kNotImplemented; }
  HRESULT GetCurrentThreadHandle(std::uint64_t*) override { return kNotImplemented; }
  HRESULT GetThreadIdByHandle(std::uint64_t, std::uint32_t*) override { return kNotImplemented; }
  HRESULT GetNumberProcesses(std::uint32_t*) override { return kNotImplemented; }
  HRESULT GetProcessIdsByIndex(std::uint32_t, std::uint32_t, std::uint32_t*, std::uint32_t*) override {
    return kNotImplemented;
  }
  HRESULT GetCurrentProcessDataOffset(std::uint64_t*) override { return kNotImplemented; }
  HRESULT GetProcessIdByDataOffset(std::uint64_t, std::uint32_t*) override { return kNotImplemented; }
  HRESULT GetCurrentProcessPeb(std::uint64_t*) override { return kNotImplemented; }
  HRESULT GetProcessIdByPeb(std::uint64_t, std::uint32_t*) override { return kNotImplemented; }
  HRESULT GetCurrentProcessSystemId(std::uint32_t*) override { return kNotImplemented; }
  HRESULT GetProcessIdBySystemId(std::uint32_t, std::uint32_t*) override { return kNotImplemented; }
  HRESULT GetCurrentProcessHandle(std::uint64_t*) override { return kNotImplemented; }
  HRESULT GetProcessIdByHandle(std::uint64_t, std::uint32_t*) override { return kNotImplemented; }
  HRESULT GetCurrentProcessExecutableName(char*, std::uint32_t, std::uint32_t*) override { return kNotImplemented; }

 protected:
  ~SystemObjectsStub() = default;
};

}  // namespace varnel::platform
