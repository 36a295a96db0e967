// Expression: what an event of the journal must look like, as one line of text.
#pragma once

#include <json/value.h>

#include <stdexcept>
#include <string>
#include <vector>

namespace benchtv {

// The text is no expression. what() says why; |position| is where in the text, from 0.
class ExpressionError : public std::invalid_argument {
 public:
  ExpressionError(const std::string& why, std::size_t where)
      : std::invalid_argument(why), position(where) {}

  const std::size_t position;
};

// Terms joined by blanks, all of which must hold:
//
//   field=value    the field is there and has that value
//   field!=value   it has another value, or is not there
//   field~text     it contains the text
//
// A value with blanks stands in single or double quotes, within which a backslash takes the next
// character as it is. Numbers compare as numbers; a list or object by its compact JSON. The bare
// word null is the JSON null, a quoted one the text.
class Expression {
 public:
  // Throws ExpressionError. Implicit, so that calls can spell expressions out.
  Expression(const std::string& text);  // NOLINT(google-explicit-constructor)
  Expression(const char* text) : Expression(std::string(text)) {}  // NOLINT

  bool matches(const Json::Value& event) const;

  const std::string& text() const { return source; }

 private:
  enum class Operator { kEqual, kNotEqual, kContains };
  struct Term {
    std::string field;
    Operator op;
    std::string value;
    bool quoted;
  };
  class Reader;

  static bool holds(const Term& term, const Json::Value& event);
  static bool equal(const Json::Value& value, const Term& term);

  std::string source;
  std::vector<Term> terms;
};

}  // namespace benchtv
