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
// &cRRGGBB or #RRGGBB, "text" (a quote inside is written twice), nil. Keywords are
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
// A bare name as a call's argument: a variable of the run, as a program declares
// one. It starts as its parameter type's empty value (0, 0.0, false, "", nil),
// takes what a byref parameter leaves in it, and keeps that for later calls.
struct Variable {
  std::string name;
  bool operator==(const Variable&) const = default;
};
// picture("file.png"): a picture read from a PNG or JPEG file, lent like the input.
struct PictureFile {
  std::string path;
  bool operator==(const PictureFile&) const = default;
};
// file("name"): a file's bytes, as a memory block or a string by the parameter's type.
struct FileData {
  std::string path;
  bool operator==(const FileData&) const = default;
};
// table(invert) or table("name"): a 256-byte channel table in a memory block, built
// in (`name` set) or read from a file of exactly 256 bytes (`path` set).
struct ChannelTable {
  std::string name;
  std::string path;
  bool operator==(const ChannelTable&) const = default;
};
// hald("x.png"): a Hald colour lookup picture, as a lookup table's Table setting.
struct HaldFile {
  std::string path;
  bool operator==(const HaldFile&) const = default;
};
using Argument = std::variant<Literal, CurrentPicture, Word, Variable, PictureFile, FileData, ChannelTable, HaldFile>;

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
  std::optional<Argument> assigned;  // "Name(args) = value": through the setter; never a Word
};

// "Name", "Name(arg, ...)", "Name(arg, ...) = value" or "Name(Setting=value, ...)";
// blanks around the parts are allowed. An argument is a literal, self, a variable,
// picture("file"), file("file") or table(name or "file"); a setting's value may be
// any of these but a variable, or a bare name. Settings are told apart by name
// case-insensitively, like properties.
Call ParseCall(std::string_view text);

// The channel tables table(NAME) knows: byte i of each is the new value of i.
inline constexpr std::string_view kBuiltInChannelTables = "identity, invert";
std::optional<std::vector<uint8_t>> BuiltInChannelTable(std::string_view name);

enum class Command { kRun, kList, kRender, kHelp, kVersion, kDescribe, kGallery, kNames };

inline constexpr std::string_view kVersion = "1.1.0";

// The global that `render` calls with the sound's samples.
inline constexpr std::string_view kRenderMethod = "RenderSamplesZRK";

// How `render` puts the sound's samples into the memory block, and the Bits value
// that tells the plug-in so.
enum class SampleEncoding { kInt16, kUint8, kFloat32, kFloat64 };

struct Options {
  Command command = Command::kRun;
  testhost::HostConfig host;       // version, kind, layouts of the pictures the host makes
  std::optional<uint32_t> layout;  // --layout: the input picture's alpha information
  std::string plugin;              // empty: picture_plugin.so beside the executable
  // The pictures to run the calls on, each on its own ("-" is standard input); for
  // kRender the sound, for kGallery the optional picture. Empty with chart or noInput.
  std::vector<std::string> inputs;
  bool chart = false;              // the input is the built-in colour chart
  bool noInput = false;            // the run starts without a picture: self is nil
  std::vector<Call> calls;         // for kRender, the first one is the render call
  // A file, "-" for standard output, or a pattern in which {name} stands for the
  // input's name without its extension.
  std::optional<std::string> output;
  std::optional<std::string> outDir;      // results go here, under the input's name
  std::optional<std::string> saveString;  // the last string result, written as raw bytes
  std::optional<std::string> saveBlocks;  // a folder for every memory block printed
  SampleEncoding encoding = SampleEncoding::kInt16;
  bool flatten = false;        // write the plug-in's opaque result, not the input's alpha
  int jobs = 1;                // worker processes for several inputs
  uint64_t maxPixels = uint64_t{1} << 28;  // pictures read may hold no more
  int quality = 90;            // JPEG and WebP
  int pngCompression = 1;      // 0 to 9
  std::string topic;           // kDescribe: the method or class; kGallery: the folder
};

// Parses everything after the program name. Throws UsageError. Options may stand
// anywhere; the words before the calls are the inputs (anything that is not
// written as a call: a name with a dot or slash, "-", or an existing file).
Options ParseCommandLine(std::span<const std::string> args);

std::string UsageText();

// Where a run on `input` writes its picture: the -o file or pattern ({name}: the
// input's file name without extension, "stdin" for "-"), under --out-dir when given;
// with --out-dir alone, the input's own name there (PNG unless its extension is
// one the tool writes). nullopt when nothing is written.
std::optional<std::string> OutputFor(const Options& options, const std::string& input);

// The candidate nearest to `word` (case-insensitive edit distance), if near
// enough to be a likely typing slip; empty otherwise.
std::string NearestName(std::string_view word, std::span<const std::string> candidates);

// The values an integer parameter of `type` (lower case) holds; nullopt for a type
// that is no integer.
struct IntegerRange {
  int64_t min = 0;
  int64_t max = 0;
};
std::optional<IntegerRange> IntegerRangeOf(std::string_view type);

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
  std::optional<std::string> defaultText;  // the declared default, as written
};
std::vector<Param> PassedParams(std::string_view declaration);
// The declaration as a program calls it on a picture: a module method's leading
// "extends ref as Picture" parameter is dropped ("InvertZRK(extends ref as
// Picture) as picture" becomes "InvertZRK as picture"); other text is kept as is.
std::string ExtensionForm(std::string_view declaration);

// The type a setter takes, in lower case: its assigns parameter's, or else its
// declared result type.
std::string AssignedType(std::string_view declaration);

// A setter as a program assigns through it: "Table(x as UInt32) as double" becomes
// "Table(x as UInt32, assigns value as double)"; one that declares its assigns
// parameter already is kept as is.
std::string SetterForm(std::string_view declaration);

// A result as the tool prints it after "NAME = ": `resultType` is the declared
// type in lower case ("color" prints &cRRGGBB; an unknown type prints integers in
// decimal). Doubles print in their shortest exact form, strings as host text.
// A string that is not UTF-8 text (a NUL, or bytes that are no UTF-8) prints as
// its size and its first bytes in hex.
std::string FormatResult(const Literal& value, std::string_view resultType);

// A memory block's bytes as the tool prints them: the size, then for 1024 bytes
// (256 counters, as histograms are) their total, the values counted and the peak,
// and for any other size the first bytes in hex.
std::string FormatBlock(std::span<const uint8_t> bytes);

}  // namespace picture_host
