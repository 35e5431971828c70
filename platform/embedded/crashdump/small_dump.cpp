// The small dump: a table of places behind the header, and what stands at them.
#include <algorithm>

#include "platform/embedded/crashdump/bytes.h"
#include "platform/embedded/crashdump/dump_parts.h"
#include "platform/embedded/crashdump/record_layout.h"

namespace varnel::embedded {
namespace {

constexpr std::size_t kTable = 0x2000;  // where the table of places stands, 0x80 bytes
constexpr std::size_t kTableSize = 0x80;
constexpr std::size_t kDriverSize = 0x90;
constexpr std::size_t kUnloadedSizeInFile = 0x38;
constexpr std::size_t kUnloadedName = 12;  // characters
constexpr std::uint64_t kPage = PhysicalMemory::kPageSize;

struct MemoryBlock {
  std::uint64_t address = 0;
  std::vector<std::byte> bytes;
};

class SmallDump {
 public:
  SmallDump(const CrashedMachine& machine, const DumpOptions& options)
      : machine_(machine), options_(options), bytes_(kTable + kTableSize) {}

  std::vector<std::byte> Make() {
    PutRecords();
    PutStack();
    PutUnloaded();
    PutDrivers();
    PutMemory();
    Field(0x08, Append(std::as_bytes(std::span("TRGD", 4)), 4));
    Field(0x04, bytes_.size());
    if (options_.secondary_data) Append(SecondaryData(machine_), 1);
    StoreBytes(bytes_, 0, DumpHeader(machine_, CrashDumpForm::kSmall, bytes_.size()));
    return std::move(bytes_);
  }

 private:
  void Field(std::size_t place, std::uint64_t value) {
    Store<std::uint32_t>(bytes_, kTable + place, static_cast<std::uint32_t>(value));
  }
  std::size_t Append(std::span<const std::byte> bytes, std::size_t alignment = 16) {
    const std::size_t place = RoundUp(bytes_.size(), alignment);
    bytes_.resize(place + bytes.size());
    StoreBytes(bytes_, place, bytes);
    return place;
  }
  std::vector<std::byte> Memory(std::uint64_t address, std::size_t size) const {
    std::vector<std::byte> bytes(size);
    machine_.map.Read(address, bytes);
    return bytes;
  }

  // Registers stand in the header; the records of the processor, its process and its thread are copies.
  void PutRecords() {
    const PlantedProcessor& processor = machine_.crashed();
    std::vector<std::byte> memory_state(0x50);
    Store<std::uint32_t>(memory_state, 0, 1);
    Store<std::uint32_t>(memory_state, 4, 0x50);
    Field(0x0C, 0x348);
    Field(0x10, 0xF00);
    Field(0x14, Append(memory_state));
    Field(0x1C, Append(Memory(processor.block, kPrcbSize)));
    Field(0x20, Append(Memory(processor.process, kProcessSize)));
    Field(0x24, Append(Memory(processor.thread, kThreadSize)));
    Field(0x70, Append(machine_.debugger_data));
    Field(0x74, machine_.debugger_data.size());
    Field(0x44, 0xFFFFFFFF);
  }

  void PutStack() {
    const CrashStack& stack = machine_.stack();
    const std::uint64_t top = stack.registers.general[4];
    Field(0x28, Append(Memory(top, stack.high() - top)));
    Field(0x2C, stack.high() - top);
    Store<std::uint64_t>(bytes_, kTable + 0x48, top);
  }

  void PutUnloaded() {
    std::vector<std::byte> list(8 + kUnloadedSizeInFile * machine_.unloaded.size());
    Store<std::uint32_t>(list, 0, static_cast<std::uint32_t>(machine_.unloaded.size()));
    std::size_t at = 8;
    for (auto driver = machine_.unloaded.rbegin(); driver != machine_.unloaded.rend(); ++driver) {
      const std::u16string name = driver->name.substr(0, kUnloadedName);
      Store<std::uint16_t>(list, at, static_cast<std::uint16_t>(name.size() * 2));
      Store<std::uint16_t>(list, at + 2, static_cast<std::uint16_t>(kUnloadedName * 2));
      StoreBytes(list, at + 0x10, std::as_bytes(std::span(name)));
      Store<std::uint64_t>(list, at + 0x28, driver->begin);
      Store<std::uint64_t>(list, at + 0x30, driver->end);
      at += kUnloadedSizeInFile;
    }
    Field(0x18, Append(list));
  }

  // The strings stand behind the list, each with its length in characters, and tell their places in the file.
  void PutDrivers() {
    const auto& modules = machine_.modules;
    const std::size_t list = Append(std::vector<std::byte>(kDriverSize * modules.size()));
    const std::size_t strings = Append({}, 8);
    for (std::size_t i = 0; i < modules.size(); ++i) {
      const std::u16string& path = modules[i].path;
      std::vector<std::byte> text(RoundUp(4 + 2 * path.size() + 2, 8));
      Store<std::uint32_t>(text, 0, static_cast<std::uint32_t>(path.size()));
      StoreBytes(text, 4, std::as_bytes(std::span(path)));
      const std::size_t place = Append(text, 8);  // before the bytes are shown: they may move
      Store<std::uint32_t>(bytes_, list + kDriverSize * i, static_cast<std::uint32_t>(place));
      StoreBytes(bytes_, list + kDriverSize * i + 8, Memory(modules[i].record, kModuleKept));
    }
    Field(0x30, list);
    Field(0x34, modules.size());
    Field(0x38, strings);
    Field(0x3C, bytes_.size() - strings);
  }

  std::vector<MemoryBlock> Blocks() const {
    const LoadedImage& kernel = machine_.kernel;
    std::vector<MemoryBlock> blocks;
    const auto add = [&](std::uint64_t address, std::size_t size) {
      blocks.push_back({address, Memory(address, size)});
    };
    const std::size_t image = options_.image_in_small ? kernel.bytes().size() : kPage;
    // The image in two pieces that overlap, the later one first: a read goes over their ends.
    add(kernel.base() + 0x700, image - 0x700);
    add(kernel.base(), 0x780);
    if (!options_.image_in_small) {
      add(kernel.Export("KiProcessorBlock"), 8 * 64);
      add(kernel.Export("NtBuildLab"), machine_.build_lab.size() + 1);
      add(kernel.Export("KiBugCheckData"), 40);
    }
    add(machine_.crashed().context, 1232);
    add(machine_.crashed().control_region, 0x180);
    std::reverse(blocks.begin(), blocks.end());
    return blocks;
  }

  void PutMemory() {
    const std::vector<MemoryBlock> blocks = Blocks();
    const std::size_t table = Append(std::vector<std::byte>(16 * blocks.size()));
    for (std::size_t i = 0; i < blocks.size(); ++i) {
      const std::size_t place = Append(blocks[i].bytes, 1);
      Store<std::uint64_t>(bytes_, table + 16 * i, blocks[i].address);
      Store<std::uint32_t>(bytes_, table + 16 * i + 8, static_cast<std::uint32_t>(place));
      Store<std::uint32_t>(bytes_, table + 16 * i + 12, static_cast<std::uint32_t>(blocks[i].bytes.size()));
    }
    Field(0x78, table);
    Field(0x7C, blocks.size());
    const std::uint64_t page = machine_.stack().registers.rip / kPage * kPage;
    Store<std::uint64_t>(bytes_, kTable + 0x60, page);
    Field(0x68, Append(Memory(page, kPage)));
    Field(0x6C, kPage);
  }

  const CrashedMachine& machine_;
  const DumpOptions& options_;
  std::vector<std::byte> bytes_;
};

}  // namespace

formats::Status WriteSmallDump(const CrashedMachine& machine, const DumpOptions& options, DumpSink* sink) {
  const std::vector<std::byte> bytes = SmallDump(machine, options).Make();
  formats::Status sized = sink->SetSize(bytes.size());
  return sized.ok() ? sink->Write(0, bytes) : sized;
}

}  // namespace varnel::embedded
