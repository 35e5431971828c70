#include "platform/embedded/crypto/embedded_crypto.h"

#include <cstring>
#include <new>

#include "platform/embedded/core/handle_table.h"
#include "platform/embedded/crypto/md5.h"

namespace varnel::embedded {
namespace {

using platform::HANDLE;
using platform::HCRYPTHASH;
using platform::HCRYPTPROV;
using Kind = Object::Kind;

constexpr std::uint32_t kBadAlgorithm = 0x80090008;
constexpr std::uint32_t kBadHashState = 0x8009000C;
constexpr std::uint32_t kBadType = 0x8009000A;
constexpr std::uint32_t kProviderTypeNotDefined = 0x80090017;

struct Provider : Object {
  Provider() : Object(Kind::kCryptProvider) {}
};

struct Hash : Object {
  Hash() : Object(Kind::kCryptHash) {}
  Md5 md5;
  bool given = false;  // the value was asked for: nothing can be added any more
};

HANDLE AsHandle(std::uintptr_t value) {
  return reinterpret_cast<HANDLE>(value);
}

bool Insert(std::shared_ptr<Object> object, std::uintptr_t* value) {
  const HANDLE handle = object ? Handles().Insert(std::move(object)) : nullptr;
  if (handle == nullptr) return Fail(platform::kErrorNotEnoughMemory);
  *value = reinterpret_cast<std::uintptr_t>(handle);
  return true;
}

bool Remove(std::uintptr_t value, Kind kind) {
  if (!Handles().Find<Object>(AsHandle(value), kind)) return Fail(platform::kErrorInvalidHandle);
  return Handles().Remove(AsHandle(value)) != nullptr || Fail(platform::kErrorInvalidHandle);
}

}  // namespace

bool EmbeddedCrypto::CryptAcquireContextW(HCRYPTPROV* provider, std::uint32_t provider_type, std::uint32_t) {
  if (provider == nullptr) return Fail(platform::kErrorInvalidParameter);
  if (provider_type != platform::kProvRsaFull) return Fail(kProviderTypeNotDefined);
  return Insert(std::shared_ptr<Object>(new (std::nothrow) Provider), provider);
}

bool EmbeddedCrypto::CryptCreateHash(HCRYPTPROV provider, std::uint32_t algorithm, HCRYPTHASH* hash) {
  if (!Handles().Find<Provider>(AsHandle(provider), Kind::kCryptProvider)) return Fail(platform::kErrorInvalidHandle);
  if (algorithm != platform::kCalgMd5) return Fail(kBadAlgorithm);
  if (hash == nullptr) return Fail(platform::kErrorInvalidParameter);
  return Insert(std::shared_ptr<Object>(new (std::nothrow) Hash), hash);
}

bool EmbeddedCrypto::CryptHashData(HCRYPTHASH hash, const void* data, std::uint32_t size) {
  const auto object = Handles().Find<Hash>(AsHandle(hash), Kind::kCryptHash);
  if (!object) return Fail(platform::kErrorInvalidHandle);
  if (object->given) return Fail(kBadHashState);
  object->md5.Update({static_cast<const std::uint8_t*>(data), size});
  return true;
}

bool EmbeddedCrypto::CryptGetHashParam(HCRYPTHASH hash, std::uint32_t parameter, void* data, std::uint32_t* size) {
  const auto object = Handles().Find<Hash>(AsHandle(hash), Kind::kCryptHash);
  if (!object) return Fail(platform::kErrorInvalidHandle);
  if (parameter != platform::kHpHashVal) return Fail(kBadType);
  if (size == nullptr) return Fail(platform::kErrorInvalidParameter);
  const Md5::Digest digest = object->md5.Value();
  const std::uint32_t room = *size;
  *size = digest.size();
  if (data == nullptr) return true;
  if (room < digest.size()) return Fail(platform::kErrorMoreData);
  object->given = true;
  std::memcpy(data, digest.data(), digest.size());
  return true;
}

bool EmbeddedCrypto::CryptDestroyHash(HCRYPTHASH hash) {
  return Remove(hash, Kind::kCryptHash);
}

bool EmbeddedCrypto::CryptReleaseContext(HCRYPTPROV provider) {
  return Remove(provider, Kind::kCryptProvider);
}

}  // namespace varnel::embedded
