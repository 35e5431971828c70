#include "formats/pe/unwind_epilog.h"

#include <array>
#include <span>

namespace varnel::formats {
namespace {

// The longest epilog: one instruction of eight bytes, fifteen pops of two, a jump of seven.
constexpr std::size_t kMostCode = 48;

enum class Kind : std::uint8_t { kAdd, kLea, kPop, kReturn, kJump, kJumpAway, kOther, kCut };

// One instruction as far as an epilog may have it. `value`: bytes to add, the register, the jump's distance.
struct Instruction {
  Kind kind = Kind::kOther;
  std::size_t length = 0;
  std::int32_t value = 0;
  std::uint8_t base = 0;  // register that a lea goes by
};

class Decoder {
 public:
  explicit Decoder(std::span<const std::uint8_t> code) : code_(code) {}

  std::size_t offset() const { return offset_; }

  Instruction Next() {
    cut_ = false;
    Instruction found = Decode();
    if (cut_) return {Kind::kCut, 0, 0, 0};
    offset_ += found.length;
    return found;
  }

 private:
  std::uint8_t At(std::size_t index) {
    if (offset_ + index < code_.size()) return code_[offset_ + index];
    cut_ = true;
    return 0;
  }
  std::int32_t Signed8(std::size_t index) { return static_cast<std::int8_t>(At(index)); }
  std::int32_t Signed32(std::size_t index) {
    std::uint32_t value = 0;
    for (std::size_t i = 0; i < 4; ++i) value |= std::uint32_t{At(index + i)} << (8 * i);
    return static_cast<std::int32_t>(value);
  }

  Instruction Decode() {
    const std::uint8_t first = At(0);
    if (first >= 0x58 && first <= 0x5F) return {Kind::kPop, 1, first - 0x58, 0};
    switch (first) {
      case 0xC3:
        return {Kind::kReturn, 1, 0, 0};
      case 0xC2:
        return {Kind::kReturn, 3, At(1) | At(2) << 8, 0};
      case 0xF2:
      case 0xF3:
        return At(1) == 0xC3 ? Instruction{Kind::kReturn, 2, 0, 0} : Instruction{};
      case 0xEB:
        return {Kind::kJump, 2, Signed8(1), 0};
      case 0xE9:
        return {Kind::kJump, 5, Signed32(1), 0};
      case 0xFF:
        return At(1) == 0x25 ? Instruction{Kind::kJumpAway, 6, 0, 0} : Instruction{};
      default:
        break;
    }
    return first >= 0x40 && first <= 0x4F ? DecodeWithRex(first) : Instruction{};
  }

  Instruction DecodeWithRex(std::uint8_t rex) {
    const bool wide = (rex & 8) != 0;
    const std::uint8_t extension = (rex & 1) != 0 ? 8 : 0;
    const std::uint8_t opcode = At(1);
    if (opcode >= 0x58 && opcode <= 0x5F) return {Kind::kPop, 2, opcode - 0x58 + extension, 0};
    const std::uint8_t modrm = At(2);
    if (wide && opcode == 0xFF && (modrm & 0x38) == 0x20) return {Kind::kJumpAway, 3, 0, 0};
    if (rex == 0x48 && opcode == 0x83 && modrm == 0xC4) return {Kind::kAdd, 4, Signed8(3), 0};
    if (rex == 0x48 && opcode == 0x81 && modrm == 0xC4) return {Kind::kAdd, 7, Signed32(3), 0};
    // lea rsp, [register + distance]
    if ((rex & 0xFE) != 0x48 || opcode != 0x8D || (modrm & 0x38) != 0x20) return {};
    const bool sib = (modrm & 7) == 4;
    if (sib && At(3) != 0x24) return {};
    const std::size_t place = sib ? 4 : 3;
    const auto base = static_cast<std::uint8_t>((modrm & 7) + extension);
    if (modrm >> 6 == 1) return {Kind::kLea, place + 1, Signed8(place), base};
    if (modrm >> 6 == 2) return {Kind::kLea, place + 4, Signed32(place), base};
    return {};
  }

  std::span<const std::uint8_t> code_;
  std::size_t offset_ = 0;
  bool cut_ = false;
};

// Whether a jump from this function to `target` leaves it: to another function, or to its own beginning, which is a
// call of itself. kNone: it does; kNoFunction: it stays; else why nobody can tell.
UnwindEnd LeavesFunction(const PeFunctions& functions, const PeFunction& entry, const PeFunction& unwind,
                         std::uint64_t target) {
  const std::uint64_t place = target - functions.memory().base();
  if (place >= functions.memory().size()) return UnwindEnd::kNone;
  const auto rva = static_cast<std::uint32_t>(place);
  const auto own = functions.Primary(unwind);
  if (!own.found()) return EndOf(own.state());
  if (rva == own.value().begin) return UnwindEnd::kNone;
  if (entry.Holds(rva)) return UnwindEnd::kNoFunction;
  const auto found = functions.Find(rva);
  if (found.state() == PeState::kAbsent) return UnwindEnd::kNone;
  if (!found.found()) return EndOf(found.state());
  const auto other = functions.Primary(found.value());
  if (!other.found()) return EndOf(other.state());
  return other.value().begin == own.value().begin ? UnwindEnd::kNoFunction : UnwindEnd::kNone;
}

// Whether version 2's own list of epilogs has the place. Empty when it is no such list.
std::optional<bool> ListedEpilog(const UnwindInfo& info, const PeFunction& function, std::uint32_t rva) {
  if (info.version != 2) return std::nullopt;
  if (info.count == 0 || info.Op(0) != UnwindOp::kEpilog) return false;
  const std::uint32_t length = info.PrologOffset(0);
  const auto within = [&](std::uint32_t distance) {
    return distance <= function.end && rva >= function.end - distance && rva - (function.end - distance) < length;
  };
  if ((info.Info(0) & 1) != 0 && within(length)) return true;
  for (std::size_t slot = 1; slot < info.count && info.Op(slot) == UnwindOp::kEpilog; ++slot) {
    const std::uint32_t distance = std::uint32_t{info.Info(slot)} << 8 | info.PrologOffset(slot);
    if (distance != 0 && within(distance)) return true;
  }
  return false;
}

class EpilogRunner {
 public:
  EpilogRunner(const PeFunctions& functions, const PeFunction& entry, const PeFunction& unwind,
               const X64Registers& registers)
      : functions_(functions), entry_(entry), unwind_(unwind), registers_(registers) {}

  std::optional<UndoneFrame> Run(const UnwindInfo& info) {
    std::array<std::uint8_t, kMostCode> code{};
    const auto rva = static_cast<std::uint32_t>(registers_.rip - functions_.memory().base());
    const std::size_t got = functions_.memory().ReadSome(rva, std::as_writable_bytes(std::span(code)));
    Decoder decoder({code.data(), got});
    X64Registers state = registers_;
    bool first = true;
    for (;; first = false) {
      const Instruction next = decoder.Next();
      switch (next.kind) {
        case Kind::kAdd:
          if (!first || next.value < 0) return std::nullopt;
          state.set_rsp(state.rsp() + static_cast<std::uint64_t>(next.value));
          break;
        case Kind::kLea:
          if (!first || info.frame_register == 0 || next.base != info.frame_register) return std::nullopt;
          state.set_rsp(state.general.at(next.base) + static_cast<std::uint64_t>(std::int64_t{next.value}));
          break;
        case Kind::kPop:
          if (!Pop(next.value, &state)) return UndoneFrame{UnwindEnd::kStackMissing, state, 0, false};
          break;
        case Kind::kReturn:
          return Return(state, next.value);
        case Kind::kJumpAway:
          return Return(state, 0);
        case Kind::kJump:
          return Jump(state, rva + decoder.offset(), next.value);
        case Kind::kCut:
          return UndoneFrame{UnwindEnd::kCodeMissing, state, 0, false};
        case Kind::kOther:
          return std::nullopt;
      }
    }
  }

 private:
  bool Pop(std::int32_t which, X64Registers* state) {
    const UndoneFrame popped = UndoCall(functions_.memory().space(), *state);  // the word at the stack pointer
    if (popped.end != UnwindEnd::kNone) return false;
    state->general.at(static_cast<std::size_t>(which)) = popped.registers.rip;
    if (which != static_cast<std::int32_t>(X64Registers::kRsp)) state->set_rsp(popped.registers.rsp());
    return true;
  }

  UndoneFrame Return(const X64Registers& state, std::int32_t more) const {
    UndoneFrame frame = UndoCall(functions_.memory().space(), state);
    frame.registers.set_rsp(frame.registers.rsp() + static_cast<std::uint64_t>(more));
    return frame;
  }

  std::optional<UndoneFrame> Jump(const X64Registers& state, std::uint64_t behind, std::int32_t distance) const {
    const std::uint64_t target =
        functions_.memory().base() + behind + static_cast<std::uint64_t>(std::int64_t{distance});
    const UnwindEnd leaves = LeavesFunction(functions_, entry_, unwind_, target);
    if (leaves == UnwindEnd::kNoFunction) return std::nullopt;
    if (leaves != UnwindEnd::kNone) return UndoneFrame{leaves, state, 0, false};
    return Return(state, 0);
  }

  const PeFunctions& functions_;
  const PeFunction& entry_;
  const PeFunction& unwind_;
  const X64Registers& registers_;
};

}  // namespace

std::optional<UndoneFrame> UndoEpilog(const PeFunctions& functions, const PeFunction& entry, const PeFunction& unwind,
                                      const X64Registers& registers) {
  const auto info = ReadUnwindInfo(functions.memory(), unwind.unwind_info);
  if (!info.found()) return UndoneFrame{EndOf(info.state()), registers, 0, false};
  const auto rva = static_cast<std::uint32_t>(registers.rip - functions.memory().base());
  const bool in_prolog = entry.begin == unwind.begin && rva - unwind.begin < info.value().prolog_size;
  if (in_prolog) return std::nullopt;
  const std::optional<bool> listed = ListedEpilog(info.value(), unwind, rva);
  if (listed == std::optional(false)) return std::nullopt;
  auto frame = EpilogRunner(functions, entry, unwind, registers).Run(info.value());
  if (!frame.has_value() && listed == std::optional(true)) {
    return UndoneFrame{UnwindEnd::kUncertain, registers, 0, false};
  }
  return frame;
}

}  // namespace varnel::formats
