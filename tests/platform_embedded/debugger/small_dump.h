// SmallDump makes the bytes of a small crash dump for the engine's tests: a header, a piece of stack, modules loaded
// and gone, blocks of memory. What is not set is not there.
#pragma once

#include <cstddef>
#include <cstdint>
#include <optional>
#include <string>
#include <vector>

namespace varnel::embedded {

struct SmallDump {
  struct Module {
    std::u16string path;
    std::uint64_t base = 0;
    std::uint32_t size = 0x1000;
    std::uint32_t time_date_stamp = 0;
    std::uint32_t check_sum = 0;
  };
  struct Gone {
    std::u16string name;
    std::uint64_t start = 0;
    std::uint64_t end = 0;
  };
  struct Block {
    std::uint64_t address = 0;
    std::vector<std::byte> bytes;
  };

  std::uint32_t machine = 0x8664;
  std::uint32_t type = 4;
  std::uint32_t build = 19041;
  std::uint32_t processors = 2;
  std::uint32_t bug_check = 0xD1;
  std::uint64_t parameters[4] = {1, 2, 3, 4};
  std::uint64_t module_list_head = 0;
  std::uint32_t service_pack_build = 0;
  std::optional<std::uint64_t> system_time;     // FILETIME
  std::optional<std::uint64_t> system_up_time;  // in 100 ns
  /// Places in the context record and what is stored there, 64 bits each. None: no context at all.
  std::vector<std::pair<std::size_t, std::uint64_t>> context;
  std::uint64_t stack_address = 0;
  std::vector<std::uint64_t> stack;
  std::vector<Module> modules;
  std::vector<Gone> gone;
  std::vector<Block> blocks;

  std::vector<std::byte> Bytes() const;
};

}  // namespace varnel::embedded
