// The engine's processes and threads. See engine.h for who may call and who owns what.
#pragma once

#include "platform/debugger/types.h"

namespace varnel::platform {

/// Slots 3 to 31.
class IDebugSystemObjects : public IUnknown {
 public:
  virtual HRESULT GetEventThread(std::uint32_t* id) = 0;
  virtual HRESULT GetEventProcess(std::uint32_t* id) = 0;
  virtual HRESULT GetCurrentThreadId(std::uint32_t* id) = 0;
  virtual HRESULT SetCurrentThreadId(std::uint32_t id) = 0;
  virtual HRESULT GetCurrentProcessId(std::uint32_t* id) = 0;
  virtual HRESULT SetCurrentProcessId(std::uint32_t id) = 0;
  virtual HRESULT GetNumberThreads(std::uint32_t* number) = 0;
  virtual HRESULT GetTotalNumberThreads(std::uint32_t* total, std::uint32_t* largest_process) = 0;
  virtual HRESULT GetThreadIdsByIndex(std::uint32_t start, std::uint32_t count, std::uint32_t* ids,
                                      std::uint32_t* sys_ids) = 0;
  virtual HRESULT GetThreadIdByProcessor(std::uint32_t processor, std::uint32_t* id) = 0;
  virtual HRESULT GetCurrentThreadDataOffset(std::uint64_t* offset) = 0;
  virtual HRESULT GetThreadIdByDataOffset(std::uint64_t offset, std::uint32_t* id) = 0;
  virtual HRESULT GetCurrentThreadTeb(std::uint64_t* offset) = 0;
  virtual HRESULT GetThreadIdByTeb(std::uint64_t offset, std::uint32_t* id) = 0;
  virtual HRESULT GetCurrentThreadSystemId(std::uint32_t* sys_id) = 0;
  virtual HRESULT GetThreadIdBySystemId(std::uint32_t sys_id, std::uint32_t* id) = 0;
  virtual HRESULT GetCurrentThreadHandle(std::uint64_t* handle) = 0;
  virtual HRESULT GetThreadIdByHandle(std::uint64_t handle, std::uint32_t* id) = 0;
  virtual HRESULT GetNumberProcesses(std::uint32_t* number) = 0;
  virtual HRESULT GetProcessIdsByIndex(std::uint32_t start, std::uint32_t count, std::uint32_t* ids,
                                       std::uint32_t* sys_ids) = 0;
  /// The address of the process's own kernel record.
  virtual HRESULT GetCurrentProcessDataOffset(std::uint64_t* offset) = 0;
  virtual HRESULT GetProcessIdByDataOffset(std::uint64_t offset, std::uint32_t* id) = 0;
  virtual HRESULT GetCurrentProcessPeb(std::uint64_t* offset) = 0;
  virtual HRESULT GetProcessIdByPeb(std::uint64_t offset, std::uint32_t* id) = 0;
  virtual HRESULT GetCurrentProcessSystemId(std::uint32_t* sys_id) = 0;
  virtual HRESULT GetProcessIdBySystemId(std::uint32_t sys_id, std::uint32_t* id) = 0;
  virtual HRESULT GetCurrentProcessHandle(std::uint64_t* handle) = 0;
  virtual HRESULT GetProcessIdByHandle(std::uint64_t handle, std::uint32_t* id) = 0;
  virtual HRESULT GetCurrentProcessExecutableName(char* buffer, std::uint32_t buffer_size, std::uint32_t* exe_size) = 0;

 protected:
  ~IDebugSystemObjects() = default;
};

}  // namespace varnel::platform
