// DumpFileSource reads a dump whose bytes stand in memory.
#pragma once

#include <algorithm>
#include <cstddef>
#include <cstdint>
#include <cstring>
#include <fstream>
#include <iterator>
#include <span>
#include <string>
#include <utility>
#include <vector>

#include "formats/dump/dump_source.h"

namespace varnel::support {

class DumpFileSource final : public formats::DumpSource {
 public:
  explicit DumpFileSource(std::vector<std::byte> bytes) : bytes_(std::move(bytes)) {}

  std::uint64_t Size() const noexcept override { return bytes_.size(); }
  std::size_t Read(std::uint64_t offset, std::span<std::byte> into) const noexcept override {
    if (offset >= bytes_.size()) return 0;
    const std::size_t size = std::min<std::size_t>(into.size(), bytes_.size() - offset);
    if (size != 0) std::memcpy(into.data(), bytes_.data() + offset, size);
    return size;
  }

 private:
  std::vector<std::byte> bytes_;
};

/// Empty when the file is not there.
inline std::vector<std::byte> ReadWholeFile(const std::string& path) {
  std::ifstream in(path, std::ios::binary);
  const std::string text((std::istreambuf_iterator<char>(in)), std::istreambuf_iterator<char>());
  std::vector<std::byte> bytes(text.size());
  if (!text.empty()) std::memcpy(bytes.data(), text.data(), text.size());
  return bytes;
}

}  // namespace varnel::support
