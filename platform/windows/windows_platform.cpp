// The platform that is the system itself.
#include <new>

#include "platform/platform.h"
#include "platform/windows/etw_trace.h"
#include "platform/windows/win32_crypto.h"
#include "platform/windows/win32_event_log.h"
#include "platform/windows/win32_files.h"
#include "platform/windows/win32_registry.h"
#include "platform/windows/win32_system.h"
#include "platform/windows/win32_tdh.h"
#include "platform/windows/win32_threads.h"

namespace varnel::windows {
namespace {

struct Ports {
  Win32Registry registry;
  Win32Files files;
  Win32Threads threads;
  EtwTrace trace;
  Win32Tdh tdh;
  Win32Crypto crypto;
  Win32System system;
  Win32EventLog event_log;
  platform::Platform record{&registry, &files, &threads, &trace, &tdh, &crypto, &system, &event_log};
};

}  // namespace
}  // namespace varnel::windows

namespace varnel::platform {

Platform& SystemPlatform() {
  // Made in place, so that the loader's entry needs no memory for it, and never destroyed.
  alignas(windows::Ports) static unsigned char place[sizeof(windows::Ports)];
  static windows::Ports* const ports = new (place) windows::Ports;
  return ports->record;
}

}  // namespace varnel::platform
