// A scripted machine with small dumps, a scripted engine, and all that the pass with symbols needs in its place.
#pragma once

#include <functional>
#include <string>
#include <vector>

#include "analyzer/analysis_state.h"
#include "analyzer/symbol_dlls.h"
#include "tests/analyzer/analyzer_fixture.h"
#include "tests/support/scripted_debugger.h"

namespace varnel::testing {

inline const std::u16string kHostFolder = u"C:\\Program Files\\Varnel\\Host";
inline const std::u16string kSystemFolder = u"C:\\Windows\\System32";
inline const std::u16string kProductData = u"C:\\ProgramData\\KelvoVarnels\\{4A234956-2B7D-4221-BADF-12593BD342A8}";
inline constexpr auto kCancelled = static_cast<std::int32_t>(0x800704C7);

/// Whether a session with symbols stands in the state.
inline bool HasSession(AnalysisState* state) {
  const CriticalSectionLock held(state->sessionLock);
  return state->session != nullptr;
}

/// What a callback was told, in order.
struct Told {
  std::uint8_t success;
  std::string report;
  std::string error;
  void* context;
};

class RunFixture : public AnalyzerTest {
 protected:
  RunFixture() {
    machine.files.AddFolder(kHostFolder);
    machine.files.AddFile(kSystemFolder + u"\\dbghelp.dll", "helper");
    machine.files.AddFile(kSystemFolder + u"\\dbgeng.dll", "engine");
    machine.files.AddFile(kProductData + u"\\symsrv.dll", "server");
    machine.system.libraries.insert(kHostFolder + u"\\dbgeng.dll");
    current_ = this;
  }
  ~RunFixture() override {
    // The copies' use count and lock are the process's: whatever a test has left of them goes.
    plan.Clear();
    for (int i = 0; i < 8; ++i) ReleaseSymbolDlls();
    CleanupSymbolFiles(nullptr);
    current_ = nullptr;
  }

  static void TakeNoSymbol(std::uint8_t success, const std::string& report, const std::string& error, void* context) {
    current_->no_symbol_.push_back({success, report, error, context});
    if (current_->on_told) current_->on_told();
  }
  static void TakeWithSymbol(std::uint8_t success, const std::string& report, const std::string& error, void* context) {
    current_->with_symbol_.push_back({success, report, error, context});
    if (current_->on_told) current_->on_told();
  }

  bool HasCopies() const {
    for (const char16_t* name : {u"\\dbghelp.dll", u"\\dbgeng.dll", u"\\symsrv.dll", u"\\symsrv.yes"}) {
      if (machine.files.Exists(kHostFolder + name)) return true;
    }
    return false;
  }
  std::uint32_t Dword(const std::u16string& name) const {
    return machine.registry.GetDword(kProductKey, name).value_or(~0u);
  }

  ScriptedDebugger debugger{&machine.system};
  std::vector<Told> no_symbol_;
  std::vector<Told> with_symbol_;
  std::function<void()> on_told;

 private:
  static inline RunFixture* current_ = nullptr;
};

}  // namespace varnel::testing
