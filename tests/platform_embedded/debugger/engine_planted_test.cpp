// The engine on dumps of the simulated machine: each fact that was planted is what the engine tells, whatever the form.
#include <cstring>
#include <string>
#include <vector>

#include "engine_fixture.h"
#include "tests/platform_embedded/crashdump/read_dump.h"

namespace varnel::embedded {
namespace {

/// Opens dumps of one machine.
class PlantedDumps : public EngineFixture {
 protected:
  static CrashedMachineOptions Crash() {
    CrashedMachineOptions options = SomeCrash();
    options.odd_entries = true;
    return options;
  }

  void Dump(const CrashedMachine& machine, const DumpOptions& options) {
    dumps_[u"C:\\a.dmp"] = std::make_shared<support::DumpFileSource>(DumpBytes(machine, options));
    ASSERT_EQ(engine_->OpenDumpFileWide(u"C:\\a.dmp", 0), 0);
    ASSERT_EQ(engine_->WaitForEvent(0, 100), 0);
  }
  std::string NameAt(std::uint64_t address, std::uint64_t* displacement) {
    char name[512] = {};
    return engine_->GetNameByOffset(address, name, sizeof(name), nullptr, displacement) == 0 ? name : "";
  }
  std::vector<platform::DEBUG_STACK_FRAME> Frames(std::uint32_t room = 64) {
    std::vector<platform::DEBUG_STACK_FRAME> frames(room);
    std::uint32_t filled = 0;
    EXPECT_EQ(engine_->GetStackTrace(0, 0, 0, frames.data(), room, &filled), 0);
    frames.resize(filled);
    return frames;
  }

  const CrashedMachine machine_{Crash()};
};

class PlantedForms : public PlantedDumps, public ::testing::WithParamInterface<CrashDumpForm> {
 protected:
  void SetUp() override { Dump(machine_, {GetParam(), true, true}); }
};

TEST_P(PlantedForms, TheStackIsThePathThatTheThreadTook) {
  const auto frames = Frames();
  const CrashStack& stack = machine_.stack();
  ASSERT_EQ(frames.size(), stack.frames.size());
  for (std::size_t i = 0; i < frames.size(); ++i) {
    EXPECT_EQ(frames[i].InstructionOffset, stack.frames[i].rip) << i;
    EXPECT_EQ(frames[i].StackOffset, stack.frames[i].rsp) << i;
    EXPECT_EQ(frames[i].FrameNumber, i);
    EXPECT_EQ(frames[i].Virtual, i == 0 ? 0u : 1u) << i;
    if (i + 1 == frames.size()) break;
    const CrashStack::Frame& caller = stack.frames[i + 1];
    EXPECT_EQ(frames[i].ReturnOffset, caller.rip) << i;
    EXPECT_EQ(frames[i].FrameOffset, caller.rsp - 16) << i << ": below the return address";
    EXPECT_EQ(std::memcmp(frames[i].Params, stack.bytes.data() + (caller.rsp - stack.low), 32), 0) << i;
  }
  EXPECT_EQ(frames.back().ReturnOffset, 0u) << "nobody called the first function";
  EXPECT_EQ(frames.back().FrameOffset, 0u);
}

TEST_P(PlantedForms, ExportedFunctionsHaveTheirNamesAndOthersHaveNone) {
  std::vector<std::string> names;
  for (const auto& frame : Frames()) {
    std::uint64_t displacement = 0;
    const std::string name = NameAt(frame.InstructionOffset, &displacement);
    names.push_back(name);
    if (name.empty()) continue;
    EXPECT_EQ(frame.InstructionOffset - displacement, machine_.kernel.Export(name.substr(3))) << name;
  }
  const std::vector<std::string> expected = {"nt!KeBugCheckEx",    "nt!KeCheckWatchdogs",     "",
                                             "nt!ExQueueWorkItem", "nt!PsCreateSystemThread", "nt!KiStartSystemThread"};
  EXPECT_EQ(names, expected);
}

TEST_P(PlantedForms, TheKernelsVersionIsThatOfItsResource) {
  platform::VS_FIXEDFILEINFO fixed{};
  std::uint32_t size = 0;
  const std::uint64_t base = machine_.kernel.base();
  EXPECT_EQ(engine_->GetModuleVersionInformation(~0u, base, "\\", &fixed, sizeof(fixed), &size), 0);
  EXPECT_EQ(size, sizeof(fixed));
  EXPECT_EQ(fixed.dwSignature, platform::kFixedFileInfoSignature);
  EXPECT_EQ(fixed.dwFileVersionMS, 10u << 16);
  EXPECT_EQ(fixed.dwFileVersionLS, 19041u << 16 | 5072);
  EXPECT_EQ(fixed.dwProductVersionMS, 10u << 16);
  char text[256] = {};
  EXPECT_EQ(
      engine_->GetModuleVersionInformation(0, 0, "\\StringFileInfo\\040904B0\\FileVersion", text, sizeof(text), &size),
      0);
  EXPECT_STREQ(text, "10.0.19041.5072");
  EXPECT_EQ(size, 16u);
  EXPECT_EQ(engine_->GetModuleVersionInformation(0, 0, "\\StringFileInfo\\040904B0\\FileVersion", text, 3, &size), 1)
      << "cut";
  EXPECT_STREQ(text, "10");
  EXPECT_EQ(engine_->GetModuleVersionInformation(0, 0, "\\StringFileInfo\\040904B0\\None", text, 9, &size),
            kE_NOINTERFACE);
  EXPECT_EQ(engine_->GetModuleVersionInformation(1, 0, "\\", &fixed, sizeof(fixed), nullptr), kE_NOINTERFACE)
      << "nothing of a driver's image is there";
  EXPECT_EQ(engine_->GetModuleVersionInformation(~0u, 5, "\\", &fixed, sizeof(fixed), nullptr), kE_INVALIDARG);
  EXPECT_EQ(engine_->GetModuleVersionInformation(0, 0, nullptr, &fixed, sizeof(fixed), nullptr), kE_POINTER);
}

TEST_P(PlantedForms, SymbolsAreExportsWhereTheImageIsThereAndNoneElsewhere) {
  platform::DEBUG_MODULE_PARAMETERS parameters[2] = {};
  EXPECT_EQ(engine_->GetModuleParameters(2, nullptr, 0, parameters), 0);
  EXPECT_EQ(parameters[0].SymbolType, 4u);
  EXPECT_EQ(parameters[1].SymbolType, 0u);
}

TEST_P(PlantedForms, ModulesAreTheListsWithNamesOfTheirOwn) {
  std::uint32_t loaded = 0;
  std::uint32_t unloaded = 0;
  EXPECT_EQ(engine_->GetNumberModules(&loaded, &unloaded), 0);
  ASSERT_EQ(loaded, machine_.modules.size());
  EXPECT_EQ(unloaded, machine_.unloaded.size());
  std::vector<std::string> names;
  for (std::uint32_t i = 0; i < loaded; ++i) {
    char name[100] = {};
    std::uint64_t base = 0;
    EXPECT_EQ(engine_->GetModuleNameString(1, i, 0, name, sizeof(name), nullptr), 0);
    EXPECT_EQ(engine_->GetModuleByIndex(i, &base), 0);
    EXPECT_EQ(base, machine_.modules[i].base);
    names.emplace_back(name);
  }
  const std::vector<std::string> expected = {"nt",   "hal",         "kdcom", "acpi", "pci", "ntfs",
                                             "ndis", "varnel_link", "twice", "",     "gr_n"};
  ASSERT_EQ(names.size(), expected.size());
  for (std::size_t i = 0; i < names.size(); ++i) {
    if (expected[i].empty()) continue;
    EXPECT_EQ(names[i], expected[i]);
  }
  EXPECT_EQ(names[9].substr(0, 12), "twice_fffff8") << "the second of that name";
}

TEST_P(PlantedForms, RegistersAndTheInterruptLevelAreTheCrashedProcessors) {
  std::uint32_t index = 0;
  platform::DEBUG_VALUE value{};
  EXPECT_EQ(engine_->GetIndexByName("cr8", &index), 0);
  EXPECT_EQ(engine_->GetValue(index, &value), 0);
  EXPECT_EQ(value.Type, platform::kDebugValueInt64);
  EXPECT_EQ(value.I64, machine_.crashed().cr8);
  std::uint64_t offset = 0;
  EXPECT_EQ(engine_->GetStackOffset(&offset), 0);
  EXPECT_EQ(offset, machine_.stack().registers.general[4]);
  EXPECT_EQ(engine_->GetCurrentThreadDataOffset(&offset), 0);
  EXPECT_EQ(offset, machine_.crashed().thread);
  EXPECT_EQ(engine_->GetCurrentProcessDataOffset(&offset), 0);
  EXPECT_EQ(offset, machine_.crashed().process);
  alignas(16) std::byte context[1232];
  EXPECT_EQ(engine_->GetThreadContext(context, sizeof(context)), 0);
  ASSERT_GE(machine_.crashed().context_bytes.size(), sizeof(context));
  EXPECT_EQ(std::memcmp(context, machine_.crashed().context_bytes.data(), sizeof(context)), 0);
}

TEST_P(PlantedForms, TheTextOfTheBuildIsTheKernels) {
  char build[256] = {};
  EXPECT_EQ(
      engine_->GetSystemVersion(nullptr, nullptr, nullptr, nullptr, 0, nullptr, nullptr, build, sizeof(build), nullptr),
      0);
  EXPECT_EQ(build, machine_.build_lab);
}

INSTANTIATE_TEST_SUITE_P(Forms, PlantedForms, kFormsWithMemory, FormName);

/// What else a machine can be, whatever the form of its dump.
struct MachineKind {
  const char* name;
  unsigned paging_levels;
  unsigned crashing_processor;
  bool large_kernel_page;
  bool encoded_debugger_data;
};
void PrintTo(const MachineKind& kind, std::ostream* out) {
  *out << kind.name;
}
class PlantedKinds : public PlantedDumps, public ::testing::WithParamInterface<MachineKind> {};

TEST_P(PlantedKinds, TellTheSameFactsInEachForm) {
  CrashedMachineOptions options = SomeCrash();
  options.paging_levels = GetParam().paging_levels;
  options.crashing_processor = GetParam().crashing_processor;
  options.large_kernel_page = GetParam().large_kernel_page;
  options.encoded_debugger_data = GetParam().encoded_debugger_data;
  const CrashedMachine machine(options);
  for (const CrashDumpForm form :
       {CrashDumpForm::kSmall, CrashDumpForm::kKernel, CrashDumpForm::kComplete, CrashDumpForm::kCompleteRuns}) {
    Dump(machine, {form, true, true});
    std::uint32_t number = ~0u;
    EXPECT_EQ(engine_->GetCurrentThreadId(&number), 0);
    EXPECT_EQ(number, options.crashing_processor);
    EXPECT_EQ(engine_->GetNumberModules(&number, nullptr), 0);
    EXPECT_EQ(number, machine.modules.size());
    std::uint64_t address = 0;
    EXPECT_EQ(engine_->GetModuleByModuleName("nt", 0, nullptr, &address), 0);
    EXPECT_EQ(address, machine.kernel.base());
    EXPECT_EQ(engine_->GetCurrentThreadDataOffset(&address), 0);
    EXPECT_EQ(address, machine.crashed().thread);
    EXPECT_EQ(engine_->GetCurrentProcessDataOffset(&address), 0);
    EXPECT_EQ(address, machine.crashed().process);
    platform::DEBUG_VALUE level{};
    EXPECT_EQ(engine_->GetIndexByName("cr8", &number), 0);
    EXPECT_EQ(engine_->GetValue(number, &level), 0);
    EXPECT_EQ(level.I64, machine.crashed().cr8);
    const auto frames = Frames();
    ASSERT_EQ(frames.size(), machine.stack().frames.size());
    EXPECT_EQ(NameAt(frames[0].InstructionOffset, nullptr), "nt!KeBugCheckEx");
    platform::VS_FIXEDFILEINFO fixed{};
    EXPECT_EQ(engine_->GetModuleVersionInformation(0, 0, "\\", &fixed, sizeof(fixed), nullptr), 0);
    EXPECT_EQ(fixed.dwFileVersionLS, 19041u << 16 | 5072);
  }
}

INSTANTIATE_TEST_SUITE_P(Kinds, PlantedKinds,
                         ::testing::Values(MachineKind{"FiveLevels", 5, 0, false, false},
                                           MachineKind{"OneLargePage", 4, 0, true, false},
                                           MachineKind{"EncodedBlock", 4, 0, false, true},
                                           MachineKind{"SecondProcessor", 4, 1, false, false},
                                           MachineKind{"AllOfIt", 5, 1, true, true}),
                         [](const auto& tested) { return std::string(tested.param.name); });

TEST_F(PlantedDumps, OfAnImageThatWentNothingIsToldByWhatLiesThereYet) {
  CrashedMachine machine(Crash());
  const std::uint64_t base = machine.kernel.base();
  machine.unloaded.push_back({u"gone.sys", base, base + machine.modules[0].size, 0});
  machine.modules.erase(machine.modules.begin());
  Dump(machine, {CrashDumpForm::kSmall, true, true});
  std::uint32_t index = 0;
  EXPECT_EQ(engine_->GetModuleByOffset(machine.stack().frames[0].rip, 0, &index, nullptr), 0);
  EXPECT_GE(index, machine.modules.size());
  std::uint16_t magic = 0;
  EXPECT_EQ(engine_->ReadVirtual(base, &magic, sizeof(magic), nullptr), 0);
  EXPECT_EQ(magic, 0x5A4D);
  EXPECT_EQ(NameAt(machine.kernel.Export("KeBugCheckEx"), nullptr), "");
  platform::DEBUG_MODULE_PARAMETERS parameters{};
  EXPECT_EQ(engine_->GetModuleParameters(1, nullptr, index, &parameters), 0);
  EXPECT_EQ(parameters.Base, base);
  EXPECT_EQ(parameters.SymbolType, 0u);
  platform::VS_FIXEDFILEINFO fixed{};
  EXPECT_EQ(engine_->GetModuleVersionInformation(index, 0, "\\", &fixed, sizeof(fixed), nullptr), kE_NOINTERFACE);
  EXPECT_EQ(Frames().size(), 1u);
}

TEST_F(PlantedDumps, TheKernelIsWhereTheDebuggersBlockSaysWhateverTheOrderOfTheList) {
  CrashedMachine machine(Crash());
  std::swap(machine.modules[0], machine.modules[1]);
  std::vector<std::byte> bytes = DumpBytes(machine, {CrashDumpForm::kSmall, true, true});
  std::memset(bytes.data() + 0x20, 0, 8);  // the header does not tell of the list
  dumps_[u"C:\\b.dmp"] = std::make_shared<support::DumpFileSource>(bytes);
  ASSERT_EQ(engine_->OpenDumpFileWide(u"C:\\b.dmp", 0), 0);
  ASSERT_EQ(engine_->WaitForEvent(0, 100), 0);
  std::uint32_t index = 0;
  std::uint64_t base = 0;
  EXPECT_EQ(engine_->GetModuleByModuleName("nt", 0, &index, &base), 0);
  EXPECT_EQ(index, 1u);
  EXPECT_EQ(base, machine.kernel.base());
}

TEST_F(PlantedDumps, ATextOfTheBuildThatDoesNotFitIsCut) {
  Dump(machine_, {CrashDumpForm::kSmall, true, true});
  char pack[8] = {};
  char build[4] = {};
  std::uint32_t used = 0;
  EXPECT_EQ(engine_->GetSystemVersion(nullptr, nullptr, nullptr, pack, sizeof(pack), nullptr, nullptr, build,
                                      sizeof(build), &used),
            1);
  EXPECT_EQ(build, machine_.build_lab.substr(0, 3));
  EXPECT_EQ(used, machine_.build_lab.size() + 1);
}

TEST_F(PlantedDumps, TheKindOfDumpIsToldByItsForm) {
  const std::pair<CrashDumpForm, std::uint32_t> kinds[] = {{CrashDumpForm::kSmall, 1024},
                                                           {CrashDumpForm::kKernel, 1025},
                                                           {CrashDumpForm::kComplete, 1026},
                                                           {CrashDumpForm::kCompleteRuns, 1026}};
  for (const auto& [form, expected] : kinds) {
    Dump(machine_, {form, true, true});
    std::uint32_t qualifier = 0;
    EXPECT_EQ(engine_->GetDebuggeeType(nullptr, &qualifier), 0);
    EXPECT_EQ(qualifier, expected);
  }
}

TEST_F(PlantedDumps, AKernelDumpThatWasFilteredIsAnActiveOne) {
  CrashedMachineOptions options = Crash();
  options.attributes = 0x40;
  Dump(CrashedMachine(options), {CrashDumpForm::kKernel, true, true});
  std::uint32_t qualifier = 0;
  EXPECT_EQ(engine_->GetDebuggeeType(nullptr, &qualifier), 0);
  EXPECT_EQ(qualifier, 1030u);
}

TEST_F(PlantedDumps, ProtectionComesFromThePageTables) {
  Dump(machine_, {CrashDumpForm::kComplete, true, true});
  for (const LoadedImage::Section& section : machine_.kernel.sections()) {
    platform::MEMORY_BASIC_INFORMATION64 page{};
    const std::uint64_t address = machine_.kernel.base() + section.rva + 5;
    ASSERT_EQ(engine_->QueryVirtual(address, &page), 0);
    EXPECT_EQ(page.BaseAddress, address & ~std::uint64_t{0xFFF});
    EXPECT_EQ(page.RegionSize, 0x1000u);
    EXPECT_EQ(page.State, 0x1000u);
    EXPECT_EQ(page.Protect, section.executable ? 0x20u : section.writable ? 4u : 2u) << section.rva;
    EXPECT_EQ(page.AllocationProtect, page.Protect);
    std::uint64_t physical = 0;
    EXPECT_EQ(engine_->VirtualToPhysical(address, &physical), 0);
    EXPECT_EQ(physical, machine_.map.PhysicalOf(address));
    std::byte by_virtual[16];
    std::byte by_physical[16];
    EXPECT_EQ(engine_->ReadVirtual(address, by_virtual, 16, nullptr), 0);
    EXPECT_EQ(engine_->ReadPhysical(physical, by_physical, 16, nullptr), 0);
    EXPECT_EQ(std::memcmp(by_virtual, by_physical, 16), 0);
  }
  EXPECT_EQ(engine_->QueryVirtual(0xFFFFF7FF00000000, std::make_unique<platform::MEMORY_BASIC_INFORMATION64>().get()),
            kE_FAIL);
}

TEST_F(PlantedDumps, WithoutTheKernelsImageThereAreNoNamesNoVersionAndOneFrame) {
  Dump(machine_, {CrashDumpForm::kSmall, false, true});
  const auto frames = Frames();
  ASSERT_EQ(frames.size(), 1u);
  EXPECT_EQ(frames[0].InstructionOffset, machine_.stack().frames[0].rip);
  EXPECT_EQ(frames[0].StackOffset, machine_.stack().frames[0].rsp);
  EXPECT_EQ(frames[0].ReturnOffset, 0u);
  EXPECT_EQ(NameAt(frames[0].InstructionOffset, nullptr), "");
  platform::VS_FIXEDFILEINFO fixed{};
  EXPECT_EQ(engine_->GetModuleVersionInformation(0, 0, "\\", &fixed, sizeof(fixed), nullptr), kE_NOINTERFACE);
}

TEST_F(PlantedDumps, AWalkHasNoMoreFramesThanThereIsRoomFor) {
  Dump(machine_, {CrashDumpForm::kKernel, true, true});
  EXPECT_EQ(Frames(2).size(), 2u);
  platform::DEBUG_STACK_FRAME frame{};
  EXPECT_EQ(engine_->GetStackTrace(0, 0, 0, &frame, 0, nullptr), kE_INVALIDARG);
  EXPECT_EQ(engine_->GetStackTrace(0, 0, 0, nullptr, 5, nullptr), kE_INVALIDARG);
}

TEST_F(PlantedDumps, AWalkBeginsWhereTheCallerSays) {
  Dump(machine_, {CrashDumpForm::kKernel, true, true});
  const auto& second = machine_.stack().frames[1];
  platform::DEBUG_STACK_FRAME frames[64] = {};
  std::uint32_t filled = 0;
  EXPECT_EQ(engine_->GetStackTrace(0, second.rsp, second.rip, frames, 64, &filled), 0);
  ASSERT_GE(filled, 2u);
  EXPECT_EQ(frames[0].InstructionOffset, second.rip);
  EXPECT_EQ(frames[1].InstructionOffset, machine_.stack().frames[2].rip);
}

TEST_F(PlantedDumps, WithoutRegistersThereIsNoStack) {
  SmallDump dump;
  Open(dump);
  platform::DEBUG_STACK_FRAME frames[2] = {};
  EXPECT_EQ(engine_->GetStackTrace(0, 0, 0, frames, 2, nullptr), kE_FAIL);
}

TEST_F(PlantedDumps, ANameThatDoesNotFitIsCut) {
  Dump(machine_, {CrashDumpForm::kKernel, true, true});
  char name[6] = {};
  std::uint32_t size = 0;
  std::uint64_t displacement = 9;
  EXPECT_EQ(engine_->GetNameByOffset(machine_.kernel.Export("KeBugCheckEx"), name, sizeof(name), &size, &displacement),
            1);
  EXPECT_STREQ(name, "nt!Ke");
  EXPECT_EQ(size, 16u);
  EXPECT_EQ(displacement, 0u);
  EXPECT_EQ(engine_->GetNameByOffset(0x1000, name, sizeof(name), &size, &displacement), kE_FAIL) << "in no module";
}

TEST_F(PlantedDumps, FiveThousandModulesAreListedAndNamed) {
  CrashedMachineOptions options = SomeCrash();
  options.more_modules = 5000;
  options.memory_size = 64 << 20;
  const CrashedMachine machine(options);
  Dump(machine, {CrashDumpForm::kKernel, true, true});
  std::uint32_t loaded = 0;
  EXPECT_EQ(engine_->GetNumberModules(&loaded, nullptr), 0);
  ASSERT_EQ(loaded, machine.modules.size());
  std::vector<platform::DEBUG_MODULE_PARAMETERS> parameters(loaded);
  EXPECT_EQ(engine_->GetModuleParameters(loaded, nullptr, 0, parameters.data()), 0);
  for (std::uint32_t i = 0; i < loaded; ++i) {
    EXPECT_EQ(parameters[i].Base, machine.modules[i].base);
    EXPECT_EQ(parameters[i].TimeDateStamp, machine.modules[i].time_stamp);
    std::uint32_t index = 0;
    EXPECT_EQ(engine_->GetModuleByOffset(parameters[i].Base + 1, 0, &index, nullptr), 0);
    EXPECT_EQ(index, i);
  }
}

}  // namespace
}  // namespace varnel::embedded
