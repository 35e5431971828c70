#include "platform/embedded/embedded_platform.h"

#include <cstdlib>

#include "platform/embedded/core/attachment.h"
#include "platform/embedded/debugger/debug_create.h"
#include "platform/embedded/eventlog/embedded_event_log.h"
#include "platform/embedded/null_ports.h"
#include "platform/embedded/registry/lmdb_registry.h"
#include "platform/embedded/tdh/embedded_tdh.h"
#include "platform/embedded/tdh/manifest_file.h"
#include "platform/embedded/trace/embedded_trace.h"
#include "platform/embedded/trace/machine_sessions.h"

namespace varnel::embedded {
namespace {

/// The process's platform, and why it has no machine if so.
struct SystemState {
  explicit SystemState(std::string why) : platform(EmbeddedPlatform::WithoutMachine()), error(std::move(why)) {}
  SystemState(std::unique_ptr<EmbeddedPlatform> opened, Attachment mark)
      : platform(std::move(opened)), attachment(std::move(mark)) {}

  std::unique_ptr<EmbeddedPlatform> platform;
  std::optional<Attachment> attachment;  // keeps the machine from booting under the module
  std::string error;
};

SystemState OpenSystem() {
  const char* const root = std::getenv("VARNEL_MACHINE");
  if (root == nullptr || *root == '\0') return SystemState("VARNEL_MACHINE names no machine");
  auto opened = EmbeddedPlatform::Open(root);
  if (!opened.ok()) return SystemState(opened.error().message);
  auto attachment = Attachment::AttachShared(*opened.value()->machine());
  if (!attachment.ok()) return SystemState(attachment.error().message);
  return SystemState(std::move(opened).value(), std::move(attachment).value());
}

SystemState& System() {
  // Made at the first use, so that a load constructor may call; never destroyed, so that an exit handler may.
  static SystemState* const state = new SystemState(OpenSystem());
  return *state;
}

}  // namespace

formats::Result<std::unique_ptr<EmbeddedPlatform>> EmbeddedPlatform::Open(const std::string& root) {
  auto machine = Machine::Open(root);
  if (!machine.ok()) return machine.error();
  return std::unique_ptr<EmbeddedPlatform>(new EmbeddedPlatform(std::move(machine).value()));
}

std::unique_ptr<EmbeddedPlatform> EmbeddedPlatform::WithoutMachine() {
  return std::unique_ptr<EmbeddedPlatform>(new EmbeddedPlatform(nullptr));
}

EmbeddedPlatform::EmbeddedPlatform(std::shared_ptr<Machine> machine)
    : machine_(std::move(machine)), files_(machine_, &environment_), system_(machine_, &environment_) {
  if (machine_) {
    registry_ = std::make_unique<LmdbRegistry>(machine_->RegistryPath());
    tdh_ = std::make_unique<EmbeddedTdh>(ReadThrough(&files_, &system_));
    trace_ = std::make_unique<EmbeddedTrace>(TraceOptionsOf(machine_));
    event_log_ = std::make_unique<EmbeddedEventLog>(machine_);
    AddDebuggerEngine(&system_.libraries());
    files_.set_in_use_elsewhere(
        [machine = machine_](dev_t device, ino_t inode) { return InUseBySession(*machine, device, inode); });
  } else {
    registry_ = std::make_unique<NullRegistry>();
    tdh_ = std::make_unique<NullTdh>();
    trace_ = std::make_unique<NullTrace>();
    event_log_ = std::make_unique<NullEventLog>();
  }
  record_ = {registry_.get(), &files_, &threads_, trace_.get(), tdh_.get(), &crypto_, &system_, event_log_.get()};
}

EmbeddedPlatform::~EmbeddedPlatform() = default;

EmbeddedPlatform& SystemEmbeddedPlatform() {
  return *System().platform;
}

const std::string& SystemPlatformError() {
  return System().error;
}

}  // namespace varnel::embedded

namespace varnel::platform {

Platform& SystemPlatform() {
  return embedded::SystemEmbeddedPlatform().record();
}

}  // namespace varnel::platform
