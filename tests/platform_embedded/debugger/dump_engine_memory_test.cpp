// The engine's memory, threads and registers.
#include <cstring>
#include <string>

#include "engine_fixture.h"

namespace varnel::embedded {
namespace {

constexpr std::uint64_t kStack = 0xFFFFA70400001000;

class DumpEngineMemory : public EngineFixture {
 protected:
  DumpEngineMemory() {
    dump_.context = {{0x98, kStack + 8}, {0xA0, 0xB}, {0xF8, 0xFFFFF80000000123}, {0x44, 0x246}, {0xF0, 15}};
    dump_.stack_address = kStack;
    dump_.stack = {1, 2, 3, 4};
  }

  /// The value of a register; its type in `type`.
  std::uint64_t Register(const char* name, std::uint32_t* type = nullptr) {
    std::uint32_t index = 0;
    EXPECT_EQ(engine_->GetIndexByName(name, &index), 0) << name;
    platform::DEBUG_VALUE value{};
    EXPECT_EQ(engine_->GetValue(index, &value), 0) << name;
    if (type != nullptr) *type = value.Type;
    return value.I64;
  }

  SmallDump dump_;
};

TEST_F(DumpEngineMemory, AReadThatFindsApartOfItIsASuccessWithTheCount) {
  Open(dump_);
  std::uint64_t words[4] = {};
  std::uint32_t read = 0;
  EXPECT_EQ(engine_->ReadVirtual(kStack + 16, words, 32, &read), 0);
  EXPECT_EQ(read, 16u);
  EXPECT_EQ(words[0], 3u);
  EXPECT_EQ(words[1], 4u);
  EXPECT_EQ(words[2], 0u);
  EXPECT_EQ(engine_->ReadVirtualUncached(kStack, words, 8, nullptr), 0);
  EXPECT_EQ(words[0], 1u);
}

TEST_F(DumpEngineMemory, AReadThatFindsNothingFails) {
  Open(dump_);
  std::uint64_t word = 7;
  std::uint32_t read = 9;
  EXPECT_EQ(engine_->ReadVirtual(kStack + 32, &word, 8, &read), kReadFault);
  EXPECT_EQ(read, 0u);
  EXPECT_EQ(word, 7u);
  EXPECT_EQ(engine_->ReadVirtual(kStack, nullptr, 8, &read), kE_POINTER);
  EXPECT_EQ(engine_->ReadVirtual(kStack, &word, 0, &read), 0);
}

TEST_F(DumpEngineMemory, ASmallDumpHasNoPagesAndTellsNoProtection) {
  Open(dump_);
  std::uint64_t word = 0;
  EXPECT_EQ(engine_->ReadPhysical(0x1000, &word, 8, nullptr), kReadFault);
  EXPECT_EQ(engine_->VirtualToPhysical(kStack, &word), static_cast<std::int32_t>(0xD0000147));
  platform::MEMORY_BASIC_INFORMATION64 information{};
  EXPECT_EQ(engine_->QueryVirtual(kStack, &information), kE_FAIL);
  EXPECT_EQ(engine_->QueryVirtual(kStack, nullptr), kE_POINTER);
}

TEST_F(DumpEngineMemory, RegistersAreThoseOfTheContextInTheirOwnWidth) {
  Open(dump_);
  std::uint32_t type = 0;
  EXPECT_EQ(Register("rip", &type), 0xFFFFF80000000123u);
  EXPECT_EQ(type, 4u);
  EXPECT_EQ(Register("rsp"), kStack + 8);
  EXPECT_EQ(Register("R15"), 15u) << "names have no case";
  EXPECT_EQ(Register("efl", &type), 0x246u);
  EXPECT_EQ(type, 3u);
  Register("cs", &type);
  EXPECT_EQ(type, 2u);
  std::uint64_t offset = 0;
  EXPECT_EQ(engine_->GetInstructionOffset(&offset), 0);
  EXPECT_EQ(offset, 0xFFFFF80000000123u);
  EXPECT_EQ(engine_->GetStackOffset(&offset), 0);
  EXPECT_EQ(offset, kStack + 8);
  EXPECT_EQ(engine_->GetFrameOffset(&offset), 0);
  EXPECT_EQ(offset, 0xBu);
}

TEST_F(DumpEngineMemory, EveryRegisterIsFoundByTheNameThatItTells) {
  Open(dump_);
  std::uint32_t count = 0;
  ASSERT_EQ(engine_->GetNumberRegisters(&count), 0);
  EXPECT_GE(count, 18u);
  for (std::uint32_t i = 0; i < count; ++i) {
    char name[20] = {};
    platform::DEBUG_REGISTER_DESCRIPTION description{};
    ASSERT_EQ(engine_->GetDescription(i, name, sizeof(name), nullptr, &description), 0);
    std::uint32_t index = ~0u;
    EXPECT_EQ(engine_->GetIndexByName(name, &index), 0);
    EXPECT_EQ(index, i);
    EXPECT_NE(description.Type, 0u);
  }
  EXPECT_EQ(engine_->GetDescription(count, nullptr, 0, nullptr, nullptr), kE_INVALIDARG);
  EXPECT_EQ(engine_->GetValue(count, nullptr), kE_INVALIDARG);
  EXPECT_EQ(engine_->GetIndexByName("rxx", nullptr), kE_NOINTERFACE);
  EXPECT_EQ(engine_->GetIndexByName(nullptr, nullptr), kE_POINTER);
}

TEST_F(DumpEngineMemory, WithoutAContextRegistersHaveNoValues) {
  dump_.context.clear();
  Open(dump_);
  std::uint32_t index = 0;
  EXPECT_EQ(engine_->GetIndexByName("rsp", &index), 0);
  platform::DEBUG_VALUE value{};
  EXPECT_EQ(engine_->GetValue(index, &value), kE_FAIL);
  EXPECT_EQ(engine_->GetStackOffset(nullptr), kE_FAIL);
  alignas(16) std::byte context[1232] = {};
  EXPECT_EQ(engine_->GetThreadContext(context, sizeof(context)), kE_FAIL);
}

TEST_F(DumpEngineMemory, TheInterruptLevelIsNotInventedWhereTheDumpHasNone) {
  Open(dump_);
  std::uint32_t index = 0;
  EXPECT_EQ(engine_->GetIndexByName("cr8", &index), 0);
  platform::DEBUG_VALUE value{};
  EXPECT_EQ(engine_->GetValue(index, &value), kE_FAIL);
}

TEST_F(DumpEngineMemory, TheThreadsContextIsGivenWholeAndInNoOtherSize) {
  Open(dump_);
  platform::X64_CONTEXT context{};
  EXPECT_EQ(engine_->GetThreadContext(&context, sizeof(context)), 0);
  EXPECT_EQ(context.Rip, 0xFFFFF80000000123u);
  EXPECT_EQ(context.ContextFlags, 0x10000Fu);
  EXPECT_EQ(engine_->GetThreadContext(&context, sizeof(context) - 1), kE_INVALIDARG);
  EXPECT_EQ(engine_->GetThreadContext(&context, sizeof(context) + 16), kE_INVALIDARG);
  EXPECT_EQ(engine_->GetThreadContext(nullptr, sizeof(context)), kE_POINTER);
}

TEST_F(DumpEngineMemory, ThereIsAThreadForEachProcessorAndOneProcess) {
  Open(dump_);
  std::uint32_t number = 9;
  EXPECT_EQ(engine_->GetNumberThreads(&number), 0);
  EXPECT_EQ(number, 2u);
  EXPECT_EQ(engine_->GetNumberProcesses(&number), 0);
  EXPECT_EQ(number, 1u);
  EXPECT_EQ(engine_->GetCurrentProcessId(&number), 0);
  EXPECT_EQ(number, 0u);
}

TEST_F(DumpEngineMemory, WhereTheDumpDoesNotTellWhichProcessorCrashedItIsTheFirst) {
  Open(dump_);
  std::uint32_t number = 9;
  EXPECT_EQ(engine_->GetCurrentThreadId(&number), 0);
  EXPECT_EQ(number, 0u);
}

TEST_F(DumpEngineMemory, AThreadAndAProcessThatTheDumpDoesNotTellAreNone) {
  Open(dump_);
  std::uint64_t address = 7;
  EXPECT_EQ(engine_->GetCurrentThreadDataOffset(&address), kE_FAIL);
  EXPECT_EQ(engine_->GetCurrentProcessDataOffset(&address), kE_FAIL);
  EXPECT_EQ(address, 7u);
}

}  // namespace
}  // namespace varnel::embedded
