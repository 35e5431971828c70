#include "formats/event_query.h"

#include <algorithm>
#include <string>

#include "formats/event_query_syntax.h"
#include "formats/guid_text.h"
#include "formats/iso_time.h"
#include "formats/manifest_xml.h"

namespace varnel::formats {
namespace {

using query::Expression;
using query::Junction;
using query::Literal;
using query::Operand;
using query::Operator;
using query::Position;
using query::Step;
using query::Test;
using tinyxml2::XMLElement;

constexpr std::uint64_t kTicksPerMillisecond = 10'000;

template <typename T>
bool Holds(Operator op, const T& left, const T& right) {
  switch (op) {
    case Operator::kEqual:
      return left == right;
    case Operator::kNotEqual:
      return left != right;
    case Operator::kLess:
      return left < right;
    case Operator::kLessOrEqual:
      return left <= right;
    case Operator::kGreater:
      return left > right;
    case Operator::kGreaterOrEqual:
      return left >= right;
  }
  return false;
}

/// A value against a literal: as times, GUIDs or numbers where both are such; else texts are equal or not.
bool Compares(Operator op, std::string_view value, const Literal& literal) {
  if (const auto* number = std::get_if<std::uint64_t>(&literal)) {
    const auto left = ParseNumber(TrimBlanks(value));
    return left ? Holds(op, *left, *number) : op == Operator::kNotEqual;
  }
  const std::string_view text = std::get<std::string>(literal);
  if (op == Operator::kEqual || op == Operator::kNotEqual) {
    if (value == text) return op == Operator::kEqual;
    const auto left_guid = ParseGuid(value);
    const auto right_guid = ParseGuid(text);
    if (left_guid && right_guid) return (*left_guid == *right_guid) == (op == Operator::kEqual);
  }
  const auto left_time = ParseIsoTime(value);
  const auto right_time = ParseIsoTime(text);
  if (left_time && right_time) return Holds(op, *left_time, *right_time);
  if (op == Operator::kEqual) return false;
  if (op == Operator::kNotEqual) return true;
  const auto left = ParseNumber(TrimBlanks(value));
  const auto right = ParseNumber(TrimBlanks(text));
  return left && right && Holds(op, *left, *right);
}

/// Asks one event. Paths are walked depth first and end at the first value that satisfies.
class Evaluation {
 public:
  explicit Evaluation(std::uint64_t now) : now_(now) {}

  bool All(const std::vector<query::ExpressionPtr>& predicates, const XMLElement& element, std::uint64_t* positions) {
    for (std::size_t i = 0; i < predicates.size(); ++i) {
      // Each predicate counts those elements that the ones before it let through.
      ++positions[i];
      if (!Is(*predicates[i], element, positions[i])) return false;
    }
    return true;
  }

  /// `test` is asked of each value that the steps from `at` on lead to, until it says yes.
  template <typename Ask>
  bool Any(const XMLElement& from, const std::vector<Step>& path, std::size_t at, const Ask& ask) {
    const Step& step = path[at];
    if (step.attribute) return AnyAttribute(from, step, ask);
    std::vector<std::uint64_t> positions(step.predicates.size());
    for (const XMLElement* child = from.FirstChildElement(); child != nullptr; child = child->NextSiblingElement()) {
      if (step.name != "*" && LocalName(*child) != step.name) continue;
      if (!All(step.predicates, *child, positions.data())) continue;
      if (at + 1 < path.size()) {
        if (Any(*child, path, at + 1, ask)) return true;
      } else {
        const char* text = child->GetText();
        if (ask(text == nullptr ? std::string_view{} : std::string_view(text))) return true;
      }
    }
    return false;
  }

 private:
  template <typename Ask>
  static bool AnyAttribute(const XMLElement& from, const Step& step, const Ask& ask) {
    for (const auto* attribute = from.FirstAttribute(); attribute != nullptr; attribute = attribute->Next()) {
      if (step.name == "*" || LocalName(std::string_view(attribute->Name())) == step.name) {
        if (ask(std::string_view(attribute->Value()))) return true;
      }
    }
    return false;
  }

  bool Is(const Expression& expression, const XMLElement& element, std::uint64_t position) {
    if (const auto* wanted = std::get_if<Position>(&expression.form)) return wanted->number == position;
    if (const auto* junction = std::get_if<Junction>(&expression.form)) {
      const auto holds = [&](const query::ExpressionPtr& part) { return Is(*part, element, position); };
      return junction->all ? std::all_of(junction->parts.begin(), junction->parts.end(), holds)
                           : std::any_of(junction->parts.begin(), junction->parts.end(), holds);
    }
    return Is(std::get<Test>(expression.form), element);
  }

  bool Is(const Test& test, const XMLElement& element) {
    return Any(element, test.operand.path, 0, [&](std::string_view value) { return Satisfies(test, value); });
  }

  bool Satisfies(const Test& test, std::string_view value) const {
    const Operand& operand = test.operand;
    if (operand.function == Operand::Function::kNone) return !test.compares || Compares(test.op, value, test.literal);
    if (operand.function == Operand::Function::kBand) {
      const auto number = ParseNumber(TrimBlanks(value));
      if (!number) return false;
      const std::uint64_t common = *number & operand.mask;
      return test.compares ? Compares(test.op, std::to_string(common), test.literal) : common != 0;
    }
    const auto time = ParseIsoTime(value);
    if (!time) return false;
    const std::uint64_t until = operand.until_now ? now_ : operand.until;
    // An event of the future is no time ago.
    const std::uint64_t ago = until > *time ? (until - *time) / kTicksPerMillisecond : 0;
    return Compares(test.op, std::to_string(ago), test.literal);
  }

  const std::uint64_t now_;
};

}  // namespace

EventQuery::EventQuery(std::vector<Step> path) : path_(std::move(path)) {}
EventQuery::~EventQuery() = default;

Result<std::shared_ptr<const EventQuery>> EventQuery::Parse(std::string_view text) {
  auto path = query::ParseQuery(text);
  if (!path.ok()) return path.error();
  return std::shared_ptr<const EventQuery>(new EventQuery(std::move(path).value()));
}

bool EventQuery::Matches(const XMLElement& event, std::uint64_t now) const {
  const Step& first = path_.front();
  if (first.name != "*" && LocalName(event) != first.name) return false;
  Evaluation evaluation(now);
  std::vector<std::uint64_t> positions(first.predicates.size());
  if (!evaluation.All(first.predicates, event, positions.data())) return false;
  return path_.size() == 1 || evaluation.Any(event, path_, 1, [](std::string_view) { return true; });
}

}  // namespace varnel::formats
