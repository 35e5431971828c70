#include "platform/embedded/crashdump/loaded_image.h"

#include <algorithm>
#include <cstring>

#include "platform/embedded/crashdump/bytes.h"

namespace varnel::embedded {
namespace {

constexpr std::size_t kPage = 4096;
constexpr std::size_t kOptionalHeader = 24;  // behind "PE\0\0" and the file header
constexpr std::size_t kDirectories = kOptionalHeader + 112;
constexpr std::uint32_t kExecutable = 0x20000000;
constexpr std::uint32_t kWritable = 0x80000000;
constexpr std::uint16_t kRelocation64 = 10;
constexpr std::byte kCallNear{0xE8};

}  // namespace

template <typename T>
T LoadedImage::At(std::size_t offset) const {
  return Load<T>(bytes_, offset);
}

LoadedImage::LoadedImage(std::span<const std::uint8_t> file, std::uint64_t base) : base_(base) {
  const auto raw = std::as_bytes(file);
  const std::size_t headers = Load<std::uint32_t>(raw, 0x3C);
  time_stamp_ = Load<std::uint32_t>(raw, headers + 8);
  entry_ = Load<std::uint32_t>(raw, headers + kOptionalHeader + 16);
  checksum_ = Load<std::uint32_t>(raw, headers + kOptionalHeader + 64);
  bytes_.resize(RoundUp(Load<std::uint32_t>(raw, headers + kOptionalHeader + 56), kPage));
  StoreBytes(bytes_, 0, raw.first(Load<std::uint32_t>(raw, headers + kOptionalHeader + 60)));
  CopySections(file, headers);
  Relocate(headers);
  exports_ = At<std::uint32_t>(headers + kDirectories);
  ReadFunctions(headers);
}

void LoadedImage::CopySections(std::span<const std::uint8_t> file, std::size_t headers) {
  const auto raw = std::as_bytes(file);
  const std::size_t count = Load<std::uint16_t>(raw, headers + 6);
  const std::size_t table = headers + kOptionalHeader + Load<std::uint16_t>(raw, headers + 20);
  for (std::size_t i = 0; i < count; ++i) {
    const auto header = raw.subspan(table + 40 * i, 40);
    const auto in_memory = Load<std::uint32_t>(header, 8);
    const auto rva = Load<std::uint32_t>(header, 12);
    const auto in_file = std::min(Load<std::uint32_t>(header, 16), in_memory);
    const auto flags = Load<std::uint32_t>(header, 36);
    StoreBytes(bytes_, rva, raw.subspan(Load<std::uint32_t>(header, 20), in_file));
    sections_.push_back({rva, static_cast<std::uint32_t>(RoundUp(in_memory, kPage)), (flags & kExecutable) != 0,
                         (flags & kWritable) != 0});
  }
}

void LoadedImage::Relocate(std::size_t headers) {
  const std::size_t image_base = headers + kOptionalHeader + 24;
  const std::uint64_t distance = base_ - At<std::uint64_t>(image_base);
  std::size_t block = At<std::uint32_t>(headers + kDirectories + 5 * 8);
  const std::size_t end = block + At<std::uint32_t>(headers + kDirectories + 5 * 8 + 4);
  while (block + 8 <= end) {
    const std::size_t page = At<std::uint32_t>(block);
    const std::size_t size = At<std::uint32_t>(block + 4);
    for (std::size_t entry = block + 8; entry + 2 <= block + size; entry += 2) {
      const auto fixup = At<std::uint16_t>(entry);
      const std::size_t place = page + (fixup & 0xFFF);
      if (fixup >> 12 == kRelocation64) Store<std::uint64_t>(bytes_, place, At<std::uint64_t>(place) + distance);
    }
    block += std::max<std::size_t>(size, 8);
  }
  Store<std::uint64_t>(bytes_, image_base, base_);
}

void LoadedImage::ReadFunctions(std::size_t headers) {
  exception_table_ = At<std::uint32_t>(headers + kDirectories + 3 * 8);
  exception_table_size_ = At<std::uint32_t>(headers + kDirectories + 3 * 8 + 4);
  for (std::size_t entry = exception_table_; entry + 12 <= exception_table_ + exception_table_size_; entry += 12) {
    functions_.push_back({At<std::uint32_t>(entry), At<std::uint32_t>(entry + 4), At<std::uint32_t>(entry + 8)});
  }
}

std::uint64_t LoadedImage::Export(std::string_view name) const {
  const std::size_t names = At<std::uint32_t>(exports_ + 24);
  for (std::size_t i = 0; i < names; ++i) {
    const std::size_t text = At<std::uint32_t>(At<std::uint32_t>(exports_ + 32) + 4 * i);
    if (name != reinterpret_cast<const char*>(bytes_.data() + text)) continue;
    const std::size_t place = At<std::uint16_t>(At<std::uint32_t>(exports_ + 36) + 2 * i);
    return base_ + At<std::uint32_t>(At<std::uint32_t>(exports_ + 28) + 4 * place);
  }
  return 0;
}

const LoadedImage::Function* LoadedImage::FunctionAt(std::uint32_t begin) const {
  const auto found = std::find_if(functions_.begin(), functions_.end(),
                                  [begin](const Function& function) { return function.begin == begin; });
  return found == functions_.end() ? nullptr : &*found;
}

std::vector<LoadedImage::Call> LoadedImage::CallPath(std::uint64_t from, std::uint64_t to) const {
  std::vector<Call> path;
  std::vector<std::uint32_t> seen;
  if (!Extend(static_cast<std::uint32_t>(from - base_), static_cast<std::uint32_t>(to - base_), &path, &seen))
    return {};
  return path;
}

// A near call is an opcode and a distance. Its bytes may stand in another instruction too, but a distance that leads to
// the first byte of a function then is a rare chance; the tests hold the path to what the source says.
bool LoadedImage::Extend(std::uint32_t from, std::uint32_t to, std::vector<Call>* path,
                         std::vector<std::uint32_t>* seen) const {
  const Function* function = FunctionAt(from);
  if (function == nullptr || std::find(seen->begin(), seen->end(), from) != seen->end()) return false;
  seen->push_back(from);
  for (std::uint32_t at = function->begin; at + 5 <= function->end; ++at) {
    if (bytes_[at] != kCallNear) continue;
    const std::uint32_t target = at + 5 + At<std::uint32_t>(at + 1);
    if (FunctionAt(target) == nullptr) continue;
    path->push_back({base_ + from, base_ + at + 5});
    if (target == to || Extend(target, to, path, seen)) return true;
    path->pop_back();
  }
  return false;
}

std::vector<LoadedImage::PrologStep> LoadedImage::PrologOf(std::uint64_t address) const {
  const Function* function = FunctionAt(static_cast<std::uint32_t>(address - base_));
  if (function == nullptr) return {};
  using Kind = PrologStep::Kind;
  const std::size_t info = function->unwind;
  const auto frame = At<std::uint8_t>(info + 3);
  std::vector<PrologStep> steps;
  const auto slot = [&](std::size_t i) { return At<std::uint16_t>(info + 4 + 2 * i); };
  for (std::size_t i = 0; i < At<std::uint8_t>(info + 2); ++i) {
    const auto operation = static_cast<std::uint8_t>(slot(i) >> 8 & 15);
    const auto reg = static_cast<std::uint8_t>(slot(i) >> 12);
    switch (operation) {
      case 0:
        steps.push_back({Kind::kPush, reg, 8});
        break;
      case 1:
        steps.push_back({Kind::kAllocate, 0, reg == 0 ? slot(i + 1) * 8u : slot(i + 1) | slot(i + 2) * 65536u});
        i += reg == 0 ? 1 : 2;
        break;
      case 2:
        steps.push_back({Kind::kAllocate, 0, reg * 8u + 8});
        break;
      case 3:
        steps.push_back({Kind::kSetFrame, static_cast<std::uint8_t>(frame & 15), (frame >> 4) * 16u});
        break;
      case 4:
        steps.push_back({Kind::kSave, reg, slot(++i) * 8u});
        break;
      default:
        assert(!"an unwind code that our own kernel does not need");
    }
  }
  std::reverse(steps.begin(), steps.end());
  return steps;
}

}  // namespace varnel::embedded
