#include "platform/embedded/crashdump/crash_dump.h"

#include "platform/embedded/crashdump/bytes.h"
#include "platform/embedded/crashdump/dump_parts.h"

namespace varnel::embedded {
namespace {

// What was never filled reads as this text; readers take it for absent.
void FillAsAbsent(std::vector<std::byte>* header) {
  for (std::size_t at = 0; at < header->size(); at += 4) StoreBytes(*header, at, std::as_bytes(std::span("PAGE", 4)));
}

std::uint32_t TypeOf(CrashDumpForm form) {
  switch (form) {
    case CrashDumpForm::kSmall:
      return 4;
    case CrashDumpForm::kKernel:
      return 6;
    case CrashDumpForm::kComplete:
      return 5;
    case CrashDumpForm::kCompleteRuns:
      return 1;
    case CrashDumpForm::kHeaderOnly:
      break;
  }
  return 3;
}

void StoreMachine(std::vector<std::byte>* header, const CrashedMachine& machine) {
  Store<std::uint32_t>(*header, 0x008, 0xF);
  Store<std::uint32_t>(*header, 0x00C, machine.build);
  Store<std::uint64_t>(*header, 0x010, machine.map.root());
  Store<std::uint64_t>(*header, 0x018, 0xFFFFB38000000000);
  Store<std::uint64_t>(*header, 0x020, machine.kernel.Export("PsLoadedModuleList"));
  Store<std::uint64_t>(*header, 0x028, machine.kernel.Export("PsActiveProcessHead"));
  Store<std::uint32_t>(*header, 0x030, 0x8664);
  Store<std::uint32_t>(*header, 0x034, static_cast<std::uint32_t>(machine.processors.size()));
  Store<std::uint64_t>(*header, 0x080, machine.debugger_data_address);
  const auto& runs = machine.memory.runs();
  Store<std::uint32_t>(*header, 0x088, static_cast<std::uint32_t>(runs.size()));
  Store<std::uint64_t>(*header, 0x090, machine.memory.page_count());
  for (std::size_t i = 0; i < runs.size(); ++i) {
    Store<std::uint64_t>(*header, 0x098 + 16 * i, runs.at(i).first);
    Store<std::uint64_t>(*header, 0x0A0 + 16 * i, runs.at(i).count);
  }
}

void StoreStop(std::vector<std::byte>* header, const CrashedMachine& machine) {
  Store<std::uint32_t>(*header, 0x038, machine.options.bugcheck_code);
  for (std::size_t i = 0; i < 4; ++i) {
    Store<std::uint64_t>(*header, 0x040 + 8 * i, machine.options.parameters.at(i));
  }
  StoreBytes(*header, 0x348, machine.crashed().context_bytes);
  std::fill_n(header->begin() + 0xF00, 152, std::byte{0});
  Store<std::uint32_t>(*header, 0xF00, 0x80000003);  // as if a debugger had been called, there where it stands
  Store<std::uint64_t>(*header, 0xF10, machine.stack().registers.rip);
}

}  // namespace

std::vector<std::byte> DumpHeader(const CrashedMachine& machine, CrashDumpForm form, std::uint64_t file_size) {
  std::vector<std::byte> header(kDumpHeaderSize);
  FillAsAbsent(&header);
  StoreBytes(header, 0x004, std::as_bytes(std::span("DU64", 4)));
  StoreMachine(&header, machine);
  StoreStop(&header, machine);
  Store<std::uint32_t>(header, 0xF98, TypeOf(form));
  Store<std::uint64_t>(header, 0xFA0, file_size);
  Store<std::uint64_t>(header, 0xFA8, machine.options.system_time);
  Store<std::uint64_t>(header, 0x1030, machine.options.up_time);
  if (form == CrashDumpForm::kSmall) Store<std::uint32_t>(header, 0x1038, 0xCFF);
  Store<std::uint32_t>(header, 0x1040, 1);
  Store<std::uint32_t>(header, 0x1044, 0x110);
  if (machine.options.attributes) Store<std::uint32_t>(header, 0x1050, *machine.options.attributes);
  return header;
}

std::vector<std::byte> SecondaryData(const CrashedMachine& machine) {
  std::vector<std::byte> data(16);
  StoreBytes(data, 0, std::as_bytes(std::span("DumpBlob", 8)));
  Store<std::uint32_t>(data, 8, 16);
  Store<std::uint32_t>(data, 12, 0xF0000000 | machine.build);
  for (const SecondaryBlob& blob : machine.blobs) {
    const std::size_t at = data.size();
    data.resize(at + 0x20 + blob.pad_before + blob.data.size() + blob.pad_behind);
    Store<std::uint32_t>(data, at, 0x20);
    StoreBytes(data, at + 4, std::as_bytes(std::span(blob.tag)));
    Store<std::uint32_t>(data, at + 0x14, static_cast<std::uint32_t>(blob.data.size()));
    Store<std::uint32_t>(data, at + 0x18, blob.pad_before);
    Store<std::uint32_t>(data, at + 0x1C, blob.pad_behind);
    StoreBytes(data, at + 0x20 + blob.pad_before, blob.data);
  }
  return data;
}

formats::Status WriteCrashDump(const CrashedMachine& machine, const DumpOptions& options, DumpSink* sink) {
  switch (options.form) {
    case CrashDumpForm::kSmall:
      return WriteSmallDump(machine, options, sink);
    case CrashDumpForm::kKernel:
    case CrashDumpForm::kComplete:
      return WriteBitmapDump(machine, options, sink);
    case CrashDumpForm::kCompleteRuns:
      return WriteRunsDump(machine, options, sink);
    case CrashDumpForm::kHeaderOnly:
      break;
  }
  formats::Status sized = sink->SetSize(kDumpHeaderSize);
  return sized.ok() ? sink->Write(0, DumpHeader(machine, options.form, kDumpHeaderSize)) : sized;
}

}  // namespace varnel::embedded
