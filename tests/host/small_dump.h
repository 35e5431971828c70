// Composes crash dumps for the tests of the dump commands, by the format's own places: a header with two modules, a
// stack and an unloaded module behind it.
#pragma once

#include <cstddef>
#include <cstdint>
#include <cstring>
#include <iterator>
#include <string>
#include <string_view>
#include <vector>

#include "tests/support/dump_bytes.h"

namespace varnel::host {

using DumpBytes = std::vector<std::byte>;

template <typename T>
void PutAt(DumpBytes* bytes, std::size_t at, T value) {
  if (bytes->size() < at + sizeof(T)) bytes->resize(at + sizeof(T));
  std::memcpy(bytes->data() + at, &value, sizeof(T));
}

inline void PutWide(DumpBytes* bytes, std::size_t at, std::u16string_view text) {
  for (const char16_t c : text) {
    PutAt(bytes, at, c);
    at += 2;
  }
}

/// A header of a 64-bit dump. Stop code 0x1000007E, build 19041, two processors, up for 3.5 s.
inline DumpBytes HeaderOf(std::uint32_t dump_type, std::uint32_t machine = 0x8664) {
  support::GrowingBytes bytes = support::MakeDumpHeader(dump_type);
  bytes.Put<std::uint32_t>(0xC, 19041);
  bytes.Put<std::uint64_t>(0x20, 0xFFFFF80000001000);
  bytes.Put<std::uint64_t>(0x28, 0xFFFFF80000002000);
  bytes.Put<std::uint32_t>(0x30, machine);
  bytes.Put<std::uint32_t>(0x34, 2);
  bytes.Put<std::uint32_t>(0x38, 0x1000007E);
  for (std::uint64_t i = 0; i < 4; ++i) bytes.Put<std::uint64_t>(0x40 + 8 * i, i + 1);
  bytes.Put<std::uint32_t>(0x348 + 0x30, 0x10000F);            // which registers there are
  bytes.Put<std::uint64_t>(0x348 + 0x98, 0xFFFF800000000010);  // rsp
  bytes.Put<std::uint64_t>(0x348 + 0xF8, 0xFFFFF80000100123);  // rip
  bytes.Put<std::uint64_t>(0xFA8, 132'583'535'027'654'321);    // 2021-02-21
  bytes.Put<std::uint64_t>(0x1030, 35'000'000);
  bytes.Put<std::uint32_t>(0x1040, 1);
  return bytes.bytes();
}

/// A header of a 32-bit dump of an x86.
inline DumpBytes HeaderOf32Bits() {
  return support::MakeDumpHeader32(1).bytes();
}

/// A small dump. Its stack lies at 0xFFFF800000000000, 0x40 bytes: from 0x10 on a value in ntoskrnl.exe, one in no
/// module, one at the last byte of a.sys, one behind it.
inline DumpBytes SmallDump() {
  DumpBytes bytes = HeaderOf(4);
  bytes.resize(0x2080);
  std::memset(bytes.data() + 0x2000, 0, 0x80);
  PutAt<std::uint32_t>(&bytes, 0x2000 + 0x04, 0x2404);  // end
  PutAt<std::uint32_t>(&bytes, 0x2000 + 0x08, 0x2400);  // of it, a mark
  PutAt<std::uint32_t>(&bytes, 0x2000 + 0x18, 0x2080);  // unloaded
  PutAt<std::uint32_t>(&bytes, 0x2000 + 0x28, 0x2100);  // stack
  PutAt<std::uint32_t>(&bytes, 0x2000 + 0x2C, 0x40);
  PutAt<std::uint32_t>(&bytes, 0x2000 + 0x30, 0x2200);  // modules
  PutAt<std::uint32_t>(&bytes, 0x2000 + 0x34, 2);
  PutAt<std::uint32_t>(&bytes, 0x2000 + 0x38, 0x2340);  // names
  PutAt<std::uint32_t>(&bytes, 0x2000 + 0x3C, 0xC0);
  PutAt<std::uint64_t>(&bytes, 0x2000 + 0x48, 0xFFFF800000000000);
  PutAt<std::uint32_t>(&bytes, 0x2080, 1);
  PutAt<std::uint16_t>(&bytes, 0x2088, 10);
  PutWide(&bytes, 0x2098, u"b.sys");
  PutAt<std::uint64_t>(&bytes, 0x2088 + 0x28, 0xFFFFF80000400000);
  PutAt<std::uint64_t>(&bytes, 0x2088 + 0x30, 0xFFFFF80000401000);
  constexpr std::uint64_t kWords[] = {
      0xFFFFF80000100001, 0xFFFFF80000100002, 0xFFFFF80000100010, 0x1234, 0xFFFFF80000300FFF, 0xFFFFF80000301000, 0, 0};
  for (std::size_t i = 0; i < std::size(kWords); ++i) PutAt(&bytes, 0x2100 + 8 * i, kWords[i]);
  // The second one stands below the first.
  const auto module = [&bytes](std::size_t at, std::uint32_t name, std::uint64_t base, std::uint32_t size) {
    PutAt<std::uint32_t>(&bytes, at, name);
    PutAt<std::uint64_t>(&bytes, at + 0x38, base);
    PutAt<std::uint32_t>(&bytes, at + 0x48, size);
    PutAt<std::uint32_t>(&bytes, at + 0x80, 0x11);
    PutAt<std::uint32_t>(&bytes, at + 0x88, 0x93DAD125);
  };
  module(0x2200, 0x2340, 0xFFFFF80000100000, 0x10000);
  module(0x2290, 0x2380, 0xFFFFF80000300000, 0x1000);
  PutWide(&bytes, 0x2344, u"\\SystemRoot\\x\\ntoskrnl.exe");
  PutAt<std::uint32_t>(&bytes, 0x2340, 26);
  PutAt<std::uint32_t>(&bytes, 0x2380, 5);
  PutWide(&bytes, 0x2384, u"a.sys");
  PutAt<std::uint32_t>(&bytes, 0x2400, 0x44475254);
  return bytes;
}

}  // namespace varnel::host
