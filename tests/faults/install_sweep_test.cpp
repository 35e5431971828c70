// Install and uninstall with each of their platform calls failing once, and from then on for ever.
#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <algorithm>
#include <climits>
#include <iterator>
#include <span>
#include <string>
#include <vector>

#include "tests/faults/registration_lines.h"
#include "tests/faults/swept_machine.h"

namespace varnel::testing {
namespace {

using ::testing::Contains;
using ::testing::HasSubstr;
using ::testing::IsEmpty;
using Mode = SweepPlan::Mode;

constexpr std::uint32_t kCode = 5;
constexpr std::uint32_t kNotFound = 2;
constexpr std::uint32_t kFail = 0x80004005;
constexpr std::uint32_t kUnsuccessful = 0x90000000;
constexpr unsigned kLast = UINT_MAX;

std::vector<std::string> Sorted(std::vector<std::string> lines) {
  std::sort(lines.begin(), lines.end());
  return lines;
}

std::vector<std::string> NewLines(const std::vector<std::string>& lines, const std::vector<std::string>& unharmed) {
  const std::vector<std::string> now = Sorted(lines);
  const std::vector<std::string> before = Sorted(unharmed);
  std::vector<std::string> added;
  std::set_difference(now.begin(), now.end(), before.begin(), before.end(), std::back_inserter(added));
  return added;
}

std::u16string Placed(const char16_t* name) {
  return std::u16string(kModuleFolder) + u"\\" + name;
}

/// What a failing call comes to. Without a line it fails in silence.
struct Expectation {
  std::uint32_t result = 0;
  bool ends = false;  // the operation goes no further
  std::vector<std::string> told;
};

// ---------------------------------------------------------------- install

struct InstallRow {
  const char* operation;
  unsigned first;
  unsigned last;
  std::uint32_t result;
  bool ends;
  const char* line;
};

// Behind the registration. The files' checks come only where the files are already there.
constexpr InstallRow kInstallRows[] = {
    {"ControlTraceW", 1, 1, 0, false, "CheckTraceSessionExists func Failed to query Session("},
    {"GetSystemDirectoryW", 2, 2, kUnsuccessful, true, "InstallVarnel func call CreateTempSession failed(0x90000000)!"},
    {"HeapAlloc", 2, 2, 14, true, "InstallVarnel func call CreateTempSession failed(0xe)!"},
    {"StartTraceW", 1, 1, kCode, true, "InstallVarnel func call CreateTempSession failed(0x5)!"},
    {"EnableTraceEx2", 1, 7, kCode, true, "InstallVarnel func call CreateTempSession failed(0x5)!"},
    {"StringFromGUID2", 4, 4, kUnsuccessful, true, "EtwConsumerStart func call GetVarnelFullPathByGuid failed!"},
    {"RegOpenKeyExW", 9, 9, kUnsuccessful, true, "GetVarnelFullPathByGuid func RegOpenKeyExW wcsSubKeyPath("},
    {"RegQueryValueExW", 1, 1, kUnsuccessful, true, "EtwConsumerStart func call GetVarnelFullPathByGuid failed!"},
    {"CreateFileW", 1, kLast, 0, false, "WrapCalcFileMD5 func CreateFileW("},
    {"CryptAcquireContextW", 1, kLast, 0, false, ") CryptAcquireContext failed(5)."},
    {"CryptCreateHash", 1, kLast, 0, false, ") CryptCreateHash failed(5)."},
    {"CryptHashData", 1, kLast, 0, false, ") CryptHashData failed(5)."},
    {"ReadFile", 1, kLast, 0, false, "WrapCalcFileMD5 func ReadFile("},
    {"CryptGetHashParam", 1, kLast, 0, false, ") CryptGetHashParam failed(5)."},
    {"CopyFileW", 1, 1, kFail, true, "call WrapCopyVarnelsFile(symsrv.dll) failed(0x80004005)!"},
    {"CopyFileW", 2, 2, kFail, true, "call WrapCopyVarnelsFile(symsrv.yes) failed(0x80004005)!"},
    {"RegFlushKey", 1, 1, 0, false, "RegFlushKey for HKEY_LOCAL_MACHINE\\SOFTWARE failed(0x5)."},
    {"RegFlushKey", 2, 2, 0, false, "RegFlushKey for HKEY_LOCAL_MACHINE\\SYSTEM failed(0x5)."},
};

// Where files differ, a file of the module's folder that stays open can't be overwritten.
constexpr InstallRow kInstallRowsOfOpenFiles[] = {
    {"CloseHandle", 3, 3, kFail, true, "call WrapCopyVarnelsFile(symsrv.dll) failed(0x80004005)!"},
    {"CloseHandle", 5, 5, kFail, true, "call WrapCopyVarnelsFile(symsrv.yes) failed(0x80004005)!"},
};

enum class Files { kAbsent, kSame, kDifferent };

const InstallRow* FindRow(std::span<const InstallRow> rows, const CallSite& site) {
  const auto found = std::find_if(rows.begin(), rows.end(), [&](const InstallRow& row) {
    return site.operation == row.operation && row.first <= site.nth && site.nth <= row.last;
  });
  return found == rows.end() ? nullptr : &*found;
}

Expectation ExpectInstallOnce(const CallSite& site, Files files) {
  std::vector<std::string> told = RegistrationLines(site);
  if (!told.empty()) {
    // The host can't see that the registration failed.
    told.emplace_back("InstallVarnel func call EtwAutoLoggerInstall failed(0x0)!");
    return {0, true, told};
  }
  const InstallRow* row = FindRow(kInstallRows, site);
  if (row == nullptr && files == Files::kDifferent) row = FindRow(kInstallRowsOfOpenFiles, site);
  return row == nullptr ? Expectation{} : Expectation{row->result, row->ends, {row->line}};
}

/// The first call that is told gives the lines, the first that ends the operation its result.
template <typename Once>
Expectation Combine(const CallSite& from, const std::vector<CallSite>& order, const Once& once) {
  Expectation expected;
  for (auto at = std::find(order.begin(), order.end(), from); at != order.end() && !expected.ends; ++at) {
    if (at->operation != from.operation || at->IsLog()) continue;
    const Expectation part = once(*at);
    if (expected.told.empty()) expected.told = part.told;
    expected.result = part.result;
    expected.ends = part.ends;
  }
  return expected;
}

class InstallSweep : public ::testing::TestWithParam<Files> {
 protected:
  InstallSweep() {
    SweptMachine machine;
    SetUp(&machine);
    EXPECT_EQ(machine.Install(), 0u);
    order_ = machine.plan.Sites();
    lines_ = machine.Lines();
    std::erase_if(order_, [](const CallSite& site) { return site.caller.starts_with("test"); });
  }

  using ::testing::Test::SetUp;
  static void SetUp(SweptMachine* machine) {
    if (GetParam() == Files::kAbsent) return;
    machine->platform.files.AddFile(Placed(u"symsrv.dll"), GetParam() == Files::kSame ? "library" : "older library");
    machine->platform.files.AddFile(Placed(u"symsrv.yes"), GetParam() == Files::kSame ? "yes" : "older yes");
  }

  void Sweep(Mode mode);
  void Check(const CallSite& site, Mode mode);
  static void CheckState(const SweptMachine& machine, const Expectation& expected, Mode mode);

  std::vector<CallSite> order_;
  std::vector<std::string> lines_;
};

void InstallSweep::Sweep(Mode mode) {
  unsigned runs = 0;
  for (const CallSite& site : order_) {
    if (!CanFail(site.operation)) continue;
    Check(site, mode);
    ++runs;
  }
  EXPECT_GT(runs, 100u);
}

void InstallSweep::Check(const CallSite& site, Mode mode) {
  SCOPED_TRACE(::testing::Message() << site << (mode == Mode::kOnce ? " once" : " for ever"));
  const auto once = [](const CallSite& at) { return ExpectInstallOnce(at, GetParam()); };
  Expectation expected = mode == Mode::kForEver ? Combine(site, order_, once) : Expectation{};
  if (mode == Mode::kOnce && !site.IsLog()) expected = once(site);
  SweptMachine machine;
  SetUp(&machine);
  machine.plan.Arm(site, mode, kCode);
  EXPECT_EQ(machine.Install(), expected.result);
  EXPECT_TRUE(machine.plan.hit());
  const std::vector<std::string> added = NewLines(machine.Lines(), lines_);
  for (const std::string& line : expected.told) EXPECT_THAT(added, Contains(HasSubstr(line)));
  if (expected.told.empty()) {
    EXPECT_THAT(added, IsEmpty());
  }
  CheckState(machine, expected, mode);
  machine.plan.Disarm();
  if (site.operation == "CloseHandle" && expected.result != 0) return;  // the file stays open
  EXPECT_EQ(machine.Install(), 0u) << "a second install is whole";
  EXPECT_TRUE(machine.platform.registry.HasKey(kAutologgerKey));
  EXPECT_TRUE(machine.platform.trace.FindSession(kSessionName).has_value());
  EXPECT_EQ(machine.platform.files.Contents(Placed(u"symsrv.dll")), "library");
  EXPECT_EQ(machine.platform.files.Contents(Placed(u"symsrv.yes")), "yes");
}

/// What stays done.
void InstallSweep::CheckState(const SweptMachine& machine, const Expectation& expected, Mode mode) {
  const auto told = [&](const char* piece) {
    return std::any_of(expected.told.begin(), expected.told.end(),
                       [&](const std::string& line) { return line.find(piece) != std::string::npos; });
  };
  const bool unregistered = told("EtwAutoLoggerInstall");
  const bool no_session = unregistered || told("CreateTempSession");
  // A roll-back whose calls fail as well leaves what it can't remove.
  if (mode == Mode::kOnce || !unregistered) {
    EXPECT_EQ(machine.platform.registry.HasKey(kAutologgerKey), !unregistered);
  }
  EXPECT_EQ(machine.platform.trace.FindSession(kSessionName).has_value(), !no_session);
  const bool first_placed = !no_session && !told("GetVarnelFullPathByGuid") && !told("symsrv.dll) failed");
  if (GetParam() == Files::kAbsent) {
    EXPECT_EQ(machine.platform.files.Exists(Placed(u"symsrv.dll")), first_placed);
    EXPECT_EQ(machine.platform.files.Exists(Placed(u"symsrv.yes")), first_placed && !told("symsrv.yes) failed"));
  }
  EXPECT_EQ(machine.StillOpen().heap_blocks, 0);
}

TEST_P(InstallSweep, Once) {
  Sweep(Mode::kOnce);
}
TEST_P(InstallSweep, ForEver) {
  Sweep(Mode::kForEver);
}

INSTANTIATE_TEST_SUITE_P(ModuleFiles, InstallSweep, ::testing::Values(Files::kAbsent, Files::kSame, Files::kDifferent),
                         [](const auto& info) {
                           if (info.param == Files::kAbsent) return "Absent";
                           return info.param == Files::kSame ? "Same" : "Different";
                         });

// ---------------------------------------------------------------- uninstall

/// The line that tells of one failing call of the removal, and whether it counts as a failure.
Expectation ExpectUninstallOnce(const CallSite& site, std::uint32_t code) {
  const bool not_found = code == kNotFound;
  const std::string hex = not_found ? "0x00000002" : "0x00000005";
  std::string line;
  bool absent = false;  // reads as already gone
  if (site.operation == "RegOpenKeyExW" && site.nth % 2 == 1) {
    absent = not_found;
    line = absent ? ") not found" : "Failed to open session key: " + hex;
  } else if (site.operation == "RegOpenKeyExW") {
    absent = not_found;
    line = absent ? ") already deleted" : "Failed to reopen session key for enumeration: " + hex;
  } else if (site.operation == "RegDeleteTreeW" && site.nth <= 7) {
    absent = not_found;
    line = absent ? ") not found in Session(" : "Failed to delete provider(";
  } else if (site.operation == "RegDeleteTreeW") {
    absent = not_found;
    line = absent ? ") already deleted" : "Failed to delete empty Session(";
  } else if (site.operation == "RegQueryInfoKeyW") {
    line = "Failed to query session key info: " + hex;
  } else {
    return {};
  }
  Expectation expected{absent ? 0 : code, false, {"DeleteAutoLoggerProvider func "}};
  expected.told.push_back(line);
  if (absent) return expected;
  const unsigned calls_of_a_provider = site.operation == "RegOpenKeyExW" ? 2 : 1;
  const unsigned provider = std::min((site.nth - 1) / calls_of_a_provider, 6u);
  expected.told.push_back("EtwAutoLoggerUninstall func call DeleteAutoLoggerProvider with " +
                          std::string(kProviderConstants[provider]) + " failed(0x" + hex.back() + ")");
  return expected;
}

class UninstallSweep : public ::testing::TestWithParam<std::uint32_t> {
 protected:
  UninstallSweep() {
    SweptMachine machine;
    EXPECT_EQ(machine.Install(), 0u);
    machine.platform.system.ClearDebug();
    EXPECT_EQ(machine.Uninstall(), 0u);
    lines_ = machine.Lines();
    order_ = machine.plan.Sites();
    std::erase_if(order_, [](const CallSite& site) { return !site.caller.starts_with("uninstall"); });
  }

  void Sweep(Mode mode);
  void Check(const CallSite& site, Mode mode);

  std::vector<CallSite> order_;
  std::vector<std::string> lines_;
};

void UninstallSweep::Sweep(Mode mode) {
  unsigned runs = 0;
  for (const CallSite& site : order_) {
    if (!CanFail(site.operation)) continue;
    Check(site, mode);
    ++runs;
  }
  EXPECT_GT(runs, 40u);
}

void UninstallSweep::Check(const CallSite& site, Mode mode) {
  SCOPED_TRACE(::testing::Message() << site << (mode == Mode::kOnce ? " once" : " for ever"));
  // The code of the last failure is the result, and all failures have the same.
  const Expectation expected = site.IsLog() ? Expectation{} : ExpectUninstallOnce(site, GetParam());
  SweptMachine machine;
  EXPECT_EQ(machine.Install(), 0u);
  machine.platform.system.ClearDebug();
  machine.plan.Arm(site, mode, GetParam());
  EXPECT_EQ(machine.Uninstall(), expected.result);
  EXPECT_TRUE(machine.plan.hit());
  const std::vector<std::string> added = NewLines(machine.Lines(), lines_);
  for (const std::string& line : expected.told) EXPECT_THAT(added, Contains(HasSubstr(line)));
  if (expected.told.empty()) {
    EXPECT_THAT(added, IsEmpty());
  }
  machine.plan.Disarm();
  EXPECT_EQ(machine.Uninstall(), 0u) << "a second one finds whatever is left";
  EXPECT_FALSE(machine.platform.registry.HasKey(kAutologgerKey));
  EXPECT_TRUE(machine.platform.trace.FindSession(kSessionName).has_value()) << "deliberately untouched";
  EXPECT_EQ(machine.platform.files.Contents(Placed(u"symsrv.dll")), "library");
}

TEST_P(UninstallSweep, Once) {
  Sweep(Mode::kOnce);
}
TEST_P(UninstallSweep, ForEver) {
  Sweep(Mode::kForEver);
}

INSTANTIATE_TEST_SUITE_P(Codes, UninstallSweep, ::testing::Values(kCode, kNotFound),
                         [](const auto& info) { return info.param == kCode ? "AccessDenied" : "NotFound"; });

}  // namespace
}  // namespace varnel::testing
