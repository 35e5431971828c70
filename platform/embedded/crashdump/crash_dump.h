// Writes the dump of a crashed machine, in the forms that the platform knows. One thread.
#pragma once

#include "formats/result.h"
#include "platform/embedded/crashdump/crashed_machine.h"
#include "platform/embedded/crashdump/dump_sink.h"

namespace varnel::embedded {

enum class CrashDumpForm {
  kSmall,         // chosen blocks of memory, the registers, lists of drivers
  kKernel,        // the kernel's pages behind a bitmap
  kComplete,      // all pages behind a bitmap
  kCompleteRuns,  // all pages, run behind run, as older systems write them
  kHeaderOnly,    // the header alone
};

struct DumpOptions {
  CrashDumpForm form = CrashDumpForm::kSmall;
  /// A small dump holds the kernel's image, so that names and calls can be told from it; else its header page alone.
  bool image_in_small = true;
  /// What stands behind the dump proper. Small dumps have it; whether others do, public readers do not say.
  bool secondary_data = true;
};

/// Writes all of it or tells why not; then what is there is no dump.
formats::Status WriteCrashDump(const CrashedMachine& machine, const DumpOptions& options, DumpSink* sink);

}  // namespace varnel::embedded
