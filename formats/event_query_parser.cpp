#include <charconv>
#include <optional>

#include "formats/event_query_syntax.h"
#include "formats/iso_time.h"

namespace varnel::formats::query {
namespace {

constexpr int kMaxDepth = 32;
constexpr std::size_t kMaxTextBytes = 65536;

bool IsNameStart(char c) {
  return (c >= 'A' && c <= 'Z') || (c >= 'a' && c <= 'z') || c == '_' || static_cast<unsigned char>(c) >= 0x80;
}

bool IsNamePart(char c) {
  return IsNameStart(c) || (c >= '0' && c <= '9') || c == '-' || c == '.';
}

/// Recursive descent. Each method takes its piece off the text; after a failure nothing else is asked.
class Parser {
 public:
  explicit Parser(std::string_view text) : text_(text) {}

  std::optional<std::vector<Step>> Path() {
    std::vector<Step> path;
    SkipBlanks();
    Step event;
    if (Take("*")) {
      event.name = "*";
    } else if (TakeName() == "Event") {
      event.name = "Event";
    } else {
      return Refuse("a query begins with * or Event");
    }
    if (!Predicates(&event)) return std::nullopt;
    path.push_back(std::move(event));
    while (Take("/")) {
      if (!AddStep(&path)) return std::nullopt;
    }
    if (at_ != text_.size()) return Refuse("the query does not end here");
    return path;
  }

  Error error() const { return {reason_ + " (at " + std::to_string(at_ + 1) + ")", at_}; }

 private:
  std::nullopt_t Refuse(std::string reason) {
    if (reason_.empty()) reason_ = std::move(reason);
    return std::nullopt;
  }
  bool Fail(std::string reason) {
    Refuse(std::move(reason));
    return false;
  }

  void SkipBlanks() {
    while (at_ < text_.size() &&
           (text_[at_] == ' ' || text_[at_] == '\t' || text_[at_] == '\r' || text_[at_] == '\n')) {
      ++at_;
    }
  }

  /// Takes a sign, and the blanks behind it.
  bool Take(std::string_view sign) {
    if (text_.substr(at_, sign.size()) != sign) return false;
    at_ += sign.size();
    SkipBlanks();
    return true;
  }

  std::string_view TakeName() {
    if (at_ >= text_.size() || !IsNameStart(text_[at_])) return {};
    const std::size_t begin = at_;
    while (at_ < text_.size() && IsNamePart(text_[at_])) ++at_;
    const std::string_view name = text_.substr(begin, at_ - begin);
    SkipBlanks();
    return name;
  }

  /// Takes a word that joins tests.
  bool TakeWord(std::string_view word) {
    const std::size_t begin = at_;
    if (TakeName() == word) return true;
    at_ = begin;
    return false;
  }

  bool Predicates(Step* step) {
    while (Take("[")) {
      auto expression = PositionOrTests();
      if (!expression) return false;
      if (!Take("]")) return Fail("a ] is missing");
      step->predicates.push_back(std::move(expression));
    }
    return true;
  }

  ExpressionPtr PositionOrTests() {
    if (at_ < text_.size() && text_[at_] >= '0' && text_[at_] <= '9') {
      const auto number = Number();
      if (!number || *number == 0) return Nothing("a position counts from 1");
      return Make(Position{*number});
    }
    return Tests(/*all=*/false);
  }

  /// Tests joined by "or", each of them tests joined by "and".
  ExpressionPtr Tests(bool all) {
    Junction junction;
    junction.all = all;
    do {
      auto part = all ? Single() : Tests(true);
      if (!part) return nullptr;
      junction.parts.push_back(std::move(part));
    } while (TakeWord(all ? "and" : "or"));
    if (junction.parts.size() == 1) return std::move(junction.parts.front());
    return Make(std::move(junction));
  }

  ExpressionPtr Single() {
    if (++depth_ > kMaxDepth) return Nothing("the query is too deep");
    ExpressionPtr result;
    if (Take("(")) {
      result = Tests(false);
      if (result && !Take(")")) result = Nothing("a ) is missing");
    } else {
      result = SingleTest();
    }
    --depth_;
    return result;
  }

  ExpressionPtr SingleTest() {
    Test test;
    if (!TakeOperand(&test.operand)) return nullptr;
    const auto op = TakeOperator();
    if (op) {
      test.compares = true;
      test.op = *op;
      if (!TakeLiteral(&test.literal)) return nullptr;
    } else if (test.operand.function == Operand::Function::kTimeDiff) {
      return Nothing("timediff is compared with a number");
    }
    return Make(std::move(test));
  }

  bool TakeOperand(Operand* operand) {
    const std::size_t begin = at_;
    const std::string_view name = TakeName();
    if ((name == "band" || name == "timediff") && Take("(")) {
      return name == "band" ? TakeBand(operand) : TakeTimeDiff(operand);
    }
    at_ = begin;
    do {
      if (!AddStep(&operand->path)) return false;
    } while (Take("/"));
    return true;
  }

  bool TakeBand(Operand* operand) {
    operand->function = Operand::Function::kBand;
    do {
      if (!AddStep(&operand->path)) return false;
    } while (Take("/"));
    if (!Take(",")) return Fail("band has two arguments");
    const auto mask = Number();
    if (!mask) return Fail("band's second argument is a number");
    operand->mask = *mask;
    return Take(")") || Fail("a ) is missing");
  }

  bool TakeTimeDiff(Operand* operand) {
    operand->function = Operand::Function::kTimeDiff;
    do {
      if (!AddStep(&operand->path)) return false;
    } while (Take("/"));
    if (Take(",")) {
      Literal until;
      if (!TakeLiteral(&until)) return false;
      const auto* text = std::get_if<std::string>(&until);
      const auto time = text == nullptr ? std::nullopt : ParseIsoTime(*text);
      if (!time) return Fail("timediff's second argument is a time");
      operand->until = *time;
      operand->until_now = false;
    }
    return Take(")") || Fail("a ) is missing");
  }

  bool AddStep(std::vector<Step>* path) {
    if (!path->empty() && path->back().attribute) return Fail("nothing is below an attribute");
    if (++depth_ > kMaxDepth) return Fail("the query is too deep");
    Step step;
    step.attribute = Take("@");
    if (Take("*")) {
      step.name = "*";
    } else {
      step.name = TakeName();
      if (step.name.empty()) return Fail("a name is missing");
      if (at_ < text_.size() && (text_[at_] == '(' || text_[at_] == ':')) {
        return Fail("there is no such function or axis");
      }
    }
    if (step.attribute && at_ < text_.size() && text_[at_] == '[') return Fail("an attribute has no tests");
    if (!Predicates(&step)) return false;
    path->push_back(std::move(step));
    --depth_;
    return true;
  }

  std::optional<Operator> TakeOperator() {
    if (Take("=")) return Operator::kEqual;
    if (Take("!=")) return Operator::kNotEqual;
    if (Take("<=")) return Operator::kLessOrEqual;
    if (Take(">=")) return Operator::kGreaterOrEqual;
    if (Take("<")) return Operator::kLess;
    if (Take(">")) return Operator::kGreater;
    return std::nullopt;
  }

  bool TakeLiteral(Literal* literal) {
    const char quote = at_ < text_.size() ? text_[at_] : '\0';
    if (quote != '\'' && quote != '"') {
      const auto number = Number();
      if (!number) return Fail("a number or a text in quotes is missing");
      *literal = *number;
      return true;
    }
    const std::size_t end = text_.find(quote, at_ + 1);
    if (end == std::string_view::npos) return Fail("the text's quote is not closed");
    *literal = std::string(text_.substr(at_ + 1, end - at_ - 1));
    at_ = end + 1;
    SkipBlanks();
    return true;
  }

  std::optional<std::uint64_t> Number() {
    const bool hex = text_.substr(at_, 2) == "0x" || text_.substr(at_, 2) == "0X";
    const char* begin = text_.data() + at_ + (hex ? 2 : 0);
    const char* end = text_.data() + text_.size();
    std::uint64_t value = 0;
    const auto [behind, error] = std::from_chars(begin, end, value, hex ? 16 : 10);
    if (error != std::errc{} || behind == begin || (behind != end && IsNamePart(*behind))) return std::nullopt;
    at_ = static_cast<std::size_t>(behind - text_.data());
    SkipBlanks();
    return value;
  }

  template <typename Form>
  static ExpressionPtr Make(Form form) {
    auto expression = std::make_unique<Expression>();
    expression->form = std::move(form);
    return expression;
  }

  ExpressionPtr Nothing(std::string reason) {
    Refuse(std::move(reason));
    return nullptr;
  }

  const std::string_view text_;
  std::size_t at_ = 0;
  int depth_ = 0;
  std::string reason_;
};

}  // namespace

Result<std::vector<Step>> ParseQuery(std::string_view text) {
  if (text.size() > kMaxTextBytes) return Error{"the query is too long"};
  if (text.find_first_not_of(" \t\r\n") == std::string_view::npos) text = "*";
  Parser parser(text);
  auto path = parser.Path();
  if (!path) return parser.error();
  return *std::move(path);
}

}  // namespace varnel::formats::query
