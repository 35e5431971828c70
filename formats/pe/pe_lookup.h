// What a lookup in a dumped image answers. A dump holds some of an image's pages and not others, so that "it is not
// there" and "nobody can tell" are two answers and never one.
#pragma once

#include <cstdint>
#include <string_view>
#include <utility>
#include <variant>

namespace varnel::formats {

enum class PeState : std::uint8_t {
  kFound,
  kAbsent,      ///< all that would tell of it was read, and it is not there
  kMissing,     ///< memory that would tell of it is not in the dump
  kDamaged,     ///< the bytes contradict themselves or lead out of the image
  kNotAnImage,  ///< no image begins at this address
  kPe32,        ///< an image of a 32-bit program
  kRomImage,    ///< an image for a ROM, without directories
  kOtherKind,   ///< an image of a kind that is not known here
};

/// A few words for people, such as "its memory is not in the dump".
std::string_view Describe(PeState state);

/// Holds a T, or why there is none. There is no conversion to bool, so that a PeLookup<bool> can't be mistaken.
template <typename T>
class [[nodiscard]] PeLookup {
 public:
  PeLookup(T value) : state_(std::in_place_index<0>, std::move(value)) {}  // NOLINT: a value is an answer
  /// REQUIRES: `why` is not kFound.
  PeLookup(PeState why) : state_(std::in_place_index<1>, why) {}  // NOLINT: so is a reason

  bool found() const noexcept { return state_.index() == 0; }
  PeState state() const noexcept {
    const PeState* why = std::get_if<1>(&state_);
    return why != nullptr ? *why : PeState::kFound;
  }
  T& value() & { return std::get<0>(state_); }
  const T& value() const& { return std::get<0>(state_); }
  T&& value() && { return std::get<0>(std::move(state_)); }

 private:
  std::variant<T, PeState> state_;
};

}  // namespace varnel::formats
