#include "small_dump.h"

#include <cstring>

namespace varnel::embedded {
namespace {

constexpr std::size_t kHeaderSize = 0x2000;
constexpr std::size_t kBlockSize = 0x80;

class Writer {
 public:
  Writer() : bytes_(kHeaderSize + kBlockSize) {
    for (std::size_t i = 0; i < kHeaderSize; i += 4) Put<std::uint32_t>(i, 0x45474150);
  }

  template <typename T>
  void Put(std::size_t place, T value) {
    if (bytes_.size() < place + sizeof(T)) bytes_.resize(place + sizeof(T));
    std::memcpy(bytes_.data() + place, &value, sizeof(T));
  }
  void Text(std::size_t place, const std::u16string& text) {
    for (std::size_t i = 0; i < text.size(); ++i) Put(place + 2 * i, text[i]);
  }
  /// Room at the end, on a boundary of 8.
  std::size_t Room(std::size_t size) {
    bytes_.resize((bytes_.size() + 7) / 8 * 8);
    const std::size_t place = bytes_.size();
    bytes_.resize(place + size);
    return place;
  }
  std::size_t Append(const std::vector<std::byte>& more) {
    const std::size_t place = Room(more.size());
    std::copy(more.begin(), more.end(), bytes_.begin() + static_cast<std::ptrdiff_t>(place));
    return place;
  }
  void PointAt(std::size_t field, std::size_t place) { Put(kHeaderSize + field, static_cast<std::uint32_t>(place)); }
  std::vector<std::byte> Take() { return std::move(bytes_); }

 private:
  std::vector<std::byte> bytes_;
};

void PutHeader(Writer* out, const SmallDump& dump) {
  out->Put<std::uint32_t>(4, 0x34365544);  // "DU64"
  out->Put<std::uint32_t>(8, 15);
  out->Put(0xC, dump.build);
  out->Put<std::uint64_t>(0x10, 0x1AD000);
  out->Put(0x20, dump.module_list_head);
  out->Put<std::uint64_t>(0x28, 0);
  out->Put(0x30, dump.machine);
  out->Put(0x34, dump.processors);
  out->Put(0x38, dump.bug_check);
  for (std::size_t i = 0; i < 4; ++i) out->Put(0x40 + 8 * i, dump.parameters[i]);
  out->Put(0xF98, dump.type);
  if (dump.system_time) out->Put(0xFA8, *dump.system_time);
  if (dump.system_up_time) out->Put(0x1030, *dump.system_up_time);
  if (dump.context.empty()) return;
  for (std::size_t i = 0; i < 1232; i += 8) out->Put<std::uint64_t>(0x348 + i, 0);
  out->Put<std::uint32_t>(0x348 + 0x30, 0x10000F);
  for (const auto& [place, value] : dump.context) out->Put(0x348 + place, value);
}

void PutStack(Writer* out, const SmallDump& dump) {
  const std::size_t place = out->Room(dump.stack.size() * 8);
  for (std::size_t i = 0; i < dump.stack.size(); ++i) out->Put(place + 8 * i, dump.stack[i]);
  out->PointAt(0x28, place);
  out->PointAt(0x2C, dump.stack.size() * 8);
  out->Put(kHeaderSize + 0x48, dump.stack_address);
}

void PutModules(Writer* out, const SmallDump& dump) {
  const std::size_t list = out->Room(dump.modules.size() * 0x90);
  out->PointAt(0x30, list);
  out->PointAt(0x34, dump.modules.size());
  for (std::size_t i = 0; i < dump.modules.size(); ++i) {
    const SmallDump::Module& module = dump.modules[i];
    const std::size_t entry = list + i * 0x90;
    const std::size_t name = module.path.empty() ? 0 : out->Room(4 + 2 * module.path.size() + 2);
    out->Put(entry, static_cast<std::uint32_t>(name));
    out->Put(entry + 0x38, module.base);
    out->Put(entry + 0x48, module.size);
    out->Put(entry + 0x80, module.check_sum);
    out->Put(entry + 0x88, module.time_date_stamp);
    if (name == 0) continue;
    out->Put(name, static_cast<std::uint32_t>(module.path.size()));
    out->Text(name + 4, module.path);
  }
}

void PutGone(Writer* out, const SmallDump& dump) {
  if (dump.gone.empty()) return;
  const std::size_t list = out->Room(8 + dump.gone.size() * 0x38);
  out->PointAt(0x18, list);
  out->Put(list, static_cast<std::uint32_t>(dump.gone.size()));
  for (std::size_t i = 0; i < dump.gone.size(); ++i) {
    const std::size_t entry = list + 8 + i * 0x38;
    out->Put(entry, static_cast<std::uint16_t>(2 * dump.gone[i].name.size()));
    out->Put(entry + 2, static_cast<std::uint16_t>(2 * dump.gone[i].name.size()));
    out->Text(entry + 0x10, dump.gone[i].name.substr(0, 12));
    out->Put(entry + 0x28, dump.gone[i].start);
    out->Put(entry + 0x30, dump.gone[i].end);
  }
}

void PutBlocks(Writer* out, const SmallDump& dump) {
  const std::size_t list = out->Room(dump.blocks.size() * 16);
  out->PointAt(0x78, list);
  out->PointAt(0x7C, dump.blocks.size());
  for (std::size_t i = 0; i < dump.blocks.size(); ++i) {
    const std::size_t place = out->Append(dump.blocks[i].bytes);
    out->Put(list + 16 * i, dump.blocks[i].address);
    out->Put(list + 16 * i + 8, static_cast<std::uint32_t>(place));
    out->Put(list + 16 * i + 12, static_cast<std::uint32_t>(dump.blocks[i].bytes.size()));
  }
}

}  // namespace

std::vector<std::byte> SmallDump::Bytes() const {
  Writer out;
  PutHeader(&out, *this);
  if (type == 4) {
    out.Put(kHeaderSize, service_pack_build);
    PutStack(&out, *this);
    PutModules(&out, *this);
    PutGone(&out, *this);
    PutBlocks(&out, *this);
    const std::size_t mark = out.Room(4);
    out.Put<std::uint32_t>(mark, 0x44475254);  // "TRGD"
    out.PointAt(4, mark + 4);
    out.PointAt(8, mark);
  }
  return out.Take();
}

}  // namespace varnel::embedded
