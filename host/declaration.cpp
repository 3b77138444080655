// Parser of host-language declarations: a small hand-written scanner over the
// grammar in declaration.h. Nothing here knows about hosts or calls.
#include "host/declaration.h"

#include <cctype>
#include <charconv>
#include <cstdlib>

namespace testhost::internal {

namespace {

bool is_ident_char(char c) {
  return std::isalnum(static_cast<unsigned char>(c)) != 0 || c == '_';
}

class Scanner {
 public:
  explicit Scanner(std::string_view text) : text_(text) {}

  void skip_blanks() {
    while (pos_ < text_.size() && std::isspace(static_cast<unsigned char>(text_[pos_])) != 0) ++pos_;
  }
  bool at_end() {
    skip_blanks();
    return pos_ >= text_.size();
  }
  char peek() {
    skip_blanks();
    return pos_ < text_.size() ? text_[pos_] : '\0';
  }
  bool take(char c) {
    if (peek() != c) return false;
    ++pos_;
    return true;
  }
  std::string_view identifier() {
    skip_blanks();
    const size_t start = pos_;
    while (pos_ < text_.size() && is_ident_char(text_[pos_])) ++pos_;
    return text_.substr(start, pos_ - start);
  }
  // Takes the keyword when the next identifier is it (case-insensitive).
  bool keyword(std::string_view word) {
    const size_t saved = pos_;
    if (iequals(identifier(), word)) return true;
    pos_ = saved;
    return false;
  }
  // Everything up to the next ',' or ')' at this level, trimmed (a default value).
  std::string_view until_separator() {
    skip_blanks();
    const size_t start = pos_;
    bool quoted = false;
    while (pos_ < text_.size()) {
      const char c = text_[pos_];
      if (c == '"') quoted = !quoted;
      if (!quoted && (c == ',' || c == ')')) break;
      ++pos_;
    }
    size_t end = pos_;
    while (end > start && std::isspace(static_cast<unsigned char>(text_[end - 1])) != 0) --end;
    return text_.substr(start, end - start);
  }

 private:
  std::string_view text_;
  size_t pos_ = 0;
};

std::optional<Literal> parse_literal(std::string_view text) {
  if (text.empty()) return std::nullopt;
  if (iequals(text, "nil")) return Literal{};
  if (iequals(text, "true")) return Literal{true};
  if (iequals(text, "false")) return Literal{false};
  if (text.size() >= 2 && text.front() == '"' && text.back() == '"') {
    return Literal{std::string(text.substr(1, text.size() - 2))};
  }
  if (text.size() > 2 && text[0] == '&' && (text[1] == 'c' || text[1] == 'C' || text[1] == 'h' || text[1] == 'H')) {
    uint64_t value = 0;
    const auto digits = text.substr(2);
    auto [end, ec] = std::from_chars(digits.data(), digits.data() + digits.size(), value, 16);
    if (ec != std::errc() || end != digits.data() + digits.size()) return std::nullopt;
    return Literal{static_cast<int64_t>(value)};
  }
  int64_t integer = 0;
  auto [end, ec] = std::from_chars(text.data(), text.data() + text.size(), integer);
  if (ec == std::errc() && end == text.data() + text.size()) return Literal{integer};
  // A double: strtod needs a terminated copy.
  const std::string copy(text);
  char* stop = nullptr;
  const double number = std::strtod(copy.c_str(), &stop);
  if (stop == copy.c_str() + copy.size()) return Literal{number};
  return std::nullopt;
}

bool fail(std::string* error, std::string message) {
  if (error != nullptr) *error = std::move(message);
  return false;
}

bool parse_parameter(Scanner& scan, Parameter* param, std::string* error) {
  if (scan.keyword("byref")) {
    param->mode = ParamMode::kByRef;
  } else if (scan.keyword("extends")) {
    param->mode = ParamMode::kExtends;
  } else if (scan.keyword("assigns")) {
    param->mode = ParamMode::kAssigns;
  } else {
    scan.keyword("byval");
  }
  param->name = std::string(scan.identifier());
  if (param->name.empty()) return fail(error, "parameter without a name");
  if (!scan.keyword("as")) return fail(error, "parameter " + param->name + " has no type");
  const auto type = scan.identifier();
  if (type.empty()) return fail(error, "parameter " + param->name + " has no type");
  param->type = parse_type(type);
  if (scan.take('=')) {
    const auto text = scan.until_separator();
    param->default_value = parse_literal(text);
    if (!param->default_value) {
      return fail(error, "default of " + param->name + " is not a value: " + std::string(text));
    }
  }
  return true;
}

}  // namespace

bool iequals(std::string_view a, std::string_view b) {
  if (a.size() != b.size()) return false;
  for (size_t i = 0; i < a.size(); ++i) {
    if (std::tolower(static_cast<unsigned char>(a[i])) != std::tolower(static_cast<unsigned char>(b[i]))) {
      return false;
    }
  }
  return true;
}

TypeRef parse_type(std::string_view name) {
  struct Scalar {
    std::string_view name;
    BaseType base;
  };
  static constexpr Scalar kScalars[] = {
      {"integer", BaseType::kInteger}, {"int32", BaseType::kInteger}, {"uint32", BaseType::kUInt32},
      {"double", BaseType::kDouble},   {"boolean", BaseType::kBoolean}, {"color", BaseType::kColor},
      {"string", BaseType::kString},
  };
  for (const auto& scalar : kScalars) {
    if (iequals(name, scalar.name)) return {scalar.base, std::string(name)};
  }
  return {BaseType::kObject, std::string(name)};
}

std::string type_phrase(const TypeRef& type) {
  switch (type.base) {
    case BaseType::kVoid: return "nothing";
    case BaseType::kInteger: return "an integer";
    case BaseType::kUInt32: return "a UInt32";
    case BaseType::kDouble: return "a double";
    case BaseType::kBoolean: return "a boolean";
    case BaseType::kColor: return "a color";
    case BaseType::kString: return "a string";
    case BaseType::kObject: break;
  }
  if (iequals(type.name, "picture")) return "a picture";
  if (iequals(type.name, "memoryblock")) return "a memory block";
  const bool vowel = !type.name.empty() && std::string_view("AEIOUaeiou").find(type.name[0]) != std::string_view::npos;
  return (vowel ? "an " : "a ") + type.name;
}

std::optional<Declaration> parse_declaration(std::string_view text, std::string* error) {
  Scanner scan(text);
  Declaration decl;
  decl.name = std::string(scan.identifier());
  if (decl.name.empty()) {
    fail(error, "no method name");
    return std::nullopt;
  }
  if (scan.take('(')) {
    while (!scan.take(')')) {
      if (scan.at_end()) {
        fail(error, "unclosed parameter list");
        return std::nullopt;
      }
      if (scan.take(',')) continue;  // an empty parameter
      Parameter param;
      if (!parse_parameter(scan, &param, error)) return std::nullopt;
      decl.params.push_back(std::move(param));
      if (scan.peek() != ',' && scan.peek() != ')') {
        fail(error, "unexpected text after parameter " + decl.params.back().name);
        return std::nullopt;
      }
    }
  }
  if (scan.keyword("as")) {
    const auto type = scan.identifier();
    if (type.empty()) {
      fail(error, "no result type after 'as'");
      return std::nullopt;
    }
    decl.result = parse_type(type);
  }
  if (!scan.at_end()) {
    fail(error, "unexpected text at the end");
    return std::nullopt;
  }
  return decl;
}

}  // namespace testhost::internal
