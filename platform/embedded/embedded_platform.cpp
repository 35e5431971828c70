#include "platform/embedded/embedded_platform.h"

#include <cstdlib>

#include "platform/embedded/null_ports.h"

namespace varnel::embedded {
namespace {

/// The process's platform, and why it has no machine if so.
struct SystemState {
  std::unique_ptr<EmbeddedPlatform> platform;
  std::string error;
};

SystemState OpenSystem() {
  const char* const root = std::getenv("VARNEL_MACHINE");
  if (root == nullptr || *root == '\0') return {EmbeddedPlatform::WithoutMachine(), "VARNEL_MACHINE names no machine"};
  auto opened = EmbeddedPlatform::Open(root);
  if (!opened.ok()) return {EmbeddedPlatform::WithoutMachine(), opened.error().message};
  return {std::move(opened).value(), {}};
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
  std::unique_ptr<EmbeddedPlatform> platform(new EmbeddedPlatform(std::move(machine).value()));
  if (const auto opened = platform->OpenStores(); !opened.ok()) return opened.error();
  return platform;
}

std::unique_ptr<EmbeddedPlatform> EmbeddedPlatform::WithoutMachine() {
  return std::unique_ptr<EmbeddedPlatform>(new EmbeddedPlatform(nullptr));
}

EmbeddedPlatform::EmbeddedPlatform(std::shared_ptr<Machine> machine)
    : machine_(std::move(machine)),
      files_(machine_, &environment_),
      system_(machine_, &environment_),
      registry_(std::make_unique<NullRegistry>()),
      trace_(std::make_unique<NullTrace>()),
      tdh_(std::make_unique<NullTdh>()) {
  record_ = {registry_.get(), &files_, &threads_, trace_.get(), tdh_.get(), &crypto_, &system_};
}

EmbeddedPlatform::~EmbeddedPlatform() = default;

/// Replaces the ports that need the machine's own stores.
formats::Status EmbeddedPlatform::OpenStores() {
  return formats::Ok();
}

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
