// The parsed form of an event query. Internal to the query's parser and its evaluation.
#pragma once

#include <cstdint>
#include <memory>
#include <string>
#include <string_view>
#include <variant>
#include <vector>

#include "formats/result.h"

namespace varnel::formats::query {

struct Expression;
using ExpressionPtr = std::unique_ptr<Expression>;

/// One step of a path: the elements, or the attribute, of that name below where the path stands.
struct Step {
  bool attribute = false;
  std::string name;  // "*": any
  std::vector<ExpressionPtr> predicates;
};

enum class Operator : std::uint8_t { kEqual, kNotEqual, kLess, kLessOrEqual, kGreater, kGreaterOrEqual };

/// What a path leads to, or what a function makes of it.
struct Operand {
  enum class Function : std::uint8_t { kNone, kBand, kTimeDiff };

  Function function = Function::kNone;
  std::vector<Step> path;
  std::uint64_t mask = 0;   // of band
  std::uint64_t until = 0;  // of timediff with a second time
  bool until_now = true;    // of timediff without one
};

using Literal = std::variant<std::uint64_t, std::string>;

/// A test of an operand; the operand alone asks whether there is any.
struct Test {
  Operand operand;
  bool compares = false;
  Operator op = Operator::kEqual;
  Literal literal;
};

struct Junction {
  bool all = false;  // "and"; else "or"
  std::vector<ExpressionPtr> parts;
};

struct Position {
  std::uint64_t number = 0;  // 1 is the first
};

struct Expression {
  std::variant<Test, Junction, Position> form;
};

/// The steps of a query's text; the first one names the event.
Result<std::vector<Step>> ParseQuery(std::string_view text);

}  // namespace varnel::formats::query
