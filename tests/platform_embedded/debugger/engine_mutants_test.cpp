// Mutants of dumps, asked for all that the analyzer asks for: whatever the bytes are, each call ends, and what it hands
// out keeps to the room that it was given, and no mutant makes the engine read without measure. The seeds are fixed, so
// that a failure comes again.
#include <algorithm>
#include <atomic>
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
// All questions together took 772 reads of 216,486 bytes at most. Far more would be a number of the dump's own that was
// believed.
constexpr std::uint64_t kMostReads = 8192;
constexpr std::uint64_t kMostBytes = 2 << 20;

/// A dump that counts what is read of it.
class CountedSource final : public formats::DumpSource {
 public:
  explicit CountedSource(std::vector<std::byte> bytes) : inner_(std::move(bytes)) {}
  std::uint64_t Size() const noexcept override { return inner_.Size(); }
  std::size_t Read(std::uint64_t offset, std::span<std::byte> into) const noexcept override {
    const std::size_t read = inner_.Read(offset, into);
    ++reads_;
    bytes_ += read;
    return read;
  }
  std::uint64_t reads() const { return reads_; }
  std::uint64_t bytes() const { return bytes_; }

 private:
  const support::DumpFileSource inner_;
  mutable std::atomic<std::uint64_t> reads_{0};
  mutable std::atomic<std::uint64_t> bytes_{0};
};

/// Room for an answer, with a fence behind it that has to be whole in the end.
class Fenced {
 public:
  explicit Fenced(std::size_t size) : bytes_(size + kFence, kMark), size_(size) {}
  Fenced(const Fenced&) = delete;
  Fenced& operator=(const Fenced&) = delete;
  ~Fenced() {
    const auto fence = bytes_.begin() + static_cast<std::ptrdiff_t>(size_);
    EXPECT_EQ(std::count(fence, bytes_.end(), kMark), static_cast<std::ptrdiff_t>(kFence)) << "written behind the end";
  }

  template <typename T>
  T* As() {
    return reinterpret_cast<T*>(bytes_.data());
  }
  std::uint32_t size() const { return static_cast<std::uint32_t>(size_); }
  /// Of a text that was handed out.
  bool HasEnd() const {
    return std::count(bytes_.begin(), bytes_.begin() + static_cast<std::ptrdiff_t>(size_), std::byte{0}) != 0;
  }

 private:
  static constexpr std::size_t kFence = 64;
  static constexpr std::byte kMark{0xA5};

  std::vector<std::byte> bytes_;
  const std::size_t size_;
};

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

  void AskName(std::uint32_t module, std::uint32_t which) {
    std::uint32_t size = 0;
    EXPECT_EQ(engine_->GetModuleNameString(which, module, 0, nullptr, 0, &size), 0);
    Fenced whole(size);
    EXPECT_EQ(engine_->GetModuleNameString(which, module, 0, whole.As<char>(), size, nullptr), 0);
    EXPECT_TRUE(whole.HasEnd());
    if (size < 2) return;
    Fenced half(size / 2);
    EXPECT_EQ(engine_->GetModuleNameString(which, module, 0, half.As<char>(), half.size(), nullptr), 1);
    EXPECT_TRUE(half.HasEnd());
  }

  void AskOfModules() {
    std::uint32_t loaded = 0;
    std::uint32_t unloaded = 0;
    if (engine_->GetNumberModules(&loaded, &unloaded) != 0) return;
    for (std::uint32_t i = 0; i < std::min(loaded + unloaded, kMostModules); ++i) {
      std::uint64_t base = 0;
      EXPECT_EQ(engine_->GetModuleByIndex(i, &base), 0);
      Fenced parameters(sizeof(platform::DEBUG_MODULE_PARAMETERS));
      EXPECT_EQ(engine_->GetModuleParameters(1, &base, 0, parameters.As<platform::DEBUG_MODULE_PARAMETERS>()), 0);
      for (std::uint32_t which = 0; which < 3; ++which) AskName(i, which);
    }
  }

  void AskOfStack() {
    Fenced frames(64 * sizeof(platform::DEBUG_STACK_FRAME));
    std::uint32_t filled = 0;
    engine_->GetStackTrace(0, 0, 0, frames.As<platform::DEBUG_STACK_FRAME>(), 64, &filled);
    ASSERT_LE(filled, 64u);
    for (std::uint32_t i = 0; i < filled; ++i) {
      const std::uint64_t place = frames.As<platform::DEBUG_STACK_FRAME>()[i].InstructionOffset;
      Fenced name(12);
      if (engine_->GetNameByOffset(place, name.As<char>(), name.size(), nullptr, nullptr) >= 0) {
        EXPECT_TRUE(name.HasEnd());
      }
    }
    std::uint64_t rsp = 0;
    Fenced words(2048);
    std::uint32_t read = 0;
    if (engine_->GetStackOffset(&rsp) != 0) return;
    if (engine_->ReadVirtual(rsp, words.As<void>(), words.size(), &read) != 0) return;
    ASSERT_LE(read, words.size());
    for (std::uint32_t i = 0; i < read / 8; ++i) {
      const std::uint64_t word = words.As<std::uint64_t>()[i];
      Fenced page(sizeof(platform::MEMORY_BASIC_INFORMATION64));
      engine_->QueryVirtual(word, page.As<platform::MEMORY_BASIC_INFORMATION64>());
      engine_->GetModuleByOffset(word, 0, nullptr, nullptr);
    }
  }

  void AskEverything() {
    engine_->GetDebuggeeType(nullptr, nullptr);
    engine_->GetActualProcessorType(nullptr);
    Fenced pack(8);
    Fenced build(16);
    engine_->GetSystemVersion(nullptr, nullptr, nullptr, pack.As<char>(), pack.size(), nullptr, nullptr,
                              build.As<char>(), build.size(), nullptr);
    EXPECT_TRUE(pack.HasEnd());
    EXPECT_TRUE(build.HasEnd());
    engine_->ReadBugCheckData(nullptr, nullptr, nullptr, nullptr, nullptr);
    engine_->GetCurrentTimeDate(nullptr);
    engine_->GetCurrentSystemUpTime(nullptr);
    std::uint32_t registers = 0;
    if (engine_->GetNumberRegisters(&registers) != 0) registers = 0;
    for (std::uint32_t i = 0; i < registers; ++i) {
      Fenced value(sizeof(platform::DEBUG_VALUE));
      engine_->GetValue(i, value.As<platform::DEBUG_VALUE>());
    }
    Fenced context(sizeof(platform::X64_CONTEXT));
    engine_->GetThreadContext(context.As<void>(), context.size());
    engine_->GetCurrentThreadId(nullptr);
    engine_->GetCurrentThreadDataOffset(nullptr);
    engine_->GetCurrentProcessDataOffset(nullptr);
    for (const char* item : {"\\", "\\StringFileInfo\\040904B0\\FileVersion"}) {
      Fenced version(9);
      engine_->GetModuleVersionInformation(0, 0, item, version.As<void>(), version.size(), nullptr);
    }
    AskOfModules();
    AskOfStack();
  }

  /// @return how many came up.
  int AskMutantsOf(const std::vector<std::byte>& bytes) {
    int up = 0;
    for (int seed = 0; seed < kMutants; ++seed) {
      const auto source = std::make_shared<CountedSource>(Mutate(bytes, static_cast<std::uint32_t>(seed)));
      dumps_[u"C:\\a.dmp"] = source;
      EXPECT_EQ(engine_->OpenDumpFileWide(u"C:\\a.dmp", 0), 0);
      if (engine_->WaitForEvent(0, 100) != 0) continue;
      ++up;
      AskEverything();
      EXPECT_LT(source->reads(), kMostReads) << seed;
      EXPECT_LT(source->bytes(), kMostBytes) << seed;
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
