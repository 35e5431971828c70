// Composes flushed copies byte by byte, from the format's page and not from the code under test.
#pragma once

#include <cstdint>
#include <string>

namespace varnel::embedded {

class CopyBuilder {
 public:
  static std::string Little(std::uint64_t value, int size) {
    std::string bytes;
    for (int i = 0; i < size; ++i) bytes.push_back(i < 8 ? static_cast<char>(value >> (8 * i)) : '\0');
    return bytes;
  }
  static std::string Big(std::uint64_t value, int size) {
    std::string bytes;
    for (int i = size - 1; i >= 0; --i) bytes.push_back(i < 8 ? static_cast<char>(value >> (8 * i)) : '\0');
    return bytes;
  }
  static std::string Wide(const std::u16string& text) {
    std::string bytes;
    for (const char16_t unit : text) bytes += Little(unit, 2);
    return bytes;
  }
  /// The hash of a name that is all upper-case ASCII already, so that no folding is needed here.
  static std::uint64_t Hash(const std::u16string& upper) {
    std::uint64_t hash = 14695981039346656037u;
    for (const char c : Wide(upper)) hash = (hash ^ static_cast<unsigned char>(c)) * 1099511628211u;
    return hash;
  }
  static std::string Place(std::uint64_t parent, char tag, std::uint64_t hash, std::uint16_t slot = 0) {
    return Big(parent, 8) + tag + Big(hash, 8) + Big(slot, 2);
  }
  static std::string Key(std::uint64_t id, const std::u16string& name, std::uint64_t next_order = 0, int flags = 0) {
    return Little(id, 8) + Little(next_order, 8) + Little(static_cast<std::uint64_t>(flags), 2) +
           Little(name.size(), 2) + Wide(name);
  }
  static std::string Value(std::uint64_t order, std::uint32_t type, const std::u16string& name,
                           const std::string& data) {
    return Little(order, 8) + Little(type, 4) + Little(name.size(), 2) + Wide(name) + data;
  }
  static std::string Store(std::uint64_t epoch, std::uint64_t next_id) {
    return Little(1, 4) + Little(0, 4) + Little(epoch, 8) + Little(next_id, 8);
  }
  /// Bit by bit, where the code under test goes by a table.
  static std::uint64_t Sum(const std::string& bytes) {
    std::uint64_t sum = ~std::uint64_t{0};
    for (const char c : bytes) {
      sum ^= static_cast<unsigned char>(c);
      for (int bit = 0; bit < 8; ++bit) sum = (sum >> 1) ^ ((sum & 1) != 0 ? 0xC96C5795D7870F42u : 0);
    }
    return ~sum;
  }

  CopyBuilder& Header(std::uint64_t epoch = 1, std::uint64_t transaction = 5, std::uint64_t time = 77) {
    bytes_ = "VWREGCPY" + Little(1, 4) + Little(0, 4) + Little(epoch, 8) + Little(transaction, 8) + Little(time, 8);
    return *this;
  }
  CopyBuilder& Record(const std::string& place, const std::string& record) {
    bytes_ += Little(place.size(), 2) + Little(record.size(), 4) + place + record;
    ++count_;
    return *this;
  }
  std::string Build() const {
    const std::string all = bytes_ + Little(0, 2) + Little(count_, 8);
    return all + Little(Sum(all), 8);
  }

  /// Both roots in the order that their hashes give, behind each other, then the store's record.
  CopyBuilder& Roots(std::uint64_t next_id = 3) {
    const std::string machine = Place(0, 'K', Hash(u"MACHINE"));
    const std::string user = Place(0, 'K', Hash(u"USER"));
    if (machine < user) Record(machine, Key(1, u"MACHINE"));
    Record(user, Key(2, u"USER"));
    if (!(machine < user)) Record(machine, Key(1, u"MACHINE"));
    return Record(Place(0, 'S', 0), Store(1, next_id));
  }

 private:
  std::string bytes_;
  std::uint64_t count_ = 0;
};

/// A small registry: HKEY_LOCAL_MACHINE\\SOFTWARE with two values.
inline std::string SmallCopy() {
  using B = CopyBuilder;
  // The hash of no name, the start value itself, is above that of "V".
  return B()
      .Header()
      .Roots(4)
      .Record(B::Place(1, 'K', B::Hash(u"SOFTWARE")), B::Key(3, u"Software", 2))
      .Record(B::Place(3, 'V', B::Hash(u"V")), B::Value(1, 4, u"v", "1234"))
      .Record(B::Place(3, 'V', B::Hash(u"")), B::Value(0, 1, u"", "x"))
      .Build();
}

}  // namespace varnel::embedded
