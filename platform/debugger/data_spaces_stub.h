// Every slot of IDebugDataSpaces4 answers that it is not implemented. See engine_stub.h.
#pragma once

#include "platform/debugger/data_spaces.h"

namespace varnel::platform {

class DataSpacesStub : public IDebugDataSpaces4 {
 public:
  // IDebugDataSpaces
  HRESULT ReadVirtual(std::uint64_t, void*, std::uint32_t, std::uint32_t*) override { return kNotImplemented; }
  HRESULT WriteVirtual(std::uint64_t, void*, std::uint32_t, std::uint32_t*) override { return kNotImplemented; }
  HRESULT SearchVirtual(std::uint64_t, std::uint64_t, void*, std::uint32_t, std::uint32_t, std::uint64_t*) override {
    return kNotImplemented;
  }
  HRESULT ReadVirtualUncached(std::uint64_t, void*, std::uint32_t, std::uint32_t*) override { return kNotImplemented; }
  HRESULT WriteVirtualUncached(std::uint64_t, void*, std::uint32_t, std::uint32_t*) override { return kNotImplemented; }
  HRESULT ReadPointersVirtual(std::uint32_t, std::uint64_t, std::uint64_t*) override { return kNotImplemented; }
  HRESULT WritePointersVirtual(std::uint32_t, std::uint64_t, std::uint64_t*) override { return kNotImplemented; }
  HRESULT ReadPhysical(std::uint64_t, void*, std::uint32_t, std::uint32_t*) override { return kNotImplemented; }
  HRESULT WritePhysical(std::uint64_t, void*, std::uint32_t, std::uint32_t*) override { return kNotImplemented; }
  HRESULT ReadControl(std::uint32_t, std::uint64_t, void*, std::uint32_t, std::uint32_t*) override {
    return kNotImplemented;
  }
  HRESULT WriteControl(std::uint32_t, std::uint64_t, void*, std::uint32_t, std::uint32_t*) override {
    return kNotImplemented;
  }
  HRESULT ReadIo(std::uint32_t, std::uint32_t, std::uint32_t, std::uint64_t, void*, std::uint32_t,
                 std::uint32_t*) override {
    return kNotImplemented;
  }
  HRESULT WriteIo(std::uint32_t, std::uint32_t, std::uint32_t, std::uint64_t, void*, std::uint32_t,
                  std::uint32_t*) override {
    return kNotImplemented;
  }
  HRESULT ReadMsr(std::uint32_t, std::uint64_t*) override { return kNotImplemented; }
  HRESULT WriteMsr(std::uint32_t, std::uint64_t) override { return kNotImplemented; }
  HRESULT ReadBusData(std::uint32_t, std::uint32_t, std::uint32_t, std::uint32_t, void*, std::uint32_t,
                      std::uint32_t*) override {
    return kNotImplemented;
  }
  HRESULT WriteBusData(std::uint32_t, std::uint32_t, std::uint32_t, std::uint32_t, void*, std::uint32_t,
                       std::uint32_t*) override {
    return kNotImplemented;
  }
  HRESULT CheckLowMemory() override { return kNotImplemented; }
  HRESULT ReadDebuggerData(std::uint32_t, void*, std::uint32_t, std::uint32_t*) override { return kNotImplemented; }
  HRESULT ReadProcessorSystemData(std::uint32_t, std::uint32_t, void*, std::uint32_t, std::uint32_t*) override {
    return kNotImplemented;
  }

  // IDebugDataSpaces2
  HRESULT VirtualToPhysical(std::uint64_t, std::uint64_t*) override { return kNotImplemented; }
  HRESULT GetVirtualTranslationPhysicalOffsets(std::uint64_t, std::uint64_t*, std::uint32_t, std::uint32_t*) override {
    return kNotImplemented;
  }
  HRESULT ReadHandleData(std::uint64_t, std::uint32_t, void*, std::uint32_t, std::uint32_t*) override {
    return kNotImplemented;
  }
  HRESULT FillVirtual(std::uint64_t, std::uint32_t, void*, std::uint32_t, std::uint32_t*) override {
    return kNotImplemented;
  }
  HRESULT FillPhysical(std::uint64_t, std::uint32_t, void*, std::uint32_t, std::uint32_t*) override {
    return kNotImplemented;
  }
  HRESULT QueryVirtual(std::uint64_t, MEMORY_BASIC_INFORMATION64*) override { return kNotImplemented; }

  // IDebugDataSpaces3
  HRESULT ReadImageNtHeaders(std::uint64_t, IMAGE_NT_HEADERS64*) override { return kNotImplemented; }
  HRESULT ReadTagged(GUID*, std::uint32_t, void*, std::uint32_t, std::uint32_t*) override { return kNotImplemented; }
  HRESULT StartEnumTagged(std::uint64_t*) override { return kNotImplemented; }
  HRESULT GetNextTagged(std::uint64_t, GUID*, std::uint32_t*) override { return kNotImplemented; }
  HRESULT EndEnumTagged(std::uint64_t) override { return kNotImplemented; }

  // IDebugDataSpaces4
  HRESULT GetOffsetInformation(std::uint32_t, std::uint32_t, std::uint64_t, void*, std::uint32_t,
                               std::uint32_t*) override {
    return kNotImplemented;
  }
  HRESULT GetNextDifferentlyValidOffsetVirtual(std::uint64_t, std::uint64_t*) override { return kNotImplemented; }
  HRESULT GetValidRegionVirtual(std::uint64_t, std::uint32_t, std::uint64_t*, std::uint32_t*) override {
    return kNotImplemented;
  }
  HRESULT SearchVirtual2(std::uint64_t, std::uint64_t, std::uint32_t, void*, std::uint32_t, std::uint32_t,
                         std::uint64_t*) override {
    return kNotImplemented;
  }
  HRESULT ReadMultiByteStringVirtual(std::uint64_t, std::uint32_t, char*, std::uint32_t, std::uint32_t*) override {
    return kNotImplemented;
  }
  HRESULT ReadMultiByteStringVirtualWide(std::uint64_t, std::uint32_t, std::uint32_t, char16_t*, std::uint32_t,
                                         std::uint32_t*) override {
    return kNotImplemented;
  }
  HRESULT ReadUnicodeStringVirtual(std::uint64_t, std::uint32_t, std::uint32_t, char*, std::uint32_t,
                                   std::uint32_t*) override {
    return kNotImplemented;
  }
  HRESULT ReadUnicodeStringVirtualWide(std::uint64_t, std::uint32_t, char16_t*, std::uint32_t,
                                       std::uint32_t*) override {
    return kNotImplemented;
  }
  HRESULT ReadPhysical2(std::uint64_t, std::uint32_t, void*, std::uint32_t, std::uint32_t*) override {
    return kNotImplemented;
  }
  HRESULT WritePhysical2(std::uint64_t, std::uint32_t, void*, std::uint32_t, std::uint32_t*) override {
    return kNotImplemented;
  }

 protected:
  ~DataSpacesStub() = default;
};

}  // namespace varnel::platform
