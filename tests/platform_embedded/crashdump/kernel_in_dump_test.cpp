// The kernel's image as readers of images find it in the dumps' memory: names, version, identity, calls.
#include <gtest/gtest.h>

#include <cstring>

#include "formats/pe/function_name.h"
#include "formats/pe/pe_codeview.h"
#include "formats/pe/pe_exports.h"
#include "formats/pe/pe_functions.h"
#include "formats/pe/pe_version.h"
#include "formats/pe/unwinder.h"
#include "tests/platform_embedded/crashdump/read_dump.h"

namespace varnel::embedded {
namespace {

using formats::PeImage;

class KernelInDumpTest : public EachForm {
 protected:
  static formats::PeLookup<PeImage> Kernel(const DumpedMachine& made) {
    const PlantedModule& module = made.machine.modules.front();
    return PeImage::Open(*made.dump, module.base, module.size);
  }
};

class TheKernelAlone final : public formats::ImageFinder {
 public:
  explicit TheKernelAlone(const PlantedModule& module) : module_(module) {}
  std::optional<formats::LoadedImage> ImageAt(std::uint64_t address) const override {
    if (address < module_.base || address - module_.base >= module_.size) return std::nullopt;
    return formats::LoadedImage{module_.base, module_.size, module_.exception_table, module_.exception_table_size};
  }

 private:
  const PlantedModule& module_;
};

TEST_P(KernelInDumpTest, ItsHeadersAgreeWithTheModuleList) {
  const DumpedMachine made(SomeCrash(), Form());
  const auto image = Kernel(made);
  ASSERT_TRUE(image.found());
  const PlantedModule& module = made.machine.modules.front();
  EXPECT_EQ(image.value().headers().time_date_stamp, module.time_stamp);
  EXPECT_EQ(image.value().headers().checksum, module.checksum);
  EXPECT_EQ(image.value().headers().size_of_image, module.size);
  EXPECT_EQ(image.value().headers().image_base, module.base) << "as a loader leaves it";
}

TEST_P(KernelInDumpTest, FunctionsAreNamedByExportsAndOthersAreNot) {
  const DumpedMachine made(SomeCrash(), Form());
  const auto image = Kernel(made);
  ASSERT_TRUE(image.found());
  const auto exports = formats::PeExports::Open(image.value());
  ASSERT_TRUE(exports.found());
  EXPECT_EQ(exports.value().ImageName().value(), "ntoskrnl.exe");
  const auto functions = formats::PeFunctions::Open(image.value());
  const std::vector<const char*> names = {"KeBugCheckEx",    "KeCheckWatchdogs",     nullptr,
                                          "ExQueueWorkItem", "PsCreateSystemThread", "KiStartSystemThread"};
  const auto& frames = made.machine.stack().frames;
  ASSERT_EQ(frames.size(), names.size());
  for (std::size_t i = 0; i < frames.size(); ++i) {
    const auto rva = static_cast<std::uint32_t>(frames[i].rip - made.machine.kernel.base());
    const auto name = formats::NameFunction(image.value(), exports.value(), functions, rva);
    EXPECT_EQ(name.found(), names[i] != nullptr) << i;
    if (!name.found() || names[i] == nullptr) continue;
    EXPECT_EQ(name.value().name, names[i]);
    EXPECT_EQ(name.value().displacement, frames[i].rip - frames[i].function);
  }
}

TEST_P(KernelInDumpTest, ItsVersionIsFound) {
  const DumpedMachine made(SomeCrash(), Form());
  const auto image = Kernel(made);
  ASSERT_TRUE(image.found());
  const auto version = formats::PeVersion::Open(image.value());
  ASSERT_TRUE(version.found());
  EXPECT_EQ(version.value().Fixed().value().file_version_ms, 0x000A0000u);
  EXPECT_EQ(version.value().Fixed().value().file_version_ls, 19041u << 16 | 5072u);
  EXPECT_EQ(version.value().Query(u"\\StringFileInfo\\040904B0\\ProductVersion").value().text, u"10.0.19041.5072");
}

TEST_P(KernelInDumpTest, ItHasAnIdentity) {
  const DumpedMachine made(SomeCrash(), Form());
  const auto image = Kernel(made);
  ASSERT_TRUE(image.found());
  const auto identity = formats::ReadPeCodeView(image.value());
  ASSERT_TRUE(identity.found());
  EXPECT_EQ(identity.value().age, 1u);
}

TEST_P(KernelInDumpTest, TheCallsAreFoundFromTheStopToTheThreadsBegin) {
  for (const unsigned crashing : {0u, 1u}) {
    CrashedMachineOptions crash = SomeCrash();
    crash.crashing_processor = crashing;
    const DumpedMachine made(crash, Form());
    const TheKernelAlone images(made.machine.modules.front());
    const CrashStack& planted = made.machine.stack();
    formats::X64Registers start;
    start.general = planted.registers.general;
    start.rip = planted.registers.rip;
    const formats::StackRange stack{planted.low, planted.high()};
    const auto walked = formats::Unwinder(*made.dump, images).Walk(start, std::span(&stack, 1), 100);
    ASSERT_EQ(walked.frames.size(), planted.frames.size());
    for (std::size_t i = 0; i < planted.frames.size(); ++i) {
      EXPECT_EQ(walked.frames[i].instruction, planted.frames[i].rip) << i;
      EXPECT_EQ(walked.frames[i].stack, planted.frames[i].rsp) << i;
    }
    EXPECT_EQ(walked.end, formats::UnwindEnd::kBottom);
  }
}

INSTANTIATE_TEST_SUITE_P(Forms, KernelInDumpTest, kFormsWithMemory, FormName);

TEST(KernelInDump, WithoutItsPagesTheWalkEndsAtOnceAndSaysWhy) {
  const DumpedMachine made(SomeCrash(), {CrashDumpForm::kSmall, false, true});
  const TheKernelAlone images(made.machine.modules.front());
  formats::X64Registers start;
  start.general = made.machine.stack().registers.general;
  start.rip = made.machine.stack().registers.rip;
  const formats::StackRange stack{made.machine.stack().low, made.machine.stack().high()};
  const auto walked = formats::Unwinder(*made.dump, images).Walk(start, std::span(&stack, 1), 100);
  EXPECT_EQ(walked.frames.size(), 1u);
  EXPECT_EQ(walked.end, formats::UnwindEnd::kTableMissing);
}

}  // namespace
}  // namespace varnel::embedded
