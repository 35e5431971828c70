// The engine's memory, threads and registers.
#include <cstring>

#include "platform/embedded/debugger/dump_engine.h"
#include "platform/embedded/debugger/give.h"
#include "platform/embedded/debugger/target_registers.h"

namespace varnel::embedded {
namespace {

using platform::HRESULT;

constexpr std::uint64_t kPageSize = 4096;
constexpr std::uint32_t kMemoryCommitted = 0x1000;
constexpr HRESULT kNoPage = results::Of(0xD0000147);  // of an address that no page in memory stands behind

std::span<std::byte> BytesOf(void* buffer, std::uint32_t size) {
  return {static_cast<std::byte*>(buffer), size};
}

/// Some bytes are a success.
HRESULT GiveRead(std::size_t read, std::uint32_t asked, std::uint32_t* bytes_read) {
  Put(bytes_read, read);
  return read == 0 && asked != 0 ? results::kReadFault : results::kOk;
}

}  // namespace

HRESULT DumpEngine::ReadVirtual(std::uint64_t offset, void* buffer, std::uint32_t buffer_size,
                                std::uint32_t* bytes_read) {
  return WithX64([&](DebugTarget* target) {
    if (buffer == nullptr) return results::kPointer;
    return GiveRead(target->dump().ReadVirtual(offset, BytesOf(buffer, buffer_size)), buffer_size, bytes_read);
  });
}

HRESULT DumpEngine::ReadVirtualUncached(std::uint64_t offset, void* buffer, std::uint32_t buffer_size,
                                        std::uint32_t* bytes_read) {
  return ReadVirtual(offset, buffer, buffer_size, bytes_read);
}

HRESULT DumpEngine::ReadPhysical(std::uint64_t offset, void* buffer, std::uint32_t buffer_size,
                                 std::uint32_t* bytes_read) {
  return WithX64([&](DebugTarget* target) {
    if (buffer == nullptr) return results::kPointer;
    return GiveRead(target->dump().ReadPhysical(offset, BytesOf(buffer, buffer_size)), buffer_size, bytes_read);
  });
}

HRESULT DumpEngine::VirtualToPhysical(std::uint64_t address, std::uint64_t* physical) {
  return WithX64([&](DebugTarget* target) {
    const auto found = target->dump().Translate(address);
    return found ? Give(found, physical) : kNoPage;
  });
}

HRESULT DumpEngine::QueryVirtual(std::uint64_t offset, platform::MEMORY_BASIC_INFORMATION64* info) {
  return WithX64([&](DebugTarget* target) {
    if (info == nullptr) return results::kPointer;
    const auto protection = target->dump().Protection(offset);
    if (!protection) return results::kFail;
    *info = {};
    info->BaseAddress = offset & ~(kPageSize - 1);
    info->AllocationBase = info->BaseAddress;
    info->AllocationProtect = *protection;
    info->RegionSize = kPageSize;
    info->State = kMemoryCommitted;
    info->Protect = *protection;
    return results::kOk;
  });
}

HRESULT DumpEngine::GetCurrentThreadId(std::uint32_t* id) {
  return WithX64([&](DebugTarget* target) {
    Put(id, target->dump().CrashingProcessor().value_or(0));
    return results::kOk;
  });
}

HRESULT DumpEngine::GetCurrentProcessId(std::uint32_t* id) {
  return WithX64([&](DebugTarget*) {
    Put(id, 0);
    return results::kOk;
  });
}

HRESULT DumpEngine::GetNumberThreads(std::uint32_t* number) {
  return GetNumberProcessors(number);
}

HRESULT DumpEngine::GetNumberProcesses(std::uint32_t* number) {
  return WithTarget([&](DebugTarget*) {
    Put(number, 1);
    return results::kOk;
  });
}

HRESULT DumpEngine::GetCurrentThreadDataOffset(std::uint64_t* offset) {
  return WithX64([&](DebugTarget* target) { return Give(target->dump().CurrentThread(), offset); });
}

HRESULT DumpEngine::GetCurrentProcessDataOffset(std::uint64_t* offset) {
  return WithX64([&](DebugTarget* target) { return Give(target->dump().CurrentProcess(), offset); });
}

HRESULT DumpEngine::GetNumberRegisters(std::uint32_t* number) {
  return WithX64([&](DebugTarget*) {
    Put(number, RegisterCount());
    return results::kOk;
  });
}

HRESULT DumpEngine::GetDescription(std::uint32_t index, char* name, std::uint32_t name_capacity,
                                   std::uint32_t* name_size, platform::DEBUG_REGISTER_DESCRIPTION* description) {
  return WithX64([&](DebugTarget*) {
    if (index >= RegisterCount()) return results::kInvalidArgument;
    if (description != nullptr) {
      *description = {};
      description->Type = RegisterType(index);
    }
    return GiveText<char>(RegisterName(index), name, name_capacity, name_size);
  });
}

HRESULT DumpEngine::GetIndexByName(const char* name, std::uint32_t* index) {
  return WithX64([&](DebugTarget*) {
    if (name == nullptr) return results::kPointer;
    const auto found = FindRegister(name);
    return found ? Give(found, index) : results::kNotFound;
  });
}

HRESULT DumpEngine::GetValue(std::uint32_t index, platform::DEBUG_VALUE* value) {
  return WithX64([&](DebugTarget* target) {
    if (index >= RegisterCount()) return results::kInvalidArgument;
    return Give(ReadRegister(target->dump(), index), value);
  });
}

HRESULT DumpEngine::ReadRegisterNamed(const char* name, std::uint64_t* value) {
  return WithX64([&](DebugTarget* target) {
    const auto found = ReadRegister(target->dump(), *FindRegister(name));
    if (!found) return results::kFail;
    Put(value, found->I64);
    return results::kOk;
  });
}

HRESULT DumpEngine::GetInstructionOffset(std::uint64_t* offset) {
  return ReadRegisterNamed("rip", offset);
}

HRESULT DumpEngine::GetStackOffset(std::uint64_t* offset) {
  return ReadRegisterNamed("rsp", offset);
}

HRESULT DumpEngine::GetFrameOffset(std::uint64_t* offset) {
  return ReadRegisterNamed("rbp", offset);
}

HRESULT DumpEngine::GetThreadContext(void* context, std::uint32_t context_size) {
  return WithX64([&](DebugTarget* target) {
    if (context == nullptr) return results::kPointer;
    if (context_size != formats::ProcessorContext::kSize) return results::kInvalidArgument;
    const auto& found = target->header().context;
    if (!found) return results::kFail;
    std::memcpy(context, found->bytes.data(), context_size);
    return results::kOk;
  });
}

}  // namespace varnel::embedded
