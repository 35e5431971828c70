// Dumps of the simulated machine in memory, read back by the reader of dumps.
#pragma once

#include <gtest/gtest.h>

#include <cstddef>
#include <cstdint>
#include <memory>
#include <string>
#include <vector>

#include "formats/dump/kernel_dump.h"
#include "platform/embedded/crashdump/crash_dump.h"
#include "tests/support/dump_file.h"

namespace varnel::embedded {

/// A crash with a value in each place where one can be, of a machine with little memory.
inline CrashedMachineOptions SomeCrash() {
  CrashedMachineOptions options;
  options.bugcheck_code = 0xD1;
  options.parameters = {0xFFFFFFFF00000008, 2, 1, 0xFFFFF80200031234};
  options.system_time = 133'800'000'000'000'000;
  options.memory_size = 16 << 20;
  options.up_time = 12'345'678'900;
  return options;
}

inline std::vector<std::byte> DumpBytes(const CrashedMachine& machine, const DumpOptions& options) {
  MemorySink sink;
  const formats::Status written = WriteCrashDump(machine, options, &sink);
  EXPECT_TRUE(written.ok());
  return sink.bytes();
}

inline std::unique_ptr<formats::KernelDump> ReadBack(std::vector<std::byte> bytes) {
  auto opened = formats::KernelDump::Open(std::make_shared<support::DumpFileSource>(std::move(bytes)));
  EXPECT_TRUE(opened.ok()) << formats::DumpProblemText(opened.problem);
  return std::move(opened.dump);
}

/// A machine and one dump of it.
struct DumpedMachine {
  DumpedMachine(const CrashedMachineOptions& crash, const DumpOptions& options)
      : machine(crash), bytes(DumpBytes(machine, options)), dump(ReadBack(bytes)) {}

  /// What the dump has of [address, address + size).
  std::vector<std::byte> Read(std::uint64_t address, std::size_t size) const {
    std::vector<std::byte> read(size);
    read.resize(dump->ReadVirtual(address, read));
    return read;
  }

  CrashedMachine machine;
  std::vector<std::byte> bytes;
  std::unique_ptr<formats::KernelDump> dump;
};

/// The forms that have memory, for tests that hold each of them to the same facts.
inline std::string FormName(const testing::TestParamInfo<CrashDumpForm>& info) {
  switch (info.param) {
    case CrashDumpForm::kSmall:
      return "small";
    case CrashDumpForm::kKernel:
      return "kernel";
    case CrashDumpForm::kComplete:
      return "complete";
    case CrashDumpForm::kCompleteRuns:
      return "complete_runs";
    case CrashDumpForm::kHeaderOnly:
      break;
  }
  return "header_only";
}

inline const auto kFormsWithMemory = testing::Values(CrashDumpForm::kSmall, CrashDumpForm::kKernel,
                                                     CrashDumpForm::kComplete, CrashDumpForm::kCompleteRuns);

class EachForm : public testing::TestWithParam<CrashDumpForm> {
 protected:
  static DumpOptions Form() { return {GetParam(), true, true}; }
  static bool IsSmall() { return GetParam() == CrashDumpForm::kSmall; }
};

}  // namespace varnel::embedded
