#include "host/emit_plan.h"

#include <algorithm>
#include <charconv>
#include <utility>

#include "host/text_field.h"

namespace varnel::host {
namespace {

bool IsEach(std::uint64_t every, std::uint64_t index) {
  return every != 0 && index % every == 0;
}

// "0x23, 0x31, ..." as the bytes that it lists.
std::string BytesOfList(std::string_view list) {
  std::string bytes;
  for (std::size_t at = list.find("0x"); at != std::string_view::npos; at = list.find("0x", at + 2)) {
    unsigned value = 0;
    const char* digits = list.data() + at + 2;
    std::from_chars(digits, std::min(digits + 2, list.data() + list.size()), value, 16);
    bytes += static_cast<char>(value);
  }
  return bytes;
}

}  // namespace

EmitPlan::EmitPlan(EmitOptions options, std::string provider_name)
    : options_(std::move(options)), provider_name_(std::move(provider_name)), random_(options_.seed) {}

bool EmitPlan::Next(EmitStep* step) {
  if (repeat_due_) {
    repeat_due_ = false;
    last_.counter = EmitStep::Counter::kSameAgain;
    *step = last_;
    return true;
  }
  if (done_ == options_.count) return false;
  const std::uint64_t index = done_++;
  const std::uint64_t ordinal = done_;  // the first event is the 1st
  last_.number = options_.first_number + index;
  last_.counter = EmitStep::Counter::kNext;
  if (IsEach(options_.gap_every, ordinal)) last_.counter = EmitStep::Counter::kLeaveOneOut;
  if (IsEach(options_.restart_every, ordinal)) last_.counter = EmitStep::Counter::kBeginAnew;
  last_.keyword = options_.keywords[index % options_.keywords.size()];
  last_.kind = options_.templates[index % options_.templates.size()];
  last_.text = Text(last_.number);
  repeat_due_ = IsEach(options_.repeat_every, ordinal);
  *step = last_;
  return true;
}

std::string EmitPlan::Text(std::uint64_t number) {
  std::string text = '#' + std::to_string(number) + ' ' + provider_name_;
  std::uint32_t size = options_.min_size;
  if (options_.max_size > options_.min_size) {
    size = std::uniform_int_distribution(options_.min_size, options_.max_size)(random_);
  }
  if (text.size() < size) {
    text += ' ';
    text.resize(size, '.');
  }
  return text;
}

std::uint64_t RunningNumber(std::string_view json_text) {
  std::string text;
  if (const auto ansi = TextField(json_text, "AdditionalMsgAnsi")) {
    text = *ansi;
  } else if (const auto wide = TextField(json_text, "AdditionalMsgWide")) {
    text = *wide;
  } else if (const auto binary = TextField(json_text, "AdditionalBinary")) {
    text = BytesOfList(*binary);
  }
  if (text.empty() || text.front() != '#') return 0;
  std::uint64_t number = 0;
  std::from_chars(text.data() + 1, text.data() + text.size(), number);
  return number;
}

}  // namespace varnel::host
