#include "platform/debugger/engine_stub.h"

#include <gtest/gtest.h>

#include <string>

namespace varnel::platform {
namespace {

class CountedStub final : public DebugEngineStub {
 public:
  explicit CountedStub(int* ended) : ended_(ended) {}

 private:
  void Destroy() override {
    ++*ended_;
    delete this;
  }
  int* ended_;
};

constexpr HRESULT kE_NOTIMPL = static_cast<HRESULT>(0x80004001);

TEST(DebugEngineStub, GivesEachInterfaceByItsIdentifierAndCountsIt) {
  int ended = 0;
  auto* const stub = new CountedStub(&ended);
  const GUID ids[] = {kIidDebugClient,    kIidDebugClient4,       kIidDebugControl,    kIidDebugControl4,
                      kIidDebugSymbols3,  kIidDebugSystemObjects, kIidDebugDataSpaces, kIidDebugDataSpaces2,
                      kIidDebugRegisters, kIidDebugAdvanced};
  for (const GUID& id : ids) {
    void* object = nullptr;
    ASSERT_EQ(stub->QueryInterface(id, &object), 0);
    ASSERT_NE(object, nullptr);
    EXPECT_EQ(static_cast<IUnknown*>(object)->Release(), 1u);
  }
  EXPECT_EQ(ended, 0);
  EXPECT_EQ(stub->Release(), 0u);
  EXPECT_EQ(ended, 1);
}

TEST(DebugEngineStub, LacksAnUnknownInterface) {
  int ended = 0;
  auto* const stub = new CountedStub(&ended);
  void* object = stub;
  EXPECT_EQ(stub->QueryInterface(GUID{}, &object), kNoInterface);
  EXPECT_EQ(object, nullptr);
  stub->Release();
  EXPECT_EQ(ended, 1);
}

/// Calls go through the pointers that QueryInterface gave, as a user of the engine's does.
template <typename Interface>
Interface* Ask(DebugEngineStub* stub, const GUID& id) {
  void* object = nullptr;
  EXPECT_EQ(stub->QueryInterface(id, &object), 0);
  return static_cast<Interface*>(object);
}

TEST(DebugEngineStub, AnswersThatNoSlotIsImplemented) {
  int ended = 0;
  auto* const stub = new CountedStub(&ended);
  auto* const client = Ask<IDebugClient4>(stub, kIidDebugClient4);
  EXPECT_EQ(client->OpenDumpFileWide(u"C:\\a.dmp", 0), kE_NOTIMPL);
  EXPECT_EQ(client->EndSession(0), kE_NOTIMPL);
  client->Release();
  auto* const control = Ask<IDebugControl4>(stub, kIidDebugControl4);
  EXPECT_EQ(control->WaitForEvent(0, 0), kE_NOTIMPL);
  EXPECT_EQ(control->Output(1, "%d", 3), kE_NOTIMPL);
  EXPECT_EQ(control->ResetManagedStatus(0), kE_NOTIMPL);
  control->Release();
  auto* const symbols = Ask<IDebugSymbols3>(stub, kIidDebugSymbols3);
  EXPECT_EQ(symbols->SetSymbolPathWide(u""), kE_NOTIMPL);
  symbols->Release();
  auto* const spaces = Ask<IDebugDataSpaces2>(stub, kIidDebugDataSpaces2);
  EXPECT_EQ(spaces->QueryVirtual(0, nullptr), kE_NOTIMPL);
  spaces->Release();
  auto* const objects = Ask<IDebugSystemObjects>(stub, kIidDebugSystemObjects);
  EXPECT_EQ(objects->GetCurrentProcessDataOffset(nullptr), kE_NOTIMPL);
  objects->Release();
  auto* const registers = Ask<IDebugRegisters>(stub, kIidDebugRegisters);
  EXPECT_EQ(registers->GetValue(0, nullptr), kE_NOTIMPL);
  registers->Release();
  auto* const advanced = Ask<IDebugAdvanced>(stub, kIidDebugAdvanced);
  EXPECT_EQ(advanced->GetThreadContext(nullptr, 0), kE_NOTIMPL);
  advanced->Release();
  stub->Release();
  EXPECT_EQ(ended, 1);
}

struct Table {
  const char* name;
  const GUID* id;
  unsigned slots;
};

class StubTables : public ::testing::TestWithParam<Table> {};

/// Calls a slot by its number, with nothing in any of its parameters; a callee takes as many as it has. The checks for
/// mismatched functions are off: a slot is called here without its type.
__attribute__((no_sanitize("undefined"))) HRESULT CallSlot(void* object, unsigned slot) {
  using Slot = HRESULT (*)(void*, std::uint64_t, std::uint64_t, std::uint64_t, std::uint64_t, std::uint64_t,
                           std::uint64_t, std::uint64_t, std::uint64_t, std::uint64_t, std::uint64_t, std::uint64_t);
  const Slot* const table = *static_cast<const Slot* const*>(object);
  return table[slot](object, 0, 0, 0, 0, 0, 0, 0, 0, 0, 0, 0);
}

TEST_P(StubTables, AnswerInEverySlotThatItIsNotImplemented) {
  int ended = 0;
  auto* const stub = new CountedStub(&ended);
  auto* const object = Ask<IUnknown>(stub, *GetParam().id);
  ASSERT_NE(object, nullptr);
  for (unsigned slot = 3; slot < GetParam().slots; ++slot) EXPECT_EQ(CallSlot(object, slot), kE_NOTIMPL) << slot;
  EXPECT_EQ(object->Release(), 1u);
  stub->Release();
  EXPECT_EQ(ended, 1);
}

INSTANTIATE_TEST_SUITE_P(
    Each, StubTables,
    ::testing::Values(Table{"Client4", &kIidDebugClient4, 66}, Table{"Control4", &kIidDebugControl4, 169},
                      Table{"Symbols3", &kIidDebugSymbols3, 126}, Table{"DataSpaces4", &kIidDebugDataSpaces2, 44},
                      Table{"SystemObjects", &kIidDebugSystemObjects, 32}, Table{"Registers", &kIidDebugRegisters, 14},
                      Table{"Advanced", &kIidDebugAdvanced, 5}),
    [](const auto& tested) { return std::string(tested.param.name); });

}  // namespace
}  // namespace varnel::platform
