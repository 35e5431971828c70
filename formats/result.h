// Result<T>: a value or the reason why there is none. Used where we are free to choose (parsers, the embedded platform,
// the tools); the module's own operations return the statuses that its rules give.
#pragma once

#include <cstdint>
#include <string>
#include <utility>
#include <variant>

namespace varnel::formats {

/// Why something could not be read or done. `offset` is the place in the input in bytes, where there is one.
struct Error {
  std::string message;
  std::uint64_t offset = kNoOffset;

  static constexpr std::uint64_t kNoOffset = ~std::uint64_t{0};
};

/// Holds a T or an Error. There is no conversion to bool, so that a Result<bool> can't be mistaken for its value.
template <typename T>
class [[nodiscard]] Result {
 public:
  Result(T value) : state_(std::in_place_index<0>, std::move(value)) {}      // NOLINT: a value is a result
  Result(Error error) : state_(std::in_place_index<1>, std::move(error)) {}  // NOLINT: so is an error

  bool ok() const noexcept { return state_.index() == 0; }
  T& value() & { return std::get<0>(state_); }
  const T& value() const& { return std::get<0>(state_); }
  T&& value() && { return std::get<0>(std::move(state_)); }
  const Error& error() const { return std::get<1>(state_); }

 private:
  std::variant<T, Error> state_;
};

/// For operations that yield nothing but success.
struct Unit {};
using Status = Result<Unit>;
inline Status Ok() {
  return Unit{};
}

}  // namespace varnel::formats
