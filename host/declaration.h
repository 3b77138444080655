// Declarations in the host language, as a plug-in registers them:
//   Name | Name as Type | Name(params) | Name(params) as Type
// with parameters `name as type [= default]`, `byref name as type`,
// `extends name as type` and `assigns name as type`. The parsed form drives the
// libffi call descriptions and the host's overload choice. Keywords and type
// names are case-insensitive, as in the host language; an empty parameter
// (a stray ", )") is skipped.
#pragma once

#include <cstdint>
#include <optional>
#include <string>
#include <string_view>
#include <variant>
#include <vector>

namespace testhost::internal {

enum class BaseType { kVoid, kInteger, kUInt32, kDouble, kBoolean, kColor, kString, kObject };

struct TypeRef {
  BaseType base = BaseType::kVoid;
  std::string name;  // as written; the class name for kObject
  bool is_object() const { return base == BaseType::kObject; }
  bool operator==(const TypeRef&) const = default;
};

enum class ParamMode { kValue, kByRef, kExtends, kAssigns };

// A default value: nil, an integer (colour literals included), a double, a boolean or a text.
using Literal = std::variant<std::monostate, int64_t, double, bool, std::string>;

struct Parameter {
  std::string name;
  TypeRef type;
  ParamMode mode = ParamMode::kValue;
  std::optional<Literal> default_value;
};

struct Declaration {
  std::string name;
  std::vector<Parameter> params;
  TypeRef result;  // kVoid without "as Type"
};

// Null, with the reason in `error`, when the text is not a declaration.
std::optional<Declaration> parse_declaration(std::string_view text, std::string* error = nullptr);
// A type name as a property record or declaration writes it ("Integer", "Picture", ...).
TypeRef parse_type(std::string_view name);
// "an integer", "a picture", "a Counter": for error messages.
std::string type_phrase(const TypeRef& type);
bool iequals(std::string_view a, std::string_view b);

}  // namespace testhost::internal
