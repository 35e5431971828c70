// EventQuery: which events of a log are asked for. The language is the subset of XPath 1.0 that the event log knows:
// a path from "*" or "Event" over child elements and attributes, with tests in brackets:
//
//   path      := ("*" | "Event") predicate* ("/" step)*
//   step      := ("@" name | name | "*") predicate*
//   predicate := "[" or "]" | "[" position "]"
//   or        := and ("or" and)*
//   and       := test ("and" test)*
//   test      := "(" or ")" | operand (("=" | "!=" | "<" | "<=" | ">" | ">=") (number | text))?
//   operand   := step ("/" step)* | "band(" path "," number ")" | "timediff(@SystemTime" ["," text] ")"
//
// Numbers are decimal or "0x…"; texts stand in single or double quotes. Names are met exactly, without namespaces. A
// text that is a time is compared as one, a GUID without regard to case. timediff counts milliseconds up to now.
// Immutable; any thread may ask.
#pragma once

#include <tinyxml2.h>

#include <cstdint>
#include <memory>
#include <string_view>
#include <vector>

#include "formats/result.h"

namespace varnel::formats {

namespace query {
struct Step;
}

class EventQuery {
 public:
  /// @return an Error with the place in the text for what is outside the language. An empty text asks for all.
  static Result<std::shared_ptr<const EventQuery>> Parse(std::string_view text);

  ~EventQuery();
  EventQuery(const EventQuery&) = delete;
  EventQuery& operator=(const EventQuery&) = delete;

  /// `now` is a count of 100 ns since 1601, for timediff.
  bool Matches(const tinyxml2::XMLElement& event, std::uint64_t now) const;

 private:
  explicit EventQuery(std::vector<query::Step> path);

  const std::vector<query::Step> path_;  // the first step is the event itself
};

}  // namespace varnel::formats
