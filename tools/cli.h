// Command line of picture-host: options, calls written in host text
// ("InvertZRK(10, 10, &hC8, 100)"), the literals inside them, the declarations
// the host shows, and the text the tool prints for a call's result. Nothing here
// needs a running host, so all of it is tested on its own.
#pragma once

#include <cstdint>
#include <optional>
#include <span>
#include <stdexcept>
#include <string>
#include <string_view>
#include <variant>
#include <vector>

#include "host/test_host.h"

namespace picture_host {

// A bad command line; the message names the problem without the tool's name.
class UsageError : public std::runtime_error {
 public:
  using std::runtime_error::runtime_error;
};

// An argument or result as host text writes it. Colours, like the host's
// integers, are int64_t (0x00RRGGBB); monostate is nil.
using Literal = std::variant<std::monostate, int64_t, double, bool, std::string>;

// One host-text literal: 12, -3, &hFF, &o17, &b101, 1.5, -2e3, true, false,
// &cRRGGBB, "text" (a quote inside is written twice), nil. Keywords are
// case-insensitive, like the host language. Integers must fit 32 bits, signed or
// unsigned (-2147483648 to 4294967295).
Literal ParseLiteral(std::string_view text);

// `self` (any case): the current picture, passed as an argument or a setting.
struct CurrentPicture {
  bool operator==(const CurrentPicture&) const = default;
};
// A bare name as a setting's value, such as the built-in table in "Table=warm";
// the setting decides what it stands for.
struct Word {
  std::string text;
  bool operator==(const Word&) const = default;
};
using Argument = std::variant<Literal, CurrentPicture, Word>;

// "Name=value" in a call: a property of a plug-in class to set before it runs.
struct Setting {
  std::string name;
  Argument value;
  bool operator==(const Setting&) const = default;
};

struct Call {
  std::string text;  // as given, for messages
  std::string name;
  std::vector<Argument> args;     // never a Word
  std::vector<Setting> settings;  // a call has these or args, not both
};

// "Name", "Name(arg, ...)" or "Name(Setting=value, ...)"; blanks around the parts
// are allowed. An argument is a literal or self; a setting's value may also be a
// bare name. Settings are told apart by name case-insensitively, like properties.
Call ParseCall(std::string_view text);

enum class Command { kRun, kList, kHelp };

struct Options {
  Command command = Command::kRun;
  testhost::HostConfig host;       // version, kind, layouts of the pictures the host makes
  std::optional<uint32_t> layout;  // --layout: the input picture's alpha information
  std::string plugin;              // empty: picture_plugin.so beside the executable
  std::string input;               // empty when `chart` is set
  bool chart = false;              // the input is the built-in colour chart
  std::vector<Call> calls;
  std::optional<std::string> output;
};

// Parses everything after the program name. Throws UsageError.
Options ParseCommandLine(std::span<const std::string> args);

std::string UsageText();

// ---- declarations, as Host::Callables() gives them ----

// The method's name: "InvertZRK" of "InvertZRK(left as integer, ...) as picture".
std::string DeclaredName(std::string_view declaration);
// The result type in lower case ("picture", "color"); empty for a method without one.
std::string DeclaredResultType(std::string_view declaration);
// How many arguments a program passes: parameters without a default are required;
// the extends and assigns parameters are not passed in the call's parentheses.
struct Arity {
  size_t min = 0;
  size_t max = 0;
};
Arity DeclaredArity(std::string_view declaration);
// The parameters a call passes, in order (extends and assigns ones left out).
struct Param {
  std::string name;
  std::string type;    // lower case
  bool byref = false;  // comes back as the callee left it
};
std::vector<Param> PassedParams(std::string_view declaration);
// The declaration as a program calls it on a picture: a module method's leading
// "extends ref as Picture" parameter is dropped ("InvertZRK(extends ref as
// Picture) as picture" becomes "InvertZRK as picture"); other text is kept as is.
std::string ExtensionForm(std::string_view declaration);

// A setter as a program assigns through it: "Table(x as UInt32) as double" becomes
// "Table(x as UInt32, assigns value as double)"; one that declares its assigns
// parameter already is kept as is.
std::string SetterForm(std::string_view declaration);

// A result as the tool prints it after "NAME = ": `resultType` is the declared
// type in lower case ("color" prints &cRRGGBB; an unknown type prints integers in
// decimal). Doubles print in their shortest exact form, strings as host text.
std::string FormatResult(const Literal& value, std::string_view resultType);

}  // namespace picture_host
