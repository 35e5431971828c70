// A scripted machine that writes small dumps, for the tests of the analyzer. Every call is watched by a fault plan.
#pragma once

#include <gtest/gtest.h>

#include <cstdint>
#include <string>
#include <string_view>
#include <vector>

#include "tests/support/faulty_ports.h"
#include "tests/support/hooked_plan.h"
#include "tests/support/scripted_platform.h"

namespace varnel::testing {

inline const std::u16string kProduct = u"{4A234956-2B7D-4221-BADF-12593BD342A8}";
inline const std::u16string kMarkerNoSymbol = u"analyzed_dumps_nosym.dat";
inline const std::u16string kMarkerWithSymbol = u"analyzed_dumps_sym.dat";
inline const std::u16string kCrashControl = u"SYSTEM\\CurrentControlSet\\Control\\CrashControl";
inline const std::u16string kProductKey = u"SOFTWARE\\KelvoCLSID\\GlobalCfg\\{4A234956-2B7D-4221-BADF-12593BD342A8}";
inline const std::u16string kDumpFolder = u"C:\\Windows\\Minidump";
inline const std::u16string kMarkerFolder =
    u"C:\\ProgramData\\KelvoVarnels\\GlobalCfg\\{4A234956-2B7D-4221-BADF-12593BD342A8}";

/// An HRESULT as the calls give it.
constexpr std::int32_t Hr(std::uint32_t value) {
  return static_cast<std::int32_t>(value);
}
/// A system error as the calls give it.
constexpr std::int32_t HrOf(std::uint32_t error) {
  return Hr(0x80070000 | error);
}
inline constexpr std::int32_t kEFail = Hr(0x80004005);
inline constexpr std::int32_t kEPointer = Hr(0x80004003);
inline constexpr std::int32_t kEAccessDenied = Hr(0x80070005);
inline constexpr std::int32_t kEOutOfMemory = Hr(0x8007000E);

using TextList = std::vector<std::u16string>;

/// What a dump is recorded under, worked out from its bytes and times alone.
std::u16string IdentityOf(const std::string& bytes, std::uint64_t last_write);

/// A marker file as it has to stand on the disk.
std::string MarkerBytes(const TextList& identities);

class AnalyzerTest : public ::testing::Test {
 protected:
  AnalyzerTest();
  ~AnalyzerTest() override;

  static constexpr std::uint64_t kWritten = 133'000'000'000'000'000;  // the last-write time of all dumps

  /// A dump in the machine's dump folder. `created` counts hours. Its full path.
  std::u16string AddDump(std::u16string_view name, const std::string& bytes, std::uint64_t created);
  /// So many dumps of different content, the first of them the oldest: "0.dmp", "1.dmp" and so on.
  TextList AddDumps(unsigned count);
  std::u16string Identity(const std::u16string& path) const;
  std::u16string MarkerPath(const std::u16string& name) const { return kMarkerFolder + u'\\' + name; }
  /// The bytes of a marker file; "absent" when there is none.
  std::string Marker(const std::u16string& name) const;
  void PutMarker(const std::u16string& name, const TextList& identities);
  void SetControl(const std::u16string& name, std::uint32_t value) {
    machine.registry.SetDword(kCrashControl, name, value);
  }
  void SetControlText(const std::u16string& name, const std::u16string& text, std::uint32_t type = 2);
  void RemoveControl(const std::u16string& name);
  std::u16string StoredText(const std::u16string& key, const std::u16string& name) const;
  /// The levels that are logged from now on; before, errors alone.
  void SetLogLevels(std::uint32_t levels);
  bool Logged(const std::string& line) const { return machine.system.Logged(line); }
  /// How many lines the log has.
  std::size_t Lines() const { return machine.system.DebugLines().size(); }
  /// Nothing of the machine is still open or allocated.
  void ExpectNothingHeld() const;

  ScriptedPlatform machine;
  HookedPlan plan;
  FaultyPlatform watched{machine.ports, &plan};
};

}  // namespace varnel::testing
