// Writes the committed seeds of pe_image_fuzz and pe_unwind_fuzz into two folders: make_pe_seeds IMAGE-DIR UNWIND-DIR.
// Images are small and end with their last byte that is not zero.
#include <cstdio>
#include <filesystem>
#include <fstream>
#include <string>

#include "tests/support/pe_bytes.h"

namespace {

using namespace varnel::support;

constexpr std::uint64_t kStack = 0x1'0000;
constexpr std::uint64_t kImage = kStack + 0x1000;

void Write(const std::filesystem::path& path, const Blob& head, Blob body) {
  while (!body.empty() && body.back() == std::byte{0}) body.pop_back();
  std::ofstream out(path, std::ios::binary);
  out.write(reinterpret_cast<const char*>(head.data()), static_cast<std::streamsize>(head.size()));
  out.write(reinterpret_cast<const char*>(body.data()), static_cast<std::streamsize>(body.size()));
}

PeSpec SmallSpec() {
  PeSpec spec;
  spec.size_of_image = 0x4000;
  spec.sections = {{".text", 0x400, 0x400, kCodeSection}, {".rdata", 0x800, 0x3800}};
  return spec;
}

PeBytes WithExports() {
  PeBytes bytes(SmallSpec());
  const Blob table = PeExportTable(0x800, {{0x400, {"First", "Again"}, ""}, {0x480, {}, ""}, {0, {"Away"}, "B.C"}});
  return bytes.Put(0x800, table).Directory(0, 0x800, static_cast<std::uint32_t>(table.size()));
}

PeBytes WithVersion() {
  PeBytes bytes(SmallSpec());
  const Blob resource = VersionResource(u"1.2.3.4", u"1.2", VersionFixed(0x10002, 0x30004, 0x10002, 0));
  const Blob tree = PeResourceTree(0x900, {{3, 1, 0x409, Blob(4)}, {16, 1, 0, resource}, {16, 1, 0x409, resource}});
  return bytes.Put(0x900, tree).Directory(2, 0x900, static_cast<std::uint32_t>(tree.size()));
}

PeBytes WithIdentity() {
  PeBytes bytes(SmallSpec());
  bytes.Put(0x900, DebugEntry(16, 0x940, 4)).Put(0x91C, DebugEntry(2, 0x940, 40)).Directory(6, 0x900, 56);
  return bytes.Put(0x940, RsdsRecord({1, 2, 3, {4, 5, 6, 7, 8, 9, 10, 11}}, 1, "seed.pdb"));
}

// Functions: a plain one, one with a frame register in two parts, a trap, and one by way of another's entry. All that
// tells of them lies in the second page, so that they are found without the headers too, where the target's module list
// tells the table to be.
PeBytes WithFunctions() {
  PeSpec spec = SmallSpec();
  spec.sections = {{".text", 0x1400, 0x400, kCodeSection}, {".rdata", 0x1800, 0x2800}};
  PeBytes bytes(spec);
  bytes.Put(0x1A00,
            PeUnwindBytes({1, 0, 7, 0, 0, {UnwindSlot(7, 2, 4), UnwindSlot(3, 0, 12), UnwindSlot(1, 0, 3)}, {}}));
  bytes.Put(0x1A20, PeUnwindBytes({1, 0, 9, 5, 1, {UnwindSlot(9, 3), UnwindSlot(5, 2, 3), UnwindSlot(1, 0, 5)}, {}}));
  bytes.Put(0x1A40, PeUnwindBytes({1, 4, 0, 5, 1, {UnwindSlot(0, 4, 3), 1}, {0x1480, 0x1500, 0x1A20}}));
  bytes.Put(0x1A60, PeUnwindBytes({2, 0, 0, 0, 0, {UnwindSlot(1, 6, 1), UnwindSlot(0, 6), UnwindSlot(0, 10, 1)}, {}}));
  const Blob table = PeFunctionTable({{0x1400, 0x1480, 0x1A00},
                                      {0x1480, 0x1500, 0x1A20},
                                      {0x1500, 0x1580, 0x1A40},
                                      {0x1580, 0x1600, 0x1A60},
                                      {0x1600, 0x1620, 0x1001}});
  bytes.Put(0x1440, {std::byte{0x48}, std::byte{0x83}, std::byte{0xC4}, std::byte{0x28}, std::byte{0xC3}});
  // add rsp, 28h; jmp 1480h, another function
  bytes.Put(0x1450, {std::byte{0x48}, std::byte{0x83}, std::byte{0xC4}, std::byte{0x28}, std::byte{0xE9},
                     std::byte{0x27}, std::byte{0}, std::byte{0}, std::byte{0}});
  bytes.Put(0x14FE, {std::byte{0xEB}, std::byte{0x80}});
  return bytes.Put(0x1000, table).Directory(3, 0x1000, static_cast<std::uint32_t>(table.size()));
}

Blob Mask(std::uint32_t missing) {
  return ByteWriter().U32(missing).Take();
}

// A stack with addresses of the image at many places.
Blob StackAndImage(const PeBytes& image) {
  ByteWriter out;
  for (std::uint32_t i = 0; i < 0x100; ++i) {
    const std::uint32_t places[] = {0x1410, 0x14A0, 0x1520, 0x1590, 0x1610};
    out.U64(i % 3 == 2 ? kStack + 8 * i + 0x40 : kImage + places[i % 5]);
  }
  return out.Bytes(image.bytes()).Take();
}

Blob Begin(std::uint16_t rva, std::uint16_t rsp, std::uint32_t missing) {
  return ByteWriter().U16(rva).U16(rsp).U32(missing).Take();
}

}  // namespace

int main(int argc, char** argv) {
  if (argc != 3) return 2;
  const std::filesystem::path images = argv[1];
  const std::filesystem::path walks = argv[2];
  Write(images / "headers", Mask(0), PeBytes(SmallSpec()).bytes());
  Write(images / "exports", Mask(0), WithExports().bytes());
  Write(images / "version", Mask(0), WithVersion().bytes());
  Write(images / "identity", Mask(0), WithIdentity().bytes());
  Write(images / "functions", Mask(0), WithFunctions().bytes());
  Write(images / "functions-without-a-page", Mask(2), WithFunctions().bytes());
  const Blob whole = StackAndImage(WithFunctions());
  Write(walks / "plain", Begin(0x1410, 0, 0), whole);
  Write(walks / "epilog", Begin(0x1444, 8, 0), whole);
  Write(walks / "jump-to-another", Begin(0x1450, 8, 0), whole);
  Write(walks / "jump-to-itself", Begin(0x14FE, 8, 0), whole);
  Write(walks / "frame-register", Begin(0x14A0, 16, 0), whole);
  Write(walks / "part", Begin(0x1510, 24, 0), whole);
  Write(walks / "trap", Begin(0x1590, 32, 0), whole);
  Write(walks / "indirect", Begin(0x1610, 40, 0), whole);
  Write(walks / "no-headers", Begin(0x1410, 0, 2), whole);
  return 0;
}
