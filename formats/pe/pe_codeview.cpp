#include "formats/pe/pe_codeview.h"

#include <algorithm>
#include <cstdio>
#include <optional>

#include "formats/pe/pe_format.h"
#include "formats/text_encoding.h"

namespace varnel::formats {
namespace {

constexpr std::uint32_t kMostEntries = 64;
constexpr std::size_t kLongestFileName = 4096;
constexpr std::uint32_t kRsds = 0x5344'5352;

struct RsdsHeader {
  std::uint32_t signature;
  GUID guid;
  std::uint32_t age;
};
static_assert(sizeof(RsdsHeader) == 24);

PeLookup<PeCodeView> ReadRsds(const PeMemory& memory, std::uint32_t rva) {
  const auto header = memory.Copy<RsdsHeader>(rva);
  if (!header.found()) return header.state();
  if (header.value().signature != kRsds) return PeState::kAbsent;
  const auto name = memory.Text(rva + static_cast<std::uint32_t>(sizeof(RsdsHeader)), kLongestFileName);
  if (!name.found()) return name.state();
  return PeCodeView{header.value().guid, header.value().age, ToValidUtf8(name.value())};
}

}  // namespace

PeLookup<PeCodeView> ReadPeCodeView(const PeImage& image) {
  const auto directory = image.Directory(PeDirectory::kDebug);
  if (!directory.found()) return directory.state();
  const auto count = static_cast<std::uint32_t>(directory.value().size / sizeof(pe::DebugDirectory));
  std::optional<PeLookup<PeCodeView>> answer;
  const PeState state = image.memory().ForEach<pe::DebugDirectory>(
      directory.value().rva, std::min(count, kMostEntries), [&](std::uint32_t, const pe::DebugDirectory& entry) {
        if (entry.type != pe::kDebugTypeCodeView || entry.address_of_raw_data == 0) return true;
        auto identity = ReadRsds(image.memory(), entry.address_of_raw_data);
        if (identity.state() == PeState::kAbsent) return true;
        answer = std::move(identity);
        return false;
      });
  if (answer.has_value()) return *std::move(answer);
  return state == PeState::kFound ? PeState::kAbsent : state;
}

std::string PeImageKey(std::uint32_t time_date_stamp, std::uint32_t size_of_image) {
  char key[24];
  std::snprintf(key, sizeof key, "%08X%x", static_cast<unsigned>(time_date_stamp),
                static_cast<unsigned>(size_of_image));
  return key;
}

std::string PdbKey(const GUID& guid, std::uint32_t age) {
  char key[48];
  int length = std::snprintf(key, sizeof key, "%08X%04X%04X", static_cast<unsigned>(guid.Data1),
                             static_cast<unsigned>(guid.Data2), static_cast<unsigned>(guid.Data3));
  for (const unsigned char byte : guid.Data4) {
    length +=
        std::snprintf(key + length, sizeof key - static_cast<std::size_t>(length), "%02X", static_cast<unsigned>(byte));
  }
  std::snprintf(key + length, sizeof key - static_cast<std::size_t>(length), "%x", static_cast<unsigned>(age));
  return key;
}

}  // namespace varnel::formats
