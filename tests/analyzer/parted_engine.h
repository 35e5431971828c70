// A debugger engine whose interfaces are objects of their own, so that a test sees in which order they are given back.
#pragma once

#include <cstring>
#include <map>
#include <string>
#include <vector>

#include "platform/debugger/engine_stub.h"
#include "tests/support/fake_system.h"
#include "tests/support/named_interfaces.h"

namespace varnel::testing {

/// One at a time: the library's "DebugCreate" makes it until it goes. Borrows the system port.
class PartedEngine {
 public:
  explicit PartedEngine(FakeSystem* system) {
    system->procedures["DebugCreate"] = reinterpret_cast<platform::Procedure>(&PartedEngine::DebugCreate);
    current_ = this;
  }
  ~PartedEngine() { current_ = nullptr; }
  PartedEngine(const PartedEngine&) = delete;
  PartedEngine& operator=(const PartedEngine&) = delete;

  /// The interface that is refused, or given as null with success; empty for none.
  std::string refused;
  std::string hollow;
  /// What happened, in order: sessions that ended, and interfaces whose last reference went.
  std::vector<std::string> log;

 private:
  class Part final : public platform::DebugEngineStub {
   public:
    Part(PartedEngine* whole, std::string name) : whole_(whole), name_(std::move(name)) {}

    platform::HRESULT QueryInterface(const GUID& id, void** object) override { return whole_->Give(id, object); }
    platform::HRESULT OpenDumpFile(const char*) override { return 0; }
    platform::HRESULT OpenDumpFileWide(const char16_t*, std::uint64_t) override { return 0; }
    platform::HRESULT WaitForEvent(std::uint32_t, std::uint32_t) override { return 0; }
    platform::HRESULT EndSession(std::uint32_t) override {
      whole_->log.emplace_back("EndSession");
      return 0;
    }

   private:
    void Destroy() override {
      whole_->log.push_back(name_);
      delete this;
    }
    PartedEngine* const whole_;
    const std::string name_;
  };

  platform::HRESULT Give(const GUID& id, void** object) {
    const char* const call = CallOf(id);
    std::string name = call == nullptr ? "IDebugClient" : call;
    if (call != nullptr) name = name.substr(name.find('(') + 1, name.find(')') - name.find('(') - 1);
    *object = nullptr;
    if (name == refused) return platform::kNoInterface;
    if (name == hollow) return 0;
    auto* const part = new Part(this, name);
    const platform::HRESULT result = part->platform::DebugEngineStub::QueryInterface(id, object);
    part->Release();
    return result;
  }

  static platform::HRESULT DebugCreate(const GUID& id, void** object) { return current_->Give(id, object); }

  static inline PartedEngine* current_ = nullptr;
};

}  // namespace varnel::testing
