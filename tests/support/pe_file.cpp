#include "tests/support/pe_file.h"

#include <algorithm>
#include <fstream>
#include <iterator>

namespace varnel::support {
namespace {

std::uint32_t Number(const Blob& bytes, std::size_t place, std::size_t size) {
  std::uint32_t value = 0;
  for (std::size_t i = 0; i < size && place + i < bytes.size(); ++i) {
    value |= std::to_integer<std::uint32_t>(bytes[place + i]) << (8 * i);
  }
  return value;
}

void CopyPiece(const Blob& from, std::size_t place, std::size_t size, std::size_t to, Blob* into) {
  if (place >= from.size() || to >= into->size()) return;
  const std::size_t count = std::min({size, from.size() - place, into->size() - to});
  std::copy_n(from.begin() + static_cast<std::ptrdiff_t>(place), count,
              into->begin() + static_cast<std::ptrdiff_t>(to));
}

}  // namespace

std::optional<Blob> MapPeFile(const std::filesystem::path& path) {
  std::ifstream in(path, std::ios::binary);
  std::vector<char> text((std::istreambuf_iterator<char>(in)), std::istreambuf_iterator<char>());
  const auto* first = reinterpret_cast<const std::byte*>(text.data());
  const Blob file(first, first + text.size());
  const std::size_t header = Number(file, 0x3C, 4);
  const std::size_t optional = header + 24;
  if (Number(file, 0, 2) != 0x5A4D || Number(file, header, 4) != 0x4550 || Number(file, header + 4, 2) != 0x8664 ||
      Number(file, optional, 2) != 0x20B) {
    return std::nullopt;
  }
  Blob image(Number(file, optional + 56, 4));
  CopyPiece(file, 0, Number(file, optional + 60, 4), 0, &image);
  const std::size_t sections = optional + Number(file, header + 20, 2);
  for (std::size_t i = 0; i < Number(file, header + 6, 2); ++i) {
    const std::size_t at = sections + 40 * i;
    const std::uint32_t size = std::min(Number(file, at + 8, 4), Number(file, at + 16, 4));
    CopyPiece(file, Number(file, at + 20, 4), size, Number(file, at + 12, 4), &image);
  }
  return image;
}

std::vector<std::filesystem::path> SystemPeFiles(std::size_t limit) {
  const char* folders[] = {"/usr/lib/gcc/x86_64-w64-mingw32/12-posix", "/usr/x86_64-w64-mingw32/lib",
                           "/usr/lib/x86_64-linux-gnu/wine/x86_64-windows"};
  std::vector<std::filesystem::path> files;
  for (const char* folder : folders) {
    std::error_code error;
    std::vector<std::filesystem::path> here;
    for (const auto& entry : std::filesystem::directory_iterator(folder, error)) {
      if (entry.path().extension() == ".dll") here.push_back(entry.path());
    }
    std::sort(here.begin(), here.end());
    files.insert(files.end(), here.begin(), here.end());
  }
  if (files.size() > limit) files.resize(limit);
  return files;
}

}  // namespace varnel::support
