// Mutants of dumps, asked for all that the analyzer asks for: whatever the bytes are, each call ends, and what it hands
// out keeps to the room that it was given. The seeds are fixed, so that a failure comes again.
#include <algorithm>
#include <cstring>
#include <filesystem>
#include <random>
#include <string>
#include <vector>

#include "engine_fixture.h"
#include "tests/platform_embedded/crashdump/read_dump.h"

namespace varnel::embedded {
namespace {

namespace fs = std::filesystem;

constexpr int kMutants = 200;
constexpr std::uint32_t kMostModules = 4096;  // looked at by the test, of as many as there are

class EngineMutants : public EngineFixture {
 protected:
  /// Numbers at their limits and single bytes, most of them where structures are; now and then the file is cut.
  static std::vector<std::byte> Mutate(std::vector<std::byte> bytes, std::uint32_t seed) {
    std::mt19937 random(seed);
    const auto below = [&random](std::size_t limit) { return static_cast<std::size_t>(random()) % limit; };
    const std::uint64_t limits[] = {0, 1, 0x7FFFFFFF, 0xFFFFFFFF, ~std::uint64_t{0}, 0xFFFF800000000000, bytes.size()};
    const std::size_t structures = std::min<std::size_t>(bytes.size(), 0x12000);
    for (std::size_t i = 1 + below(24); i != 0; --i) {
      const std::size_t place = below(4) == 0 ? below(bytes.size()) : below(structures);
      const std::uint64_t value = limits[below(std::size(limits))];
      const std::size_t width = below(3) == 0 ? 1 : below(2) == 0 ? 4 : 8;
      // The signatures stay, or nothing would be read at all.
      if (place < 8 || place + width > bytes.size()) continue;
      if (width == 1) bytes[place] = static_cast<std::byte>(random());
      if (width != 1) std::memcpy(bytes.data() + place, &value, width);
    }
    if (below(8) == 0) bytes.resize(8 + below(bytes.size() - 8));
    return bytes;
  }

  void AskOfModules() {
    std::uint32_t loaded = 0;
    std::uint32_t unloaded = 0;
    if (engine_->GetNumberModules(&loaded, &unloaded) != 0) return;
    for (std::uint32_t i = 0; i < std::min(loaded + unloaded, kMostModules); ++i) {
      std::uint64_t base = 0;
      EXPECT_EQ(engine_->GetModuleByIndex(i, &base), 0);
      platform::DEBUG_MODULE_PARAMETERS parameters{};
      EXPECT_EQ(engine_->GetModuleParameters(1, &base, 0, &parameters), 0);
      for (std::uint32_t which = 0; which < 3; ++which) {
        std::uint32_t size = 0;
        EXPECT_EQ(engine_->GetModuleNameString(which, i, 0, nullptr, 0, &size), 0);
        std::vector<char> name(size);
        EXPECT_EQ(engine_->GetModuleNameString(which, i, 0, name.data(), size, nullptr), 0);
      }
    }
  }

  void AskOfStack() {
    platform::DEBUG_STACK_FRAME frames[64] = {};
    std::uint32_t filled = 0;
    engine_->GetStackTrace(0, 0, 0, frames, 64, &filled);
    ASSERT_LE(filled, 64u);
    for (std::uint32_t i = 0; i < filled; ++i) {
      char name[512];
      engine_->GetNameByOffset(frames[i].InstructionOffset, name, sizeof(name), nullptr, nullptr);
    }
    std::uint64_t rsp = 0;
    std::uint64_t words[256] = {};
    std::uint32_t read = 0;
    if (engine_->GetStackOffset(&rsp) != 0 || engine_->ReadVirtual(rsp, words, sizeof(words), &read) != 0) return;
    ASSERT_LE(read, sizeof(words));
    for (const std::uint64_t word : words) {
      platform::MEMORY_BASIC_INFORMATION64 page{};
      engine_->QueryVirtual(word, &page);
      engine_->GetModuleByOffset(word, 0, nullptr, nullptr);
    }
  }

  void AskEverything() {
    engine_->GetDebuggeeType(nullptr, nullptr);
    engine_->GetActualProcessorType(nullptr);
    char text[256];
    engine_->GetSystemVersion(nullptr, nullptr, nullptr, text, 256, nullptr, nullptr, text, 256, nullptr);
    engine_->ReadBugCheckData(nullptr, nullptr, nullptr, nullptr, nullptr);
    engine_->GetCurrentTimeDate(nullptr);
    engine_->GetCurrentSystemUpTime(nullptr);
    std::uint32_t registers = 0;
    if (engine_->GetNumberRegisters(&registers) != 0) registers = 0;
    platform::DEBUG_VALUE value{};
    for (std::uint32_t i = 0; i < registers; ++i) engine_->GetValue(i, &value);
    engine_->GetCurrentThreadId(nullptr);
    engine_->GetCurrentThreadDataOffset(nullptr);
    engine_->GetCurrentProcessDataOffset(nullptr);
    std::byte version[256];
    for (const char* item : {"\\", "\\StringFileInfo\\040904B0\\FileVersion"}) {
      engine_->GetModuleVersionInformation(0, 0, item, version, sizeof(version), nullptr);
    }
    AskOfModules();
    AskOfStack();
  }

  /// @return how many came up.
  int AskMutantsOf(const std::vector<std::byte>& bytes) {
    int up = 0;
    for (int seed = 0; seed < kMutants; ++seed) {
      dumps_[u"C:\\a.dmp"] = std::make_shared<support::DumpFileSource>(Mutate(bytes, static_cast<std::uint32_t>(seed)));
      EXPECT_EQ(engine_->OpenDumpFileWide(u"C:\\a.dmp", 0), 0);
      if (engine_->WaitForEvent(0, 100) != 0) continue;
      ++up;
      AskEverything();
    }
    return up;
  }
};

TEST_F(EngineMutants, OfRealDumpsAreAskedAboutWithoutHarm) {
  const fs::path folder = fs::path(VARNEL_SAMPLES_DIR) / "dmp";
  if (!fs::exists(folder)) GTEST_SKIP() << "the sample dumps are not there";
  for (const auto& entry : fs::directory_iterator(folder)) {
    const int up = AskMutantsOf(support::ReadWholeFile(entry.path().string()));
    EXPECT_GT(up, kMutants / 4) << entry.path() << ": or it is not the dump that is tried";
  }
}

TEST_F(EngineMutants, OfMadeDumpsOfEachFormAreAskedAboutWithoutHarm) {
  CrashedMachineOptions options = SomeCrash();
  options.memory_size = 8 << 20;
  const CrashedMachine machine(options);
  for (const CrashDumpForm form : {CrashDumpForm::kSmall, CrashDumpForm::kKernel, CrashDumpForm::kComplete,
                                   CrashDumpForm::kCompleteRuns, CrashDumpForm::kHeaderOnly}) {
    EXPECT_GT(AskMutantsOf(DumpBytes(machine, {form, true, true})), kMutants / 4);
  }
}

}  // namespace
}  // namespace varnel::embedded
