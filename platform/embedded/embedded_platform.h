// The ports of one machine folder, put together; and the platform that stands in for the system's when this library is
// linked: SystemPlatform() opens the folder that VARNEL_MACHINE in the host's environment names, at its first use, and
// keeps the machine from booting while the process lives. Tools that are not the module open a machine themselves.
#pragma once

#include <memory>
#include <string>

#include "formats/result.h"
#include "platform/embedded/core/environment.h"
#include "platform/embedded/core/machine.h"
#include "platform/embedded/crypto/embedded_crypto.h"
#include "platform/embedded/files/embedded_files.h"
#include "platform/embedded/system/embedded_system.h"
#include "platform/embedded/threads/embedded_threads.h"
#include "platform/platform.h"

namespace varnel::embedded {

/// Owns the ports. A process may have several, of one machine or of several; handles are the process's and reach the
/// objects of all of them. Any thread may call.
class EmbeddedPlatform {
 public:
  /// @return an Error that names the folder and the reason when it is no machine folder.
  static formats::Result<std::unique_ptr<EmbeddedPlatform>> Open(const std::string& root);

  /// The ports without a machine: threads, crypto and what the system port does by itself work, every path is missing
  /// (3), and the registry, traces, manifests and event log answer 50.
  static std::unique_ptr<EmbeddedPlatform> WithoutMachine();

  ~EmbeddedPlatform();
  EmbeddedPlatform(const EmbeddedPlatform&) = delete;
  EmbeddedPlatform& operator=(const EmbeddedPlatform&) = delete;

  /// Lives as long as this object.
  platform::Platform& record() { return record_; }

  /// Null without a machine.
  const std::shared_ptr<Machine>& machine() const { return machine_; }
  EmbeddedFiles& files() { return files_; }
  EmbeddedSystem& system() { return system_; }

 private:
  explicit EmbeddedPlatform(std::shared_ptr<Machine> machine);

  const std::shared_ptr<Machine> machine_;
  Environment environment_;
  EmbeddedFiles files_;
  EmbeddedThreads threads_;
  EmbeddedCrypto crypto_;
  EmbeddedSystem system_;
  std::unique_ptr<platform::Registry> registry_;
  std::unique_ptr<platform::Trace> trace_;
  std::unique_ptr<platform::Tdh> tdh_;
  std::unique_ptr<platform::EventLog> event_log_;
  platform::Platform record_;
};

/// The platform behind SystemPlatform(). Never destroyed.
EmbeddedPlatform& SystemEmbeddedPlatform();

/// Why SystemPlatform() has no machine, in one line for a person; empty when it has one.
const std::string& SystemPlatformError();

}  // namespace varnel::embedded
