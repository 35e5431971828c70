// The one record of ports. The platform that is linked defines SystemPlatform; a test installs another record for its
// scope. The module reaches every port through the accessors below.
#pragma once

#include "platform/crypto.h"
#include "platform/eventlog.h"
#include "platform/files.h"
#include "platform/registry.h"
#include "platform/system.h"
#include "platform/tdh.h"
#include "platform/threads.h"
#include "platform/trace.h"

namespace varnel::platform {

/// Borrows its ports: they outlive every user of the record.
struct Platform {
  Registry* registry = nullptr;
  Files* files = nullptr;
  Threads* threads = nullptr;
  Trace* trace = nullptr;
  Tdh* tdh = nullptr;
  Crypto* crypto = nullptr;
  System* system = nullptr;
  EventLog* event_log = nullptr;
};

/// The linked platform's record. Usable from load constructors, never destroyed.
Platform& SystemPlatform();

/// The record in force: SystemPlatform's, or the one that a test has installed.
Platform& CurrentPlatform();

/// Puts a record in force for its scope. Scopes nest; no port call of another thread may be under way at either end.
class ScopedPlatform {
 public:
  explicit ScopedPlatform(Platform* platform);
  ~ScopedPlatform();
  ScopedPlatform(const ScopedPlatform&) = delete;
  ScopedPlatform& operator=(const ScopedPlatform&) = delete;

 private:
  Platform* previous_;
};

inline Registry& RegistryPort() {
  return *CurrentPlatform().registry;
}
inline Files& FilesPort() {
  return *CurrentPlatform().files;
}
inline Threads& ThreadsPort() {
  return *CurrentPlatform().threads;
}
inline Trace& TracePort() {
  return *CurrentPlatform().trace;
}
inline Tdh& TdhPort() {
  return *CurrentPlatform().tdh;
}
inline Crypto& CryptoPort() {
  return *CurrentPlatform().crypto;
}
inline System& SystemPort() {
  return *CurrentPlatform().system;
}
inline EventLog& EventLogPort() {
  return *CurrentPlatform().event_log;
}

}  // namespace varnel::platform
