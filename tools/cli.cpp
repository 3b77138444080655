#include "tools/cli.h"

#include <CLI/CLI.hpp>

#include <algorithm>
#include <cctype>
#include <charconv>
#include <cmath>
#include <filesystem>
#include <cstdio>
#include <cstring>
#include <limits>

namespace picture_host {
namespace {

constexpr int64_t kMinInteger = std::numeric_limits<int32_t>::min();
constexpr int64_t kMaxInteger = std::numeric_limits<uint32_t>::max();

bool IsBlank(char c) { return c == ' ' || c == '\t' || c == '\n' || c == '\r'; }
bool IsDigit(char c) { return c >= '0' && c <= '9'; }
bool IsIdentStart(char c) {
  return (c >= 'A' && c <= 'Z') || (c >= 'a' && c <= 'z') || c == '_';
}
bool IsIdentChar(char c) { return IsIdentStart(c) || IsDigit(c); }
char Lower(char c) { return (c >= 'A' && c <= 'Z') ? static_cast<char>(c - 'A' + 'a') : c; }

std::string_view Trim(std::string_view s) {
  while (!s.empty() && IsBlank(s.front())) s.remove_prefix(1);
  while (!s.empty() && IsBlank(s.back())) s.remove_suffix(1);
  return s;
}

std::string ToLower(std::string_view s) {
  std::string out(s);
  for (char& c : out) c = Lower(c);
  return out;
}

bool EqualsNoCase(std::string_view a, std::string_view b) {
  if (a.size() != b.size()) return false;
  for (size_t i = 0; i < a.size(); ++i) {
    if (Lower(a[i]) != Lower(b[i])) return false;
  }
  return true;
}

bool StartsWithNoCase(std::string_view s, std::string_view prefix) {
  return s.size() >= prefix.size() && EqualsNoCase(s.substr(0, prefix.size()), prefix);
}

std::string Quoted(std::string_view s) { return "'" + std::string(s) + "'"; }

[[noreturn]] void NotALiteral(std::string_view text) {
  throw UsageError(Quoted(text) +
                   " is not a literal (expected an integer, a double, true, false, nil, "
                   "a &cRRGGBB colour or a \"string\")");
}

Literal ParseString(std::string_view t) {
  // t starts with a quote; a doubled quote stands for one quote.
  std::string out;
  size_t i = 1;
  while (true) {
    if (i >= t.size()) throw UsageError("unterminated string " + std::string(t));
    if (t[i] == '"') {
      if (i + 1 < t.size() && t[i + 1] == '"') {
        out += '"';
        i += 2;
        continue;
      }
      if (i + 1 != t.size()) NotALiteral(t);
      return out;
    }
    out += t[i++];
  }
}

Literal ParseRadix(std::string_view t) {
  // &h, &o, &b: unsigned digits that fit 32 bits; &c: exactly six hex digits.
  const char kind = Lower(t[1]);
  const std::string_view digits = t.substr(2);
  int base = 0;
  switch (kind) {
    case 'h': base = 16; break;
    case 'o': base = 8; break;
    case 'b': base = 2; break;
    case 'c': base = 16; break;
    default: NotALiteral(t);
  }
  uint64_t value = 0;
  const auto [end, ec] = std::from_chars(digits.data(), digits.data() + digits.size(), value, base);
  if (digits.empty() || end != digits.data() + digits.size()) {
    if (kind == 'c') throw UsageError("colour " + Quoted(t) + " must be &c and six hex digits");
    NotALiteral(t);
  }
  if (kind == 'c') {
    if (digits.size() != 6) throw UsageError("colour " + Quoted(t) + " must be &c and six hex digits");
    return static_cast<int64_t>(value);
  }
  if (ec == std::errc::result_out_of_range || value > static_cast<uint64_t>(kMaxInteger)) {
    throw UsageError("integer " + Quoted(t) + " does not fit 32 bits");
  }
  return static_cast<int64_t>(value);
}

Literal ParseNumber(std::string_view t) {
  // [+-] (digits [. [digits]] | . digits) [(e|E) [+-] digits]
  size_t i = 0;
  const bool negative = t[i] == '-';
  if (t[i] == '+' || t[i] == '-') ++i;
  const size_t mantissaStart = i;
  size_t intDigits = 0, fracDigits = 0;
  while (i < t.size() && IsDigit(t[i])) ++i, ++intDigits;
  bool isDouble = false;
  if (i < t.size() && t[i] == '.') {
    isDouble = true;
    ++i;
    while (i < t.size() && IsDigit(t[i])) ++i, ++fracDigits;
  }
  if (intDigits + fracDigits == 0) NotALiteral(t);
  if (i < t.size() && (t[i] == 'e' || t[i] == 'E')) {
    isDouble = true;
    ++i;
    if (i < t.size() && (t[i] == '+' || t[i] == '-')) ++i;
    size_t expDigits = 0;
    while (i < t.size() && IsDigit(t[i])) ++i, ++expDigits;
    if (expDigits == 0) NotALiteral(t);
  }
  if (i != t.size()) NotALiteral(t);

  if (!isDouble) {
    uint64_t magnitude = 0;
    const std::string_view digits = t.substr(mantissaStart);
    const auto [end, ec] = std::from_chars(digits.data(), digits.data() + digits.size(), magnitude);
    const bool tooBig = ec == std::errc::result_out_of_range ||
                        magnitude > static_cast<uint64_t>(negative ? -kMinInteger : kMaxInteger);
    if (tooBig) throw UsageError("integer " + Quoted(t) + " does not fit 32 bits");
    const int64_t value = static_cast<int64_t>(magnitude);
    return negative ? -value : value;
  }
  // from_chars takes a leading '-' but not '+'.
  const std::string_view number = t[0] == '+' ? t.substr(1) : t;
  double value = 0;
  const auto [end, ec] = std::from_chars(number.data(), number.data() + number.size(), value);
  if (ec == std::errc::result_out_of_range || !std::isfinite(value)) {
    throw UsageError("double " + Quoted(t) + " is out of range");
  }
  if (ec != std::errc() || end != number.data() + number.size()) NotALiteral(t);
  return value;
}

// Splits "a, b, c" at the commas that are neither inside a string nor inside
// parentheses, such as those of picture("a, b.png").
std::vector<std::string_view> SplitTopLevel(std::string_view list) {
  std::vector<std::string_view> parts;
  bool inString = false;
  int depth = 0;
  size_t start = 0;
  for (size_t i = 0; i < list.size(); ++i) {
    const char c = list[i];
    if (c == '"') {
      inString = !inString;  // a doubled quote toggles twice
    } else if (inString) {
      continue;
    } else if (c == ',' && depth == 0) {
      parts.push_back(list.substr(start, i - start));
      start = i + 1;
    } else if (c == '(' || c == ')') {
      depth += c == '(' ? 1 : -1;  // balanced: the list lies between a matched pair
    }
  }
  parts.push_back(list.substr(start));
  return parts;
}

// Offset of the ')' that closes the '(' at `open`, skipping strings and nested
// pairs; npos if none.
size_t ClosingParen(std::string_view s, size_t open) {
  bool inString = false;
  int depth = 0;
  for (size_t i = open + 1; i < s.size(); ++i) {
    if (s[i] == '"') inString = !inString;
    if (inString) continue;
    if (s[i] == '(') ++depth;
    if (s[i] == ')' && depth-- == 0) return i;
  }
  return std::string_view::npos;
}

// A declaration cut into name, parameter list (without parentheses) and the rest.
struct DeclarationParts {
  std::string_view name;
  std::optional<std::string_view> params;  // nullopt: no parentheses
  size_t open = 0, close = 0;              // offsets of the parentheses when present
  std::string_view rest;                   // after the name or the ')'
};

DeclarationParts SplitDeclaration(std::string_view d) {
  DeclarationParts parts;
  size_t i = 0;
  while (i < d.size() && IsBlank(d[i])) ++i;
  const size_t nameStart = i;
  while (i < d.size() && IsIdentChar(d[i])) ++i;
  parts.name = d.substr(nameStart, i - nameStart);
  size_t j = i;
  while (j < d.size() && IsBlank(d[j])) ++j;
  if (j < d.size() && d[j] == '(') {
    const size_t close = ClosingParen(d, j);
    if (close != std::string_view::npos) {
      parts.open = j;
      parts.close = close;
      parts.params = d.substr(j + 1, close - j - 1);
      parts.rest = d.substr(close + 1);
      return parts;
    }
  }
  parts.rest = d.substr(i);
  return parts;
}

std::vector<std::string_view> DeclaredParams(std::string_view params) {
  std::vector<std::string_view> out;
  bool inString = false;
  size_t start = 0;
  for (size_t i = 0; i <= params.size(); ++i) {
    if (i < params.size() && params[i] == '"') inString = !inString;
    if (i == params.size() || (!inString && params[i] == ',')) {
      const std::string_view p = Trim(params.substr(start, i - start));
      if (!p.empty()) out.push_back(p);
      start = i + 1;
    }
  }
  return out;
}

bool HasDefault(std::string_view param) {
  bool inString = false;
  for (char c : param) {
    if (c == '"') inString = !inString;
    if (!inString && c == '=') return true;
  }
  return false;
}

bool IsName(std::string_view t) {
  if (t.empty() || !IsIdentStart(t[0])) return false;
  for (char c : t) {
    if (!IsIdentChar(c)) return false;
  }
  return true;
}

// The file name inside picture("...") or file("..."): a non-empty string literal.
std::string FileName(std::string_view form, std::string_view inner) {
  const Literal name = inner.empty() || inner.front() != '"' ? Literal{} : ParseLiteral(inner);
  const std::string* path = std::get_if<std::string>(&name);
  if (path == nullptr || path->empty()) {
    throw UsageError(std::string(form) + "(...) takes a file name in quotes, as in " + std::string(form) +
                     "(\"name\")");
  }
  return *path;
}

// picture("..."), file("...") or table(...); nullopt when `t` is not NAME(...).
std::optional<Argument> ParseFileForm(std::string_view t) {
  size_t i = 0;
  while (i < t.size() && IsIdentChar(t[i])) ++i;
  size_t open = i;
  while (open < t.size() && IsBlank(t[open])) ++open;
  if (i == 0 || !IsIdentStart(t[0]) || open == t.size() || t[open] != '(') return std::nullopt;
  const size_t close = ClosingParen(t, open);
  if (close != t.size() - 1) NotALiteral(t);
  const std::string_view form = t.substr(0, i);
  const std::string_view inner = Trim(t.substr(open + 1, close - open - 1));
  if (EqualsNoCase(form, "picture")) return PictureFile{FileName("picture", inner)};
  if (EqualsNoCase(form, "file")) return FileData{FileName("file", inner)};
  if (EqualsNoCase(form, "hald")) return HaldFile{FileName("hald", inner)};
  if (!EqualsNoCase(form, "table")) {
    throw UsageError(Quoted(t) + " is not a literal; the forms with parentheses are picture(\"file\"), "
                     "file(\"file\"), table(name or \"file\") and hald(\"file\")");
  }
  if (IsName(inner)) {
    if (!BuiltInChannelTable(inner)) {
      throw UsageError("no built-in channel table " + Quoted(inner) + " (" + std::string(kBuiltInChannelTables) +
                       ")");
    }
    return ChannelTable{ToLower(inner), ""};
  }
  return ChannelTable{"", FileName("table", inner)};
}

bool IsKeyword(std::string_view t) {
  return EqualsNoCase(t, "true") || EqualsNoCase(t, "false") || EqualsNoCase(t, "nil");
}

// A literal, self or one of the file forms; a bare name is a word in a setting and
// a variable in an argument (the keywords stay literals).
Argument ParseValue(std::string_view text, bool inSetting) {
  const std::string_view t = Trim(text);
  if (EqualsNoCase(t, "self")) return CurrentPicture{};
  if (auto form = ParseFileForm(t)) return *form;
  if (IsName(t) && !IsKeyword(t)) {
    if (inSetting) return Word{std::string(t)};
    return Variable{std::string(t)};
  }
  return ParseLiteral(t);
}

// Valid UTF-8 without NUL: bytes that read as text.
bool IsText(std::string_view s) {
  for (size_t i = 0; i < s.size();) {
    const auto c = static_cast<unsigned char>(s[i]);
    if (c == 0) return false;
    const size_t length = c < 0x80 ? 1 : (c >> 5) == 6 ? 2 : (c >> 4) == 14 ? 3 : (c >> 3) == 30 ? 4 : 0;
    if (length == 0 || i + length > s.size()) return false;
    uint32_t code = length == 1 ? c : c & (0x7F >> length);
    for (size_t k = 1; k < length; ++k) {
      const auto next = static_cast<unsigned char>(s[i + k]);
      if ((next >> 6) != 2) return false;
      code = code << 6 | (next & 0x3F);
    }
    // No overlong forms, surrogates or code points past U+10FFFF.
    static constexpr uint32_t kLeast[5] = {0, 0, 0x80, 0x800, 0x10000};
    if (code < kLeast[length] || (code >= 0xD800 && code <= 0xDFFF) || code > 0x10FFFF) return false;
    i += length;
  }
  return true;
}

// The first `count` bytes in hex, "..." when there are more.
std::string HexStart(std::string_view bytes, size_t count) {
  std::string out;
  char buf[4];
  for (size_t i = 0; i < bytes.size() && i < count; ++i) {
    std::snprintf(buf, sizeof buf, "%02X", static_cast<unsigned char>(bytes[i]));
    if (i > 0) out += ' ';
    out += buf;
  }
  if (bytes.size() > count) out += " ...";
  return out;
}

}  // namespace

Literal ParseLiteral(std::string_view text) {
  const std::string_view t = Trim(text);
  if (t.empty()) throw UsageError("empty argument");
  if (t.front() == '"') return ParseString(t);
  if (EqualsNoCase(t, "true")) return true;
  if (EqualsNoCase(t, "false")) return false;
  if (EqualsNoCase(t, "nil")) return std::monostate{};
  if (t.front() == '&' && t.size() >= 2) return ParseRadix(t);
  if (t.front() == '#') {
    const bool hex = t.size() == 7 && std::all_of(t.begin() + 1, t.end(), [](char c) {
                       return std::isxdigit(static_cast<unsigned char>(c)) != 0;
                     });
    if (!hex) throw UsageError("colour " + Quoted(t) + " must be # and six hex digits");
    return ParseRadix("&c" + std::string(t.substr(1)));
  }
  if (IsDigit(t.front()) || t.front() == '+' || t.front() == '-' || t.front() == '.') {
    return ParseNumber(t);
  }
  NotALiteral(t);
}

Call ParseCall(std::string_view text) {
  Call call;
  call.text = std::string(text);
  const std::string_view t = Trim(text);
  size_t i = 0;
  if (t.empty() || !IsIdentStart(t[0])) {
    throw UsageError("bad call " + Quoted(text) + ": expected a method name");
  }
  while (i < t.size() && IsIdentChar(t[i])) ++i;
  call.name = std::string(t.substr(0, i));
  while (i < t.size() && IsBlank(t[i])) ++i;
  if (i == t.size()) return call;
  if (t[i] != '(') {
    throw UsageError("bad call " + Quoted(text) + ": expected '(' after " + call.name);
  }
  const size_t close = ClosingParen(t, i);
  if (close == std::string_view::npos) throw UsageError("bad call " + Quoted(text) + ": missing ')'");
  const std::string_view list = t.substr(i + 1, close - i - 1);
  const auto parts = SplitTopLevel(list);
  const auto bad = [&](const std::string& why) { return UsageError("bad call " + Quoted(text) + ": " + why); };
  if (const std::string_view tail = Trim(t.substr(close + 1)); !tail.empty()) {
    if (tail.front() != '=') throw bad("unexpected text after ')'");
    try {
      call.assigned = ParseValue(tail.substr(1), false);
    } catch (const UsageError& e) {
      throw bad("the value assigned: " + std::string(e.what()));
    }
  }
  if (parts.size() == 1 && Trim(parts[0]).empty()) return call;
  for (size_t n = 0; n < parts.size(); ++n) {
    const std::string_view part = Trim(parts[n]);
    size_t nameEnd = 0;
    while (nameEnd < part.size() && IsIdentChar(part[nameEnd])) ++nameEnd;
    size_t eq = nameEnd;
    while (eq < part.size() && IsBlank(part[eq])) ++eq;
    if (nameEnd == 0 || !IsIdentStart(part[0]) || eq == part.size() || part[eq] != '=') {
      try {
        call.args.push_back(ParseValue(part, false));
      } catch (const UsageError& e) {
        throw bad("argument " + std::to_string(n + 1) + ": " + e.what());
      }
      continue;
    }
    Setting setting{std::string(part.substr(0, nameEnd)), {}};
    for (const Setting& earlier : call.settings) {
      if (EqualsNoCase(earlier.name, setting.name)) throw bad(setting.name + " is set twice");
    }
    try {
      setting.value = ParseValue(part.substr(eq + 1), true);
    } catch (const UsageError& e) {
      throw bad("setting " + setting.name + ": " + e.what());
    }
    call.settings.push_back(std::move(setting));
  }
  if (!call.args.empty() && !call.settings.empty()) {
    throw bad("settings (Name=value) and plain arguments cannot be mixed");
  }
  if (call.assigned && !call.settings.empty()) throw bad("a call with settings (Name=value) assigns nothing");
  return call;
}

std::optional<std::vector<uint8_t>> BuiltInChannelTable(std::string_view name) {
  std::vector<uint8_t> table(256);
  for (int i = 0; i < 256; ++i) table[i] = static_cast<uint8_t>(i);
  if (EqualsNoCase(name, "identity")) return table;
  if (EqualsNoCase(name, "invert")) {
    for (uint8_t& v : table) v = static_cast<uint8_t>(255 - v);
    return table;
  }
  return std::nullopt;
}

namespace {

// Whether a word on the command line names a picture rather than a call: calls are
// a name, then parentheses or nothing.
bool LooksLikeInput(const std::string& word) {
  if (word == "-") return true;
  const std::string_view head = std::string_view(word).substr(0, word.find('('));
  if (head.find_first_of("./") != std::string_view::npos) return true;
  std::error_code ec;
  return word.find('(') == std::string::npos && std::filesystem::is_regular_file(word, ec);
}

// The long options, for "did you mean".
const std::vector<std::string>& OptionNames() {
  static const std::vector<std::string> names = {
      "--output", "--out-dir", "--jobs", "--flatten", "--quality", "--png-compression", "--max-pixels",
      "--chart", "--no-input", "--save-string", "--save-blocks", "--encoding", "--plugin", "--host-version",
      "--kind", "--layout", "--help", "--version"};
  return names;
}

}  // namespace

Options ParseCommandLine(std::span<const std::string> args) {
  Options options;
  CLI::App app("picture-host", "picture-host");
  app.set_help_flag();
  app.allow_extras();
  bool help = false, version = false, names = false;
  std::vector<std::string> positional;
  std::string encoding, hostVersion, kindName;
  std::optional<uint32_t> layout;
  app.add_flag("-h,--help", help);
  app.add_flag("--version", version);
  app.add_flag("--list-names", names);  // for shell completion
  app.add_option("-o,--output", options.output);
  app.add_option("--out-dir", options.outDir);
  app.add_option("-j,--jobs", options.jobs)->check(CLI::Range(1, 64));
  app.add_flag("--flatten", options.flatten);
  app.add_option("--quality", options.quality)->check(CLI::Range(1, 100));
  app.add_option("--png-compression", options.pngCompression)->check(CLI::Range(0, 9));
  app.add_option("--max-pixels", options.maxPixels)->check(CLI::Range(uint64_t{1}, uint64_t{1} << 40));
  app.add_option("--plugin", options.plugin);
  app.add_flag("--chart", options.chart);
  app.add_flag("--no-input", options.noInput);
  app.add_option("--save-string", options.saveString);
  app.add_option("--save-blocks", options.saveBlocks);
  app.add_option("--encoding", encoding);
  app.add_option("--host-version", hostVersion);
  app.add_option("--kind", kindName);
  app.add_option("--layout", layout)->check(CLI::Range(1, 6));
  app.add_option("words", positional);

  std::vector<std::string> reversed(args.rbegin(), args.rend());
  try {
    app.parse(reversed);
  } catch (const CLI::ParseError& e) {
    throw UsageError(e.what());
  }
  if (help) {
    options.command = Command::kHelp;
    return options;
  }
  if (version) {
    options.command = Command::kVersion;
    return options;
  }
  if (names) {
    options.command = Command::kNames;
    return options;
  }
  for (const std::string& extra : app.remaining()) {
    if (extra == "--") continue;
    std::string message = "unknown option " + Quoted(extra);
    const std::string name = extra.substr(0, extra.find('='));
    if (const std::string near = NearestName(name, OptionNames()); !near.empty()) {
      message += "; did you mean " + near + "?";
    }
    throw UsageError(message + " (see --help)");
  }
  const auto empty = [](const std::optional<std::string>& value, const std::string& what) {
    if (value && value->empty()) throw UsageError("option " + what + " needs a file name");
  };
  empty(options.output, "-o");
  empty(options.outDir, "--out-dir");
  empty(options.saveString, "--save-string");
  empty(options.saveBlocks, "--save-blocks");
  if (app.count("--plugin") > 0 && options.plugin.empty()) throw UsageError("option --plugin needs a path");

  const bool encodingGiven = app.count("--encoding") > 0;
  if (encodingGiven) {
    if (encoding == "int16") options.encoding = SampleEncoding::kInt16;
    else if (encoding == "uint8") options.encoding = SampleEncoding::kUint8;
    else if (encoding == "float32") options.encoding = SampleEncoding::kFloat32;
    else if (encoding == "float64") options.encoding = SampleEncoding::kFloat64;
    else throw UsageError("--encoding " + Quoted(encoding) + ": expected int16, uint8, float32 or float64");
  }
  if (app.count("--host-version") > 0) {
    if (EqualsNoCase(hostVersion, "none")) {
      options.host.version = std::nullopt;
    } else {
      double value = 0;
      const auto [end, ec] = std::from_chars(hostVersion.data(), hostVersion.data() + hostVersion.size(), value);
      if (hostVersion.empty() || ec != std::errc() || end != hostVersion.data() + hostVersion.size() ||
          !std::isfinite(value) || value < 0) {
        throw UsageError("--host-version " + Quoted(hostVersion) + ": expected a version such as 2019.011, or none");
      }
      options.host.version = value;
    }
  }
  if (app.count("--kind") > 0) {
    if (kindName == "desktop") options.host.kind = testhost::HostKind::kDesktop;
    else if (kindName == "console") options.host.kind = testhost::HostKind::kConsole;
    else if (kindName == "web") options.host.kind = testhost::HostKind::kWeb;
    else throw UsageError("--kind " + Quoted(kindName) + ": expected desktop, console or web");
  }
  if (layout) {
    if (options.host.kind != testhost::HostKind::kDesktop) throw UsageError("--layout applies to desktop hosts only");
    options.layout = layout;
    // Results come in the byte order of the input: A first for 2, 4 and 6.
    const bool alphaFirst = *layout % 2 == 0;
    options.host.newPictureAlphaInfo = alphaFirst ? 6 : 5;
    options.host.alphaPictureAlphaInfo = alphaFirst ? 2 : 1;
  }

  if (options.chart && options.noInput) throw UsageError("--chart and --no-input exclude each other");
  const bool pictureInput = !options.chart && !options.noInput;
  const std::string command = pictureInput && !positional.empty() ? positional[0] : "";
  if (command == "list") {
    options.command = Command::kList;
    if (positional.size() > 1) throw UsageError("list takes no calls");
    if (options.output) throw UsageError("list writes no picture; drop -o");
    return options;
  }
  if (command == "describe") {
    options.command = Command::kDescribe;
    if (positional.size() != 2) throw UsageError("describe takes one method or class name, as in describe InvertZRK");
    options.topic = positional[1];
    return options;
  }
  if (command == "gallery") {
    options.command = Command::kGallery;
    if (positional.size() < 2 || positional.size() > 3) throw UsageError("gallery takes a folder and at most one picture");
    options.topic = positional[1];
    if (positional.size() == 3) options.inputs.push_back(positional[2]);
    return options;
  }
  if (command == "render") {
    options.command = Command::kRender;
    positional.erase(positional.begin());
    if (positional.empty()) throw UsageError("render needs a sound file (see --help)");
    options.inputs.push_back(positional[0]);
    positional.erase(positional.begin());
  } else if (encodingGiven) {
    throw UsageError("--encoding applies to render only");
  }
  size_t first = 0;
  if (options.command == Command::kRun && pictureInput) {
    if (positional.empty()) throw UsageError("no input picture given (see --help)");
    if (!LooksLikeInput(positional[0])) {
      throw UsageError("no input picture given before the call " + Quoted(positional[0]) + " (see --help)");
    }
    while (first < positional.size() && (first == 0 || LooksLikeInput(positional[first]))) {
      options.inputs.push_back(positional[first++]);
    }
  }
  for (size_t n = first; n < positional.size(); ++n) {
    if (LooksLikeInput(positional[n]) && positional[n].find('(') == std::string::npos) {
      throw UsageError(Quoted(positional[n]) + " looks like a picture; inputs come before the calls");
    }
    options.calls.push_back(ParseCall(positional[n]));
  }
  const bool pattern = options.output && options.output->find("{name}") != std::string::npos;
  if (options.inputs.size() > 1 && options.output && !pattern) {
    throw UsageError("several inputs need --out-dir DIR or an output pattern such as -o '{name}-new.png'; -o " +
                     Quoted(*options.output) + " names one file");
  }
  if (options.outDir && options.command != Command::kRun && options.command != Command::kRender) {
    throw UsageError("--out-dir applies to runs only");
  }
  if (options.output == "-" && (options.outDir || options.inputs.size() > 1)) {
    throw UsageError("-o - writes one picture to standard output; it takes one input and no --out-dir");
  }
  if (std::count(options.inputs.begin(), options.inputs.end(), "-") > 1) {
    throw UsageError("standard input (-) can be read once");
  }
  if (options.command == Command::kRender) {
    // The render call comes first, written out or not.
    if (options.calls.empty() || !EqualsNoCase(options.calls[0].name, kRenderMethod)) {
      Call render;
      render.text = render.name = std::string(kRenderMethod);
      options.calls.insert(options.calls.begin(), std::move(render));
    }
    const Call& render = options.calls[0];
    if (!render.args.empty() || render.assigned) {
      throw UsageError(Quoted(render.text) + ": render passes the sound itself; give the other parameters as "
                       "settings, as in " + std::string(kRenderMethod) + "(Width=800, Height=200)");
    }
  }
  return options;
}

std::optional<std::string> OutputFor(const Options& options, const std::string& input) {
  if (!options.output && !options.outDir) return std::nullopt;
  const std::filesystem::path in(input);
  const std::string stem = input == "-" ? "stdin" : in.stem().string();
  std::string name;
  if (options.output) {
    name = *options.output;
    for (size_t at = 0; (at = name.find("{name}", at)) != std::string::npos; at += stem.size()) {
      name.replace(at, 6, stem);
    }
  } else {
    std::string extension = ToLower(in.extension().string());
    static const std::vector<std::string> kWritten = {".png", ".jpg", ".jpeg", ".webp", ".tif", ".tiff"};
    if (std::find(kWritten.begin(), kWritten.end(), extension) == kWritten.end()) extension = ".png";
    name = stem + extension;
  }
  if (options.outDir) return (std::filesystem::path(*options.outDir) / name).string();
  return name;
}

std::string NearestName(std::string_view word, std::span<const std::string> candidates) {
  const std::string w = ToLower(word);
  std::string best;
  size_t bestDistance = std::string::npos;
  for (const std::string& candidate : candidates) {
    const std::string c = ToLower(candidate);
    // Levenshtein distance, one row at a time.
    std::vector<size_t> row(c.size() + 1);
    for (size_t j = 0; j <= c.size(); ++j) row[j] = j;
    for (size_t i = 1; i <= w.size(); ++i) {
      size_t diagonal = row[0];
      row[0] = i;
      for (size_t j = 1; j <= c.size(); ++j) {
        const size_t above = row[j];
        row[j] = std::min({row[j] + 1, row[j - 1] + 1, diagonal + (w[i - 1] == c[j - 1] ? 0 : 1)});
        diagonal = above;
      }
    }
    if (row[c.size()] < bestDistance) bestDistance = row[c.size()], best = candidate;
  }
  // A slip: a third of the word at most, and never nothing in common.
  if (bestDistance == 0 || bestDistance == std::string::npos || bestDistance > std::max<size_t>(2, w.size() / 3)) {
    return bestDistance == 0 ? best : "";
  }
  return best;
}

std::optional<IntegerRange> IntegerRangeOf(std::string_view type) {
  const std::string t = ToLower(type);
  if (t == "integer" || t == "int32") return IntegerRange{INT32_MIN, INT32_MAX};
  if (t == "int8") return IntegerRange{INT8_MIN, INT8_MAX};
  if (t == "int16" || t == "short") return IntegerRange{INT16_MIN, INT16_MAX};
  if (t == "int64") return IntegerRange{INT64_MIN, INT64_MAX};
  if (t == "uint8" || t == "byte") return IntegerRange{0, UINT8_MAX};
  if (t == "uint16") return IntegerRange{0, UINT16_MAX};
  if (t == "uint32" || t == "color" || t == "uint64") return IntegerRange{0, UINT32_MAX};
  return std::nullopt;
}

std::string UsageText() {
  return R"(Usage: picture-host [options] INPUT... CALL... [-o OUTPUT | --out-dir DIR]
  or:  picture-host [options] --chart CALL... [-o OUTPUT]
  or:  picture-host [options] --no-input CALL... [-o OUTPUT]
  or:  picture-host [options] render SOUND [CALL...] [-o OUTPUT]
  or:  picture-host [options] list
  or:  picture-host [options] describe NAME
  or:  picture-host [options] gallery DIR [INPUT]

Runs the picture plug-in in a test host: lends it each INPUT as a picture and
makes each CALL on it, in order, then writes the last picture to OUTPUT.
  picture-host photo.jpg 'InvertZRK(10, 10, 200, 100)' InvertGrayZRK -o out.png

Pictures: INPUT is any file libvips reads (PNG, JPEG, WebP, TIFF, GIF, ...),
or - for standard input; it is turned upright by its EXIF orientation, and a
picture of more than 8 bits a channel is reduced to 8 (said once). OUTPUT's
extension chooses the format: .png, .jpg/.jpeg (--quality), .webp (--quality)
or .tif/.tiff; - writes PNG to standard output (printed values then go to
standard error). The file is written under a temporary name beside it and
renamed into place, so a run that fails leaves any earlier file, and the input,
as they were. A picture whose header gives a side over 32767 or more pixels
than --max-pixels is refused before it is decoded.

Transparency: an INPUT with alpha is lent with its own colours, and a result
of the same size (what every operation but the channel composition of pictures
of other sizes, the waveform and the binary string returns) is written with the
input's alpha back on, straight; a setter that changes the picture in place keeps
the alpha bytes it leaves. JPEG holds no alpha. --flatten lends the picture
premultiplied, as the host holds it, and writes the plug-in's opaque result:
the picture flattened onto black.

Several inputs: picture-host a.jpg b.png c.tif CALL... --out-dir DIR writes
DIR/a.jpg, DIR/b.png, ...; -o '{name}-new.png' names each output after its input
({name} is the input's name without extension). Each input runs in a process of
its own, -j N at a time; one that fails does not stop the others. A progress
line shows on a terminal, and a summary line (done, failed) ends the run; the
exit status is 2 when any input failed.

A CALL names a method or a plug-in class:
  Method(arg, ...)        an extension method of the current picture or, when
                          none takes these arguments, a global method; self
                          passes the current picture:
                            'TintPictureZRK(self, &c808080, #FFC080)'
  Method(arg, ...) = value
                          assigns through the setter of that name on the
                          current picture, which changes in place:
                            'EmbeddedMaskZRK(false) = picture("mask.png")'
  Class(Name=value, ...)  a new instance of a plug-in class takes the current
                          picture as SourcePicture and each setting, then Run;
                          its DestinationPicture becomes the current picture:
                            'PictureSepiaZRK(SepiaRed=40, SepiaBlue=-20)'
A call that returns a picture makes it the current picture; any other result is
printed as NAME = value, and so is each byref argument after the call. Without
-o or --out-dir nothing is written. A name the plug-in does not know is
refused with the nearest one it does.

Arguments and settings are host-text literals or self: 12, -3, &hFF, 1.5, true,
false, nil, &cFF8000 or #FF8000 (a colour), "text" (a quote inside is written
twice), and:
  picture("b.png")   a picture read from a file, lent like INPUT:
                       'MergePictureZRK(self, picture("b.png"))'
  file("data.bin")   a file's bytes, as a memoryblock or a string, whichever the
                     parameter takes: 'BinaryStringtoPictureZRK(file("p.ppic"))'
  table(invert)      a 256-byte channel table in a memoryblock: byte i is the new
                     value of i; built in (identity, invert) or read from a file
                     of exactly 256 bytes, table("curve.bin"):
                       'TransformColorsZRK(table(invert), table(identity), table("b.bin"))'
  NAME               a variable (arguments only): it starts empty (0, 0.0,
                     false, "" or nil, by the parameter's type), takes what a
                     byref parameter leaves in it, is printed as NAME = value
                     after the call and keeps its value for later calls:
                       'FindPictureZRK(picture("pattern.png"), x, y)' 'InvertZRK(x, y, 8, 8)'
                       'CountColorsZRK(red, green, blue, count)'
An integer must lie in its parameter's range (integer: -2147483648 to
2147483647; color and UInt32: 0 to 4294967295). A memoryblock prints as its
size and, for 1024 bytes (256 counters, as the histograms are), the counters'
total, the values counted and the peak; other sizes show their first bytes. A
string that is not text prints as its size and first bytes; --save-string
writes it whole.

A lookup table's lattice, the indexed property Table(r, g, b, x), is set whole,
node i standing for the channel value 17*i, from:
  Table=warm            a built-in table: identity, invert or warm
  Table="grade.cube"    a colour lookup file OpenColorIO reads: .cube (any
                        LUT_3D_SIZE, DOMAIN_MIN/DOMAIN_MAX), .3dl, .csp, .spi3d...
  Table=hald("h.png")   a Hald picture (L*L*L pixels a side)
  Table="nodes.txt"     lines "r g b  red green blue": a node's indices (0 to 17)
                        and its output in channel units; '#' starts a comment;
                        nodes not given map to themselves
Files are sampled at the lattice's nodes.

render reads SOUND (WAV or FLAC), mixes its channels to mono and calls
RenderSamplesZRK with the samples in a memoryblock (Samples, SampleCount and
Bits are filled in); the waveform becomes the current picture, on which any
further CALL works. The other parameters are settings of a first call naming
the method; one not given takes its declared default, Width the sample count
up to 1000 and the rest 0 (Smooth off, Height 500, no outline):
  picture-host render song.wav 'RenderSamplesZRK(Width=1200, Height=300, outlinewidth=1)' -o wave.png

list prints every method and class the plug-in registers, by family, with a
one-line summary; describe NAME says what one does, its parameters with their
units and ranges, the quirks kept on purpose and an example. gallery DIR runs
every example on INPUT (default: a generated photo-like picture) and on the
colour chart and writes DIR/index.html with the pictures before and after, the
values, histograms, found positions and a waveform; it prints the page's path.

Options:
  -o, --output FILE    write the final picture to FILE (or a {name} pattern)
  --out-dir DIR        write each input's result to DIR (made when missing)
  -j, --jobs N         inputs run N at a time (default 1)
  --flatten            lend pictures with alpha premultiplied and write the
                       plug-in's opaque result
  --quality Q          JPEG and WebP quality, 1 to 100 (default 90)
  --png-compression C  PNG compression, 0 (none) to 9 (default 1: fast)
  --max-pixels N       refuse pictures of more pixels (default 268435456)
  --chart              use the built-in 256x128 colour chart instead of INPUT
  --no-input           start without a picture: self is nil until a call
                       returns one
  --save-string FILE   write the last string a call returned to FILE, byte
                       for byte
  --save-blocks DIR    also write each memoryblock printed to DIR/NAME.bin
  --encoding E         render: the samples as int16 (default, Bits 15),
                       uint8 (Bits 8), float32 (Bits -32) or float64 (Bits -64)
  --plugin PATH        the plug-in to load (default: picture_plugin.so beside
                       this program)
  --host-version V     the version the host reports (default 2019.011;
                       none: the host does not answer)
  --kind KIND          desktop, console or web (default desktop)
  --layout N           desktop only: the alpha information (1-6) of the
                       input picture; default 5, or 1 for a picture with an
                       alpha channel (which needs 1 to 4). Pictures the host
                       makes use the same byte order.
  -h, --help           show this text
  --version            show the version

Exit status: 0 success; 1 the plug-in left references, locks or exceptions
unbalanced in the host's ledger, or crashed; 2 any other error.
)";
}

std::string DeclaredName(std::string_view declaration) {
  return std::string(SplitDeclaration(declaration).name);
}

std::string DeclaredResultType(std::string_view declaration) {
  const std::string_view rest = Trim(SplitDeclaration(declaration).rest);
  if (!StartsWithNoCase(rest, "as") || rest.size() < 3 || !IsBlank(rest[2])) return "";
  return ToLower(Trim(rest.substr(2)));
}

Arity DeclaredArity(std::string_view declaration) {
  Arity arity;
  const auto parts = SplitDeclaration(declaration);
  if (!parts.params) return arity;
  for (std::string_view p : DeclaredParams(*parts.params)) {
    if (StartsWithNoCase(p, "extends ") || StartsWithNoCase(p, "assigns ")) continue;
    ++arity.max;
    if (!HasDefault(p)) ++arity.min;
  }
  return arity;
}

std::vector<Param> PassedParams(std::string_view declaration) {
  std::vector<Param> out;
  const auto parts = SplitDeclaration(declaration);
  if (!parts.params) return out;
  for (std::string_view p : DeclaredParams(*parts.params)) {
    if (StartsWithNoCase(p, "extends ") || StartsWithNoCase(p, "assigns ")) continue;
    Param param;
    if (StartsWithNoCase(p, "byref ")) {
      param.byref = true;
      p = Trim(p.substr(6));
    } else if (StartsWithNoCase(p, "byval ")) {
      p = Trim(p.substr(6));
    }
    size_t end = 0;
    while (end < p.size() && IsIdentChar(p[end])) ++end;
    param.name = std::string(p.substr(0, end));
    std::string_view rest = Trim(p.substr(end));
    if (StartsWithNoCase(rest, "as") && rest.size() > 2 && IsBlank(rest[2])) {
      rest = rest.substr(2);
      param.type = ToLower(Trim(rest.substr(0, rest.find('='))));
      if (const size_t eq = rest.find('='); eq != std::string_view::npos) {
        param.defaultText = std::string(Trim(rest.substr(eq + 1)));
      }
    }
    out.push_back(std::move(param));
  }
  return out;
}

std::string ExtensionForm(std::string_view declaration) {
  const auto parts = SplitDeclaration(declaration);
  if (!parts.params) return std::string(declaration);
  const std::string_view params = *parts.params;
  const std::string_view first = Trim(params);
  if (!StartsWithNoCase(first, "extends ")) return std::string(declaration);

  const size_t firstStart = static_cast<size_t>(first.data() - declaration.data());
  const size_t comma = declaration.find(',', firstStart);
  std::string out;
  if (comma == std::string_view::npos || comma > parts.close) {
    // The extends parameter was the only one: drop the parentheses too.
    out = std::string(declaration.substr(0, parts.open));
    while (!out.empty() && IsBlank(out.back())) out.pop_back();
    out += declaration.substr(parts.close + 1);
  } else {
    size_t next = comma + 1;
    while (next < parts.close && IsBlank(declaration[next])) ++next;
    out = std::string(declaration.substr(0, parts.open + 1));
    out += declaration.substr(next);
  }
  return out;
}

std::string AssignedType(std::string_view declaration) {
  const auto parts = SplitDeclaration(declaration);
  if (parts.params) {
    for (std::string_view p : DeclaredParams(*parts.params)) {
      if (!StartsWithNoCase(p, "assigns ")) continue;
      const std::string lower = ToLower(p);
      const size_t as = lower.find(" as ");
      return as == std::string::npos ? "" : std::string(Trim(std::string_view(lower).substr(as + 4)));
    }
  }
  return DeclaredResultType(declaration);
}

std::string SetterForm(std::string_view declaration) {
  const auto parts = SplitDeclaration(declaration);
  if (parts.params) {
    for (std::string_view p : DeclaredParams(*parts.params)) {
      if (StartsWithNoCase(p, "assigns ")) return std::string(declaration);
    }
  }
  const std::string_view rest = Trim(parts.rest);
  if (!StartsWithNoCase(rest, "as") || rest.size() < 3 || !IsBlank(rest[2])) {
    return std::string(declaration);  // nothing to assign
  }
  std::string out(parts.name);
  out += '(';
  if (parts.params && !Trim(*parts.params).empty()) {
    out += Trim(*parts.params);
    out += ", ";
  }
  out += "assigns value as ";
  out += Trim(rest.substr(2));
  out += ')';
  return out;
}

std::string FormatResult(const Literal& value, std::string_view resultType) {
  if (std::holds_alternative<std::monostate>(value)) return "nil";
  if (const bool* b = std::get_if<bool>(&value)) return *b ? "true" : "false";
  if (const int64_t* i = std::get_if<int64_t>(&value)) {
    if (resultType == "color" && *i >= 0 && *i <= 0xFFFFFF) {
      char buf[16];
      std::snprintf(buf, sizeof buf, "&c%06X", static_cast<unsigned>(*i));
      return buf;
    }
    return std::to_string(*i);
  }
  if (const double* d = std::get_if<double>(&value)) {
    char buf[64];
    const auto [end, ec] = std::to_chars(buf, buf + sizeof buf, *d);
    std::string text(buf, ec == std::errc() ? end : buf);
    // Keep a double recognisable as one: 2 prints as 2.0.
    if (text.find_first_of(".eni") == std::string::npos) text += ".0";
    return text;
  }
  // A string, as host text: control characters go in as Chr(n).
  const std::string& s = std::get<std::string>(value);
  if (!IsText(s)) return "string of " + std::to_string(s.size()) + " bytes: " + HexStart(s, 16);
  std::string out = "\"";
  for (unsigned char c : s) {
    if (c == '"') {
      out += "\"\"";
    } else if (c < 0x20 || c == 0x7F) {
      out += "\" + Chr(" + std::to_string(c) + ") + \"";
    } else {
      out += static_cast<char>(c);
    }
  }
  out += '"';
  return out;
}

}  // namespace picture_host

namespace picture_host {

std::string FormatBlock(std::span<const uint8_t> bytes) {
  std::string out = "memoryblock of " + std::to_string(bytes.size()) + " bytes";
  if (bytes.size() != 1024) {
    if (!bytes.empty()) out += ": " + HexStart({reinterpret_cast<const char*>(bytes.data()), bytes.size()}, 16);
    return out;
  }
  uint64_t total = 0;
  int used = 0, lowest = -1, highest = -1, peakAt = 0;
  uint32_t peak = 0;
  for (int i = 0; i < 256; ++i) {
    uint32_t counter = 0;
    std::memcpy(&counter, bytes.data() + 4 * i, 4);  // native byte order, as the plug-in counts
    if (counter == 0) continue;
    total += counter;
    ++used;
    if (lowest < 0) lowest = i;
    highest = i;
    if (counter > peak) peak = counter, peakAt = i;
  }
  if (used == 0) return out + ": 256 counters, all 0";
  return out + ": 256 counters, total " + std::to_string(total) + " in " + std::to_string(used) + " value" +
         (used == 1 ? "" : "s") + " from " + std::to_string(lowest) + " to " + std::to_string(highest) + ", peak " +
         std::to_string(peak) + " at " + std::to_string(peakAt);
}

}  // namespace picture_host
