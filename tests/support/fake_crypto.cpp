#include "tests/support/fake_crypto.h"

#include <array>
#include <bit>
#include <cmath>
#include <cstring>

#include "tests/support/last_error.h"

namespace varnel::testing {
namespace {

std::string Padded(const std::string& bytes) {
  std::string padded = bytes + '\x80';
  while (padded.size() % 64 != 56) padded.push_back(0);
  const std::uint64_t bits = std::uint64_t{bytes.size()} * 8;
  for (int i = 0; i < 8; ++i) padded.push_back(static_cast<char>(bits >> (8 * i)));
  return padded;
}

std::array<std::uint32_t, 64> SineTable() {
  std::array<std::uint32_t, 64> table{};
  for (int i = 0; i < 64; ++i) {
    table[static_cast<std::size_t>(i)] =
        static_cast<std::uint32_t>(std::floor(std::fabs(std::sin(i + 1.0)) * 4294967296.0));
  }
  return table;
}

}  // namespace

// RFC 1321; the constants are computed from their definition.
std::string Md5Of(const std::string& bytes) {
  constexpr int kShifts[4][4] = {{7, 12, 17, 22}, {5, 9, 14, 20}, {4, 11, 16, 23}, {6, 10, 15, 21}};
  static const std::array<std::uint32_t, 64> sines = SineTable();
  std::uint32_t state[4] = {0x67452301, 0xEFCDAB89, 0x98BADCFE, 0x10325476};
  const std::string padded = Padded(bytes);
  for (std::size_t block = 0; block < padded.size(); block += 64) {
    std::uint32_t words[16];
    std::memcpy(words, padded.data() + block, sizeof words);
    std::uint32_t a = state[0];
    std::uint32_t b = state[1];
    std::uint32_t c = state[2];
    std::uint32_t d = state[3];
    for (int i = 0; i < 64; ++i) {
      const int round = i / 16;
      const std::uint32_t mixed = round == 0   ? (b & c) | (~b & d)
                                  : round == 1 ? (d & b) | (~d & c)
                                  : round == 2 ? b ^ c ^ d
                                               : c ^ (b | ~d);
      const int word = round == 0 ? i : round == 1 ? 5 * i + 1 : round == 2 ? 3 * i + 5 : 7 * i;
      const std::uint32_t sum = a + mixed + sines[static_cast<std::size_t>(i)] + words[word % 16];
      a = d;
      d = c;
      c = b;
      b += std::rotl(sum, kShifts[round][i % 4]);
    }
    state[0] += a;
    state[1] += b;
    state[2] += c;
    state[3] += d;
  }
  return {reinterpret_cast<const char*>(state), sizeof state};
}

bool FakeCrypto::CryptAcquireContextW(platform::HCRYPTPROV* provider, std::uint32_t type, std::uint32_t flags) {
  if (type != platform::kProvRsaFull) return FailWith(0x80090017);
  if (flags != platform::kCryptVerifyContext) return FailWith(0x80090016);  // no keys of the user's are kept here
  const std::lock_guard lock(mutex_);
  providers_[++next_] = true;
  *provider = next_;
  return true;
}

bool FakeCrypto::CryptCreateHash(platform::HCRYPTPROV provider, std::uint32_t algorithm, platform::HCRYPTHASH* hash) {
  const std::lock_guard lock(mutex_);
  if (!providers_.contains(provider)) return FailWith(platform::kErrorInvalidHandle);
  if (algorithm != platform::kCalgMd5) return FailWith(0x80090008);
  hashes_[++next_] = {};
  *hash = next_;
  return true;
}

bool FakeCrypto::CryptHashData(platform::HCRYPTHASH hash, const void* data, std::uint32_t size) {
  const std::lock_guard lock(mutex_);
  const auto found = hashes_.find(hash);
  if (found == hashes_.end()) return FailWith(platform::kErrorInvalidHandle);
  if (found->second.finished) return FailWith(0x8009000C);
  found->second.bytes.append(static_cast<const char*>(data), size);
  return true;
}

bool FakeCrypto::CryptGetHashParam(platform::HCRYPTHASH hash, std::uint32_t parameter, void* data,
                                   std::uint32_t* size) {
  const std::lock_guard lock(mutex_);
  const auto found = hashes_.find(hash);
  if (found == hashes_.end()) return FailWith(platform::kErrorInvalidHandle);
  if (parameter != platform::kHpHashVal) return FailWith(0x8009000A);
  const std::string digest = Md5Of(found->second.bytes);
  const bool fits = data == nullptr || *size >= digest.size();
  *size = static_cast<std::uint32_t>(digest.size());
  if (!fits) return FailWith(platform::kErrorMoreData);
  if (data == nullptr) return true;
  found->second.finished = true;
  std::memcpy(data, digest.data(), digest.size());
  return true;
}

bool FakeCrypto::CryptDestroyHash(platform::HCRYPTHASH hash) {
  const std::lock_guard lock(mutex_);
  return hashes_.erase(hash) > 0 || FailWith(platform::kErrorInvalidHandle);
}

bool FakeCrypto::CryptReleaseContext(platform::HCRYPTPROV provider) {
  const std::lock_guard lock(mutex_);
  return providers_.erase(provider) > 0 || FailWith(platform::kErrorInvalidHandle);
}

std::size_t FakeCrypto::open_count() const {
  const std::lock_guard lock(mutex_);
  return providers_.size() + hashes_.size();
}

}  // namespace varnel::testing
