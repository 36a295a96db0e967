#include "control/expression.h"

#include <algorithm>
#include <cstdlib>

#include "model/value.h"

namespace benchtv {

namespace {

constexpr char kBlanks[] = " \t\n";

std::string textOf(const Json::Value& value) {
  return value.isString() ? value.asString() : jsonText(value);
}

}  // namespace

// Takes the source apart from left to right.
class Expression::Reader {
 public:
  explicit Reader(const std::string& source) : text(source) {}

  bool atEnd() {
    position = std::min(text.find_first_not_of(kBlanks, position), text.size());
    return position == text.size();
  }

  Term term() {
    Term term;
    const std::size_t start = position;
    position = std::min(text.find_first_of("=!~ \t\n", position), text.size());
    term.field = text.substr(start, position - start);
    if (term.field.empty()) {
      throw ExpressionError("a field name is missing", start);
    }
    term.op = op(term.field);
    term.quoted = position < text.size() && (text[position] == '"' || text[position] == '\'');
    term.value = term.quoted ? quotedValue() : bareValue(term.field);
    return term;
  }

 private:
  Operator op(const std::string& field) {
    if (text.compare(position, 2, "!=") == 0) {
      position += 2;
      return Operator::kNotEqual;
    }
    if (position < text.size() && (text[position] == '=' || text[position] == '~')) {
      return text[position++] == '=' ? Operator::kEqual : Operator::kContains;
    }
    throw ExpressionError("after \"" + field + "\" must come =, != or ~", position);
  }

  std::string quotedValue() {
    const std::size_t start = position;
    const char quote = text[position++];
    std::string value;
    for (; position < text.size() && text[position] != quote; ++position) {
      if (text[position] == '\\' && position + 1 < text.size()) {
        ++position;
      }
      value += text[position];
    }
    if (position == text.size()) {
      throw ExpressionError("this quote is not closed", start);
    }
    ++position;
    if (position < text.size() && std::string(kBlanks).find(text[position]) == std::string::npos) {
      throw ExpressionError("a blank must follow the closing quote", position);
    }
    return value;
  }

  std::string bareValue(const std::string& field) {
    const std::size_t start = position;
    position = std::min(text.find_first_of(kBlanks, position), text.size());
    if (position == start) {
      throw ExpressionError(
          "\"" + field + R"(" is compared with nothing: an empty value is written "")", start);
    }
    return text.substr(start, position - start);
  }

  const std::string& text;
  std::size_t position = 0;
};

Expression::Expression(const std::string& text) : source(text) {
  Reader reader(source);
  while (!reader.atEnd()) {
    terms.push_back(reader.term());
  }
  if (terms.empty()) {
    throw ExpressionError("the expression is empty: write for instance kind=log text~ready", 0);
  }
}

bool Expression::matches(const Json::Value& event) const {
  return std::all_of(terms.begin(), terms.end(),
                     [&event](const Term& term) { return holds(term, event); });
}

bool Expression::holds(const Term& term, const Json::Value& event) {
  const bool there = event.isMember(term.field);
  switch (term.op) {
    case Operator::kEqual:
      return there && equal(event[term.field], term);
    case Operator::kNotEqual:
      return !there || !equal(event[term.field], term);
    case Operator::kContains:
      return there && !event[term.field].isNull() &&
             textOf(event[term.field]).find(term.value) != std::string::npos;
  }
  return false;
}

bool Expression::equal(const Json::Value& value, const Term& term) {
  if (value.isNull()) {
    return !term.quoted && term.value == "null";
  }
  if (value.isNumeric()) {
    char* end = nullptr;
    const double number = std::strtod(term.value.c_str(), &end);
    return end == term.value.c_str() + term.value.size() && number == value.asDouble();
  }
  if (value.isString() && !term.quoted && term.value == "null") {
    return false;
  }
  return textOf(value) == term.value;
}

}  // namespace benchtv
