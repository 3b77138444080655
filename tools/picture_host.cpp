// picture-host: runs the picture plug-in in the test host from the command line.
// Reads a PNG or JPEG (or renders a sound file's waveform), lends it to the
// plug-in as a host picture, calls extension methods, setters, global methods and
// plug-in classes on it in turn, with other pictures, files and variables as
// arguments, prints what the calls return and leave in byref arguments, and
// writes the last picture out as PNG. See --help.
#include <algorithm>
#include <atomic>
#include <chrono>
#include <cctype>
#include <csignal>
#include <cstring>
#include <filesystem>
#include <iostream>
#include <limits>
#include <map>
#include <new>
#include <optional>
#include <set>
#include <sstream>
#include <string>
#include <sys/mman.h>
#include <sys/wait.h>
#include <unistd.h>
#include <vips/vips.h>
#include <vector>

#include "host/test_host.h"
#include "tools/catalogue.h"
#include "tools/chart.h"
#include "tools/gallery.h"
#include "tools/cli.h"
#include "tools/image_io.h"
#include "tools/lattice.h"
#include "tools/lending.h"
#include "tools/sound_io.h"

namespace picture_host {
namespace {

using testhost::Host;
using testhost::Ref;
using testhost::Value;

// The getter that reads a picture's alpha out as a grey picture.
constexpr std::string_view kMaskReader = "EmbeddedMaskZRK";

// A failure of a run after the command line was accepted; exit status 2.
class ToolError : public std::runtime_error {
 public:
  using std::runtime_error::runtime_error;
};

// Before every line a run prints: the input's name when several run.
std::string gLinePrefix;

// Every message is one line on stderr, whatever the text it quotes.
void Complain(const std::string& message) {
  std::string line = message;
  for (char& c : line) {
    if (c == '\n' || c == '\r') c = ' ';
  }
  std::cerr << "picture-host: " << gLinePrefix << line << '\n';
}

std::string Lowered(std::string_view s) {
  std::string out(s);
  for (char& c : out) c = static_cast<char>(std::tolower(static_cast<unsigned char>(c)));
  return out;
}

bool SameName(std::string_view a, std::string_view b) {
  if (a.size() != b.size()) return false;
  for (size_t i = 0; i < a.size(); ++i) {
    if (std::tolower(static_cast<unsigned char>(a[i])) != std::tolower(static_cast<unsigned char>(b[i]))) {
      return false;
    }
  }
  return true;
}

// ---- a fault inside the plug-in ends the run with one line, not a core dump ----

char gCrashLine[512] = "picture-host: crashed\n";

// What runs now: a plug-in entry (REALPluginMain, a call's text), or "" for the host.
void SetCrashContext(const std::string& pluginCode) {
  if (pluginCode.empty()) {
    std::snprintf(gCrashLine, sizeof gCrashLine, "picture-host: crashed\n");
  } else {
    std::snprintf(gCrashLine, sizeof gCrashLine, "picture-host: the plug-in crashed in %s\n",
                  pluginCode.c_str());
  }
}

extern "C" void OnCrash(int) {
  const ssize_t ignored = write(STDERR_FILENO, gCrashLine, std::strlen(gCrashLine));
  (void)ignored;
  _exit(1);
}

void CatchCrashes() {
  struct sigaction action {};
  action.sa_handler = OnCrash;
  action.sa_flags = SA_RESETHAND;
  sigemptyset(&action.sa_mask);
  for (int signal : {SIGSEGV, SIGBUS, SIGFPE, SIGILL}) sigaction(signal, &action, nullptr);
}

// ---- pictures ----

std::string DefaultPluginPath() {
  std::error_code ec;
  const std::filesystem::path self = std::filesystem::read_symlink("/proc/self/exe", ec);
  if (ec) return "picture_plugin.so";
  return (self.parent_path() / "picture_plugin.so").string();
}

// The desktop layout the input is lent in; on console and web hosts the host decides.
uint32_t InputLayout(const Options& options, const Image& image) {
  if (!options.layout) return image.alpha ? 1 : 5;
  if (image.alpha && !LayoutHoldsAlpha(static_cast<int32_t>(*options.layout))) {
    throw ToolError("--layout " + std::to_string(*options.layout) +
                    " has no alpha byte; a picture with an alpha channel needs layout 1 to 4");
  }
  return *options.layout;
}

// Unless `premultiply`, a picture with alpha is lent with the file's own colours
// beside its alpha bytes: the plug-in's operations work on colours and write
// opaque pixels, so the colours stay those of the file and the alpha goes back
// on afterwards. Premultiplied, it is lent as the host holds it, and the result
// is the picture flattened onto black.
Ref LendPicture(Host& host, const Image& image, uint32_t layout, bool premultiply) {
  testhost::PictureSpec wanted;
  wanted.width = image.width;
  wanted.height = image.height;
  wanted.alphaInfo = layout;
  wanted.hasAlphaChannel = image.alpha;
  Ref picture = host.NewPicture(wanted);
  if (!picture) throw ToolError("the host could not make a picture of the input");
  // Encode by the layout the host actually gave (the row table on console and web).
  const int32_t lent = host.PixelFormat(picture.picture());
  const bool straight = !premultiply && image.alpha && lent != kRowTableLayout;
  std::vector<testhost::Pixel> row(static_cast<size_t>(image.width));
  for (int32_t y = 0; y < image.height; ++y) {
    for (int32_t x = 0; x < image.width; ++x) {
      const Rgba c = image.Get(x, y);
      row[x] = straight ? testhost::Pixel{c.r, c.g, c.b, c.a} : LendPixel(lent, image.alpha, c);
    }
    host.SetRow(picture.picture(), y, row);
  }
  return picture;
}

// The picture as a file holds it. `input` is the picture that was lent, if it had
// alpha and the result is to keep it: then its colours are read as they lie, and
// the alpha is the input's, or the picture's own when it is the lent picture
// itself (a setter changed it in place).
Image TakePicture(const Host& host, REALpicture picture, const Image* input = nullptr, REALpicture lent = nullptr) {
  const int32_t layout = host.PixelFormat(picture);
  if (layout < 0) throw ToolError("the picture has no pixel buffer to write out");
  const int32_t width = host.Width(picture), height = host.Height(picture);
  if (width < 1 || height < 1 || width > kMaxSide || height > kMaxSide) {
    throw ToolError("the picture is " + std::to_string(width) + "x" + std::to_string(height) +
                    " pixels and cannot be written");
  }
  const bool alpha = host.HasAlphaChannel(picture);
  const bool keep = input != nullptr && input->width == width && input->height == height;
  const bool own = keep && picture == lent && alpha && layout != kRowTableLayout;
  Image image(width, height, keep || alpha);
  std::vector<testhost::Pixel> row(static_cast<size_t>(width));
  for (int32_t y = 0; y < height; ++y) {
    host.GetRow(picture, y, row);
    for (int32_t x = 0; x < width; ++x) {
      const testhost::Pixel p = row[x];
      if (!keep) {
        image.Set(x, y, ReadLentPixel(layout, alpha, p));
        continue;
      }
      const Rgba c = layout == kRowTableLayout ? ReadLentPixel(layout, alpha, p) : Rgba{p.r, p.g, p.b, 255};
      image.Set(x, y, {c.r, c.g, c.b, own ? p.a : input->Get(x, y).a});
    }
  }
  return image;
}

// ---- calls ----

// The plug-in's code runs from here until the scope ends (destructors included).
class InPlugin {
 public:
  explicit InPlugin(const std::string& code) { SetCrashContext(code); }
  ~InPlugin() { SetCrashContext(""); }
  InPlugin(const InPlugin&) = delete;
  InPlugin& operator=(const InPlugin&) = delete;
};

// Turns a call the host did not make, or an exception the plug-in raised, into the run's failure.
void Check(const testhost::CallResult& result, const std::string& what) {
  if (!result.ok()) throw ToolError(what + ": " + result.error);
  if (!result.exception) return;
  std::string text = what + " raised " + result.exception->className;
  if (!result.exception->message.empty()) text += ": " + result.exception->message;
  if (result.exception->errorNumber != 0) text += " (error " + std::to_string(result.exception->errorNumber) + ")";
  throw ToolError(text);
}

struct Plugin {
  std::vector<testhost::Callable> callables;
  std::set<std::string> classes;
};

// Who owns the methods a call may reach.
enum class Scope { kPicture, kGlobal };

bool InScope(const Plugin& plugin, const testhost::Callable& c, Scope scope) {
  if (scope == Scope::kPicture) return SameName(c.owner, "Picture");
  return !SameName(c.owner, "Picture") && !plugin.classes.count(c.owner);  // unowned, or in a module
}

// The declarations a call may reach: those of its name in `scope` that take as
// many arguments as it passes; with `anyArity`, every one of its name. Setters
// for an assignment, the other methods for a call.
std::vector<std::string> Reachable(const Plugin& plugin, Scope scope, const Call& call, bool anyArity = false) {
  std::vector<std::string> out;
  for (const auto& c : plugin.callables) {
    if (!InScope(plugin, c, scope) || c.isSetter != call.assigned.has_value() ||
        !SameName(DeclaredName(c.declaration), call.name)) {
      continue;
    }
    const Arity arity = DeclaredArity(c.declaration);
    if (anyArity || (call.args.size() >= arity.min && call.args.size() <= arity.max)) out.push_back(c.declaration);
  }
  return out;
}

// What every one of `declarations` says, or empty when they disagree.
template <typename F>
std::string Agreed(const std::vector<std::string>& declarations, F of) {
  std::optional<std::string> agreed;
  for (const auto& d : declarations) {
    const std::string t = of(d);
    if (agreed && *agreed != t) return "";
    agreed = t;
  }
  return agreed.value_or("");
}

std::string ResultTypeOf(const std::vector<std::string>& declarations) {
  return Agreed(declarations, [](const std::string& d) { return DeclaredResultType(d); });
}

// The type of the parameter at `index` in lower case; empty when unknown or the overloads disagree.
std::string ParamTypeOf(const std::vector<std::string>& declarations, size_t index) {
  return Agreed(declarations, [&](const std::string& d) {
    const std::vector<Param> params = PassedParams(d);
    return index < params.size() ? params[index].type : std::string();
  });
}

// How messages name the argument at `index`: "CALL: NAME", or "CALL: argument N"
// when the overloads name it differently.
std::string ArgumentWhat(const std::vector<std::string>& declarations, size_t index, const Call& call) {
  const std::string name = Agreed(declarations, [&](const std::string& d) {
    const std::vector<Param> params = PassedParams(d);
    return index < params.size() ? params[index].name : std::string();
  });
  return call.text + ": " + (name.empty() ? "argument " + std::to_string(index + 1) : name);
}

bool IsIntegerType(const std::string& type) {
  static const std::set<std::string> kIntegers = {"integer", "int8",  "int16",  "int32",  "int64", "uint8",
                                                  "uint16",  "uint32", "uint64", "color", "byte",  "short"};
  return kIntegers.count(type) > 0;
}

// What a variable of `type` holds before anything is put in it, as the host's Dim gives it.
Value EmptyValue(const std::string& type) {
  if (IsIntegerType(type)) return int64_t{0};
  if (type == "double" || type == "single" || type == "currency") return 0.0;
  if (type == "boolean") return false;
  if (type == "string") return std::string();
  return std::monostate{};
}

// One run: the host, the current picture, the variables the calls made, and
// the last string a call returned. Everything it holds goes when it does.
class Session {
 public:
  Session(Host& host, const Options& options, std::ostream& out = std::cout)
      : host_(host), options_(options), out_(out) {
    plugin_.callables = host.Callables();
    for (const auto& c : host.registrations().classes) plugin_.classes.insert(c.name);
  }

  Ref& current() { return current_; }
  const std::optional<std::string>& lastString() const { return lastString_; }
  // The current picture holds alpha values as grey (the mask reader's result): it is written as it is.
  bool currentIsMask() const { return currentIsMask_; }
  // A variable's value by name, any case; null when no call made it.
  const Value* VariableValue(const std::string& name) const {
    const auto found = variables_.find(Lowered(name));
    return found == variables_.end() ? nullptr : &found->second.second;
  }

  // A picture of a file, lent like the input: in the layout --layout asks for on
  // a desktop host, in the host's own elsewhere.
  Ref Lend(const Image& image) {
    const uint32_t layout = options_.host.kind == testhost::HostKind::kDesktop ? InputLayout(options_, image) : 5;
    return LendPicture(host_, image, layout, options_.flatten);
  }

  void Run(const Call& call) {
    const auto& classes = host_.registrations().classes;
    const auto record =
        std::find_if(classes.begin(), classes.end(), [&](const auto& c) { return SameName(c.name, call.name); });
    if (record == classes.end()) CheckKnown(call);
    if (record != classes.end()) {
      RunClass(*record, call);
    } else if (call.assigned) {
      RunAssignment(call);
    } else {
      RunMethod(call);
    }
  }

  // The sound's samples through the render global; its picture becomes the current one.
  void Render(const Sound& sound, const Call& call);

  void SaveString(const std::string& path) const {
    if (!lastString_) throw ToolError("--save-string: no call returned a string");
    WriteFileBytes(path, {reinterpret_cast<const uint8_t*>(lastString_->data()), lastString_->size()});
  }

 private:
  // A name the plug-in never registered ends the run, suggesting the nearest one.
  void CheckKnown(const Call& call) const {
    std::vector<std::string> names;
    for (const auto& c : plugin_.callables) {
      if (plugin_.classes.count(c.owner)) continue;
      names.push_back(DeclaredName(c.declaration));
      if (SameName(names.back(), call.name)) return;
    }
    names.insert(names.end(), plugin_.classes.begin(), plugin_.classes.end());
    std::string message = call.text + ": the plug-in has no method or class " + call.name;
    if (const std::string near = NearestName(call.name, names); !near.empty()) message += "; did you mean " + near + "?";
    throw ToolError(message + " (see picture-host list)");
  }
  Value ToValue(const Argument& argument, const std::string& type, const std::string& what);
  // NAME = value on stdout; a memory block also to --save-blocks' folder.
  void Print(const std::string& name, const Value& value, const std::string& type);
  void RunMethod(const Call& call);
  void RunAssignment(const Call& call);
  void RunClass(const testhost::ClassRecord& record, const Call& call);
  void FillLattice(const testhost::ClassRecord& record, const Call& call, const Setting& setting, REALobject object);

  Host& host_;
  const Options& options_;
  std::ostream& out_;
  Plugin plugin_;
  Ref current_;
  // By name in lower case, as the host's language tells names apart: the name as first written, and the value.
  std::map<std::string, std::pair<std::string, Value>> variables_;
  std::optional<std::string> lastString_;
  bool currentIsMask_ = false;
};

// A value as the tool prints it after "NAME = "; objects by their declared type.
std::string Describe(const Host& host, const Value& value, const std::string& type) {
  if (const Ref* object = std::get_if<Ref>(&value)) {
    if (!*object) return "nil";
    if (type == "memoryblock") return FormatBlock(host.Bytes(object->block()));
    if (type == "picture") {
      return "picture " + std::to_string(host.Width(object->picture())) + "x" +
             std::to_string(host.Height(object->picture()));
    }
    return type.empty() ? "object" : type;
  }
  const Literal literal = std::visit(
      [](const auto& v) -> Literal {
        if constexpr (std::is_same_v<std::decay_t<decltype(v)>, Ref>) {
          return std::monostate{};  // objects are handled above
        } else {
          return v;
        }
      },
      value);
  return FormatResult(literal, type);
}

Value Session::ToValue(const Argument& argument, const std::string& type, const std::string& what) {
  if (std::holds_alternative<CurrentPicture>(argument)) {
    if (!current_) return std::monostate{};
    return current_;
  }
  if (const Word* word = std::get_if<Word>(&argument)) {
    throw ToolError(what + ": '" + word->text + "' is neither a literal nor self");
  }
  if (std::holds_alternative<HaldFile>(argument)) {
    throw ToolError(what + ": hald(...) is a lookup table's Table, as in PictureLut3DZRK(Table=hald(\"x.png\"))");
  }
  if (const Variable* variable = std::get_if<Variable>(&argument)) {
    auto [at, added] = variables_.try_emplace(Lowered(variable->name), variable->name, std::monostate{});
    if (added) {
      if (type.empty()) {
        variables_.erase(at);
        throw ToolError(what + ": the type of the new variable " + variable->name +
                        " is unclear, as the overloads that fit differ there");
      }
      at->second.second = EmptyValue(type);
    }
    return at->second.second;
  }
  if (const PictureFile* file = std::get_if<PictureFile>(&argument)) {
    try {
      return Lend(ReadImage(file->path, {options_.maxPixels}));
    } catch (const ImageError& e) {
      throw ToolError(what + ": " + e.what());
    }
  }
  const auto block = [&](std::span<const uint8_t> bytes) -> Value {
    if (bytes.size() > static_cast<size_t>(std::numeric_limits<int32_t>::max())) {
      throw ToolError(what + ": " + std::to_string(bytes.size()) + " bytes do not fit a memoryblock");
    }
    Ref made = host_.NewMemoryBlock(static_cast<int32_t>(bytes.size()));
    if (!made) throw ToolError(what + ": the host could not make a memoryblock");
    std::copy(bytes.begin(), bytes.end(), host_.Bytes(made.block()).begin());
    return made;
  };
  if (const FileData* file = std::get_if<FileData>(&argument)) {
    if (type != "memoryblock" && type != "string") {
      throw ToolError(what + ": file(...) is passed as a memoryblock or a string, and this parameter is " +
                      (type.empty() ? "of no one type" : "a " + type));
    }
    std::vector<uint8_t> bytes;
    try {
      bytes = ReadFileBytes(file->path);
    } catch (const ImageError& e) {
      throw ToolError(what + ": " + e.what());
    }
    if (type == "string") return std::string(bytes.begin(), bytes.end());
    return block(bytes);
  }
  if (const ChannelTable* table = std::get_if<ChannelTable>(&argument)) {
    if (type != "memoryblock") {
      throw ToolError(what + ": table(...) is a memoryblock, and this parameter is " +
                      (type.empty() ? "of no one type" : "a " + type));
    }
    if (!table->name.empty()) return block(*BuiltInChannelTable(table->name));
    std::vector<uint8_t> bytes;
    try {
      bytes = ReadFileBytes(table->path);
    } catch (const ImageError& e) {
      throw ToolError(what + ": " + e.what());
    }
    if (bytes.size() != 256) {
      throw ToolError(what + ": the channel table '" + table->path + "' holds " + std::to_string(bytes.size()) +
                      " bytes, not 256");
    }
    return block(bytes);
  }
  const Literal& literal = std::get<Literal>(argument);
  if (const int64_t* integer = std::get_if<int64_t>(&literal)) {
    if (const auto range = IntegerRangeOf(type); range && (*integer < range->min || *integer > range->max)) {
      throw ToolError(what + " is " + std::to_string(*integer) + ", outside the range of " + type + " (" +
                      std::to_string(range->min) + " to " + std::to_string(range->max) + ")");
    }
  }
  return std::visit([](const auto& v) -> Value { return v; }, literal);
}

void Session::Print(const std::string& name, const Value& value, const std::string& type) {
  out_ << gLinePrefix << name << " = " << Describe(host_, value, type) << '\n';
  const Ref* object = std::get_if<Ref>(&value);
  if (!options_.saveBlocks || type != "memoryblock" || object == nullptr || !*object) return;
  std::error_code ec;
  std::filesystem::create_directories(*options_.saveBlocks, ec);
  try {
    WriteFileBytes((std::filesystem::path(*options_.saveBlocks) / (name + ".bin")).string(),
                   host_.Bytes(object->block()));
  } catch (const ImageError& e) {
    throw ToolError(std::string("--save-blocks: ") + e.what());
  }
}

// An extension method on the current picture or, when no extension of that name
// takes the arguments, a global method. A picture result becomes the current
// picture; any other is printed, byref arguments after it.
void Session::RunMethod(const Call& call) {
  if (!call.settings.empty()) {
    throw ToolError(call.text + ": only plug-in classes take settings (Name=value), and " + call.name + " is none");
  }
  std::vector<std::string> reached = Reachable(plugin_, Scope::kPicture, call);
  Scope scope = Scope::kPicture;
  // When nothing fits, the host's complaint is about the extension of that name if there is one.
  if (std::vector<std::string> globals = Reachable(plugin_, Scope::kGlobal, call);
      reached.empty() && (!globals.empty() || Reachable(plugin_, Scope::kPicture, call, true).empty())) {
    scope = Scope::kGlobal;
    reached = std::move(globals);
  }

  std::vector<Value> args;
  for (size_t i = 0; i < call.args.size(); ++i) {
    args.push_back(ToValue(call.args[i], ParamTypeOf(reached, i), ArgumentWhat(reached, i, call)));
  }
  testhost::CallResult result;
  {
    InPlugin running(call.text);
    result = scope == Scope::kPicture ? host_.CallMethod(current_.get(), call.name, std::move(args))
                                      : host_.Call(call.name, std::move(args));
  }
  Check(result, call.text);

  const std::string type = ResultTypeOf(reached);
  if (Ref* object = std::get_if<Ref>(&result.value); object && *object && type == "picture") {
    current_ = std::move(*object);
    currentIsMask_ = SameName(call.name, kMaskReader);
  } else if (type == "picture") {
    throw ToolError(call.text + " returned nil: the plug-in made no picture");
  } else if (!type.empty() || !std::holds_alternative<std::monostate>(result.value)) {
    if (const std::string* text = std::get_if<std::string>(&result.value)) lastString_ = *text;
    Print(call.name, result.value, type);
  }
  if (reached.size() != 1) return;
  const std::vector<Param> params = PassedParams(reached[0]);
  for (size_t i = 0; i < params.size() && i < result.args.size() && i < call.args.size(); ++i) {
    if (!params[i].byref) continue;
    if (const Variable* variable = std::get_if<Variable>(&call.args[i])) {
      auto& [name, value] = variables_.at(Lowered(variable->name));
      value = std::move(result.args[i]);
      Print(name, value, params[i].type);
    } else {
      Print(call.name + "." + params[i].name, result.args[i], params[i].type);
    }
  }
}

// "Name(args) = value": the setter of that name on the current picture, which
// changes in place and stays the current picture.
void Session::RunAssignment(const Call& call) {
  const std::vector<std::string> reached = Reachable(plugin_, Scope::kPicture, call);
  if (reached.empty()) {
    throw ToolError(call.text + ": no setter " + call.name + " of a picture takes " + std::to_string(call.args.size()) +
                    " argument" + (call.args.size() == 1 ? "" : "s"));
  }
  std::vector<Value> args;
  for (size_t i = 0; i < call.args.size(); ++i) {
    args.push_back(ToValue(call.args[i], ParamTypeOf(reached, i), ArgumentWhat(reached, i, call)));
  }
  const std::string type = Agreed(reached, [](const std::string& d) { return AssignedType(d); });
  Value value = ToValue(*call.assigned, type, call.text + ": the value assigned");
  testhost::CallResult result;
  {
    InPlugin running(call.text);
    result = host_.Assign(current_.get(), call.name, std::move(args), std::move(value));
  }
  Check(result, call.text);
}

// Fills an indexed property Name(r, g, b, x) of `object` node by node.
void Session::FillLattice(const testhost::ClassRecord& record, const Call& call, const Setting& setting,
                          REALobject object) {
  const std::string what = call.text + ": " + setting.name;
  for (const auto& c : plugin_.callables) {
    if (c.isSetter && c.owner == record.name && SameName(DeclaredName(c.declaration), setting.name) &&
        PassedParams(c.declaration).size() != 4) {
      throw ToolError(what + " is not indexed by r, g, b and x; only such a table can be filled");
    }
  }
  const Lattice lattice = [&] {
    if (const Word* word = std::get_if<Word>(&setting.value)) {
      if (auto builtIn = BuiltInLattice(word->text)) return *builtIn;
      throw ToolError(what + ": no built-in table '" + word->text + "' (" + std::string(kBuiltInLattices) + ")");
    }
    try {
      if (const HaldFile* hald = std::get_if<HaldFile>(&setting.value)) {
        return HaldLattice(ReadImage(hald->path, {options_.maxPixels}), hald->path);
      }
      const Literal* literal = std::get_if<Literal>(&setting.value);
      const std::string* path = literal ? std::get_if<std::string>(literal) : nullptr;
      if (path == nullptr) {
        throw ToolError(what + " takes a built-in table (" + std::string(kBuiltInLattices) +
                        "), a \"file\" (.cube and the other colour lookup files, or .txt nodes) or hald(\"file\")");
      }
      return ReadTableFile(*path);
    } catch (const LatticeError& e) {
      throw ToolError(what + ": " + e.what());
    } catch (const ImageError& e) {
      throw ToolError(what + ": " + e.what());
    }
  }();
  for (int r = 0; r < kLatticeSide; ++r) {
    for (int g = 0; g < kLatticeSide; ++g) {
      for (int b = 0; b < kLatticeSide; ++b) {
        for (int x = 0; x < 3; ++x) {
          Check(host_.Assign(object, setting.name, {int64_t{r}, int64_t{g}, int64_t{b}, int64_t{x}},
                             lattice[LatticeIndex(r, g, b, x)]),
                what);
        }
      }
    }
  }
}

// A plug-in class run as a program runs it: a new instance gets the current
// picture as SourcePicture and every setting, then Run; its DestinationPicture
// becomes the current picture. The instance goes when this returns.
void Session::RunClass(const testhost::ClassRecord& record, const Call& call) {
  if (!call.args.empty() || call.assigned) {
    throw ToolError(call.text + ": " + record.name + " is a class; it takes settings (Name=value), not arguments");
  }
  InPlugin running(call.text);  // constructor, accessors, Run and destructor
  const Ref object = host_.NewInstance(record.name);
  if (!object) throw ToolError(call.text + ": the host could not make a " + record.name);
  Check(host_.SetProperty(object.get(), "SourcePicture", current_ ? Value(current_) : Value()),
        call.text + ": SourcePicture");

  for (const Setting& setting : call.settings) {
    const auto property = std::find_if(record.properties.begin(), record.properties.end(),
                                       [&](const auto& p) { return SameName(p.name, setting.name); });
    const bool indexed = std::any_of(plugin_.callables.begin(), plugin_.callables.end(), [&](const auto& c) {
      return c.isSetter && c.owner == record.name && SameName(DeclaredName(c.declaration), setting.name);
    });
    if (property != record.properties.end()) {
      const Value value = ToValue(setting.value, Lowered(property->type), call.text + ": " + setting.name);
      Check(host_.SetProperty(object.get(), setting.name, value), call.text);  // the host names the property
    } else if (indexed) {
      FillLattice(record, call, setting, object.get());
    } else {
      throw ToolError(call.text + ": " + record.name + " has no property " + setting.name);
    }
  }

  const testhost::CallResult ran = host_.CallMethod(object.get(), "Run", {});
  Check(ran, call.text + ": Run");
  if (const bool* done = std::get_if<bool>(&ran.value); done == nullptr || !*done) {
    throw ToolError(call.text + ": Run returned " + Describe(host_, ran.value, "boolean"));
  }
  testhost::CallResult made = host_.GetProperty(object.get(), "DestinationPicture");
  Check(made, call.text + ": DestinationPicture");
  Ref* picture = std::get_if<Ref>(&made.value);
  if (picture == nullptr || !*picture) throw ToolError(call.text + ": Run left DestinationPicture nil");
  current_ = std::move(*picture);
  currentIsMask_ = false;
}

void Session::Render(const Sound& sound, const Call& call) {
  const auto callable = std::find_if(plugin_.callables.begin(), plugin_.callables.end(), [&](const auto& c) {
    return InScope(plugin_, c, Scope::kGlobal) && !c.isSetter && SameName(DeclaredName(c.declaration), call.name);
  });
  if (callable == plugin_.callables.end()) {
    throw ToolError("render: the plug-in has no global method " + call.name);
  }
  const std::vector<Param> params = PassedParams(callable->declaration);
  // Filled in here: the samples, their number and their encoding.
  static constexpr std::string_view kFilled[] = {"Samples", "SampleCount", "Bits"};
  for (const Setting& setting : call.settings) {
    const bool known = std::any_of(params.begin(), params.end(), [&](const Param& p) { return SameName(p.name, setting.name); });
    if (!known) {
      std::string names;
      for (const Param& p : params) names += (names.empty() ? "" : ", ") + p.name;
      throw ToolError(call.text + ": " + call.name + " has no parameter " + setting.name + " (" + names + ")");
    }
    for (std::string_view filled : kFilled) {
      if (SameName(setting.name, filled)) {
        throw ToolError(call.text + ": render fills in " + setting.name +
                        (filled == "Bits" ? " from --encoding" : " from the sound"));
      }
    }
  }

  const std::vector<uint8_t> bytes = EncodeSamples(sound.samples, options_.encoding);
  if (bytes.size() > static_cast<size_t>(std::numeric_limits<int32_t>::max())) {
    throw ToolError("render: the sound's " + std::to_string(sound.samples.size()) +
                    " samples do not fit a memoryblock; try --encoding uint8");
  }
  const auto count = static_cast<int64_t>(sound.samples.size());
  std::vector<Value> args;
  for (const Param& param : params) {
    const auto setting = std::find_if(call.settings.begin(), call.settings.end(),
                                      [&](const Setting& s) { return SameName(s.name, param.name); });
    const std::string what = call.text + ": " + param.name;
    if (SameName(param.name, "Samples")) {
      Ref block = host_.NewMemoryBlock(static_cast<int32_t>(bytes.size()));
      if (!block) throw ToolError("render: the host could not make a memoryblock of the samples");
      std::copy(bytes.begin(), bytes.end(), host_.Bytes(block.block()).begin());
      args.push_back(std::move(block));
    } else if (SameName(param.name, "SampleCount")) {
      args.push_back(count);
    } else if (SameName(param.name, "Bits")) {
      args.push_back(int64_t{EncodingBits(options_.encoding)});
    } else if (setting != call.settings.end()) {
      args.push_back(ToValue(setting->value, param.type, what));
    } else if (param.defaultText) {
      try {
        args.push_back(ToValue(ParseLiteral(*param.defaultText), param.type, what));
      } catch (const UsageError& e) {
        throw ToolError(what + ": its declared default " + e.what());
      }
    } else if (SameName(param.name, "Width")) {
      args.push_back(std::min<int64_t>(count, 1000));  // one column a sample, up to a screen's width
    } else {
      args.push_back(EmptyValue(param.type));  // 0: the plug-in's own choice
    }
  }

  testhost::CallResult result;
  {
    InPlugin running(call.text);
    result = host_.Call(call.name, std::move(args));
  }
  Check(result, call.text);
  Ref* picture = std::get_if<Ref>(&result.value);
  if (picture == nullptr || !*picture) throw ToolError(call.text + " returned nil: the plug-in made no picture");
  current_ = std::move(*picture);
}

// Runs the calls on `input` and writes the result. Returns the failure that ended
// the run, if any; every host reference it took is gone when it returns.
std::optional<std::string> RunCalls(Host& host, const Options& options, const std::optional<Image>& input,
                                    const std::optional<Sound>& sound, const std::optional<std::string>& output) {
  try {
    Session session(host, options, output == "-" ? std::cerr : std::cout);
    auto call = options.calls.begin();
    REALpicture lent = nullptr;
    if (sound) {
      session.Render(*sound, *call++);
    } else if (input) {
      session.current() = session.Lend(*input);
      lent = session.current().picture();
    }
    for (; call != options.calls.end(); ++call) session.Run(*call);

    if (options.saveString) session.SaveString(*options.saveString);
    if (output) {
      if (!session.current()) throw ToolError("no picture to write: the run has none");
      const bool keepAlpha = input && input->alpha && !options.flatten && !session.currentIsMask();
      Image result = TakePicture(host, session.current().picture(), keepAlpha ? &*input : nullptr, lent);
      if (options.flatten && result.alpha) {  // opaque, as the plug-in wrote it
        Image opaque(result.width, result.height, false);
        for (size_t i = 0, o = 0; i < result.pixels.size(); i += 4, o += 3) {
          std::copy_n(&result.pixels[i], 3, &opaque.pixels[o]);
        }
        result = std::move(opaque);
      }
      WriteImage(*output, result, {options.quality, options.pngCompression});
    }
    return std::nullopt;
  } catch (const ToolError& e) {
    return e.what();
  } catch (const ImageError& e) {
    return e.what();
  }
}

// A host with the plug-in loaded; a failure to load ends the run.
void LoadPlugin(Host& host, const Options& options) {
  const std::string plugin = options.plugin.empty() ? DefaultPluginPath() : options.plugin;
  std::error_code ec;
  if (!std::filesystem::is_regular_file(plugin, ec)) {
    throw ToolError("cannot load the plug-in '" + plugin + "': no such file");
  }
  CatchCrashes();
  SetCrashContext("REALPluginMain");
  std::string loadError;
  if (!host.LoadPlugin(plugin, &loadError)) {
    throw ToolError("cannot load the plug-in '" + plugin + "': " + loadError);
  }
  SetCrashContext("");
}

// The ledger's account after a run: 1 when the plug-in left it unbalanced, else
// 2 for a failure and 0 for success.
int Settle(const Host& host, const std::optional<std::string>& failure) {
  std::cout.flush();
  const std::vector<std::string> problems = host.LedgerProblems();
  if (!problems.empty()) {
    if (failure) Complain(*failure);
    Complain("the plug-in left the host's ledger unbalanced:");
    for (const auto& p : problems) std::cerr << "  " << p << '\n';
    return 1;
  }
  if (failure) {
    Complain(*failure);
    return 2;
  }
  return 0;
}

// Which overloads of each name were registered, in registration order, by family heading.
void PrintList(const Host& host) {
  std::set<std::string> classes;
  for (const auto& c : host.registrations().classes) classes.insert(c.name);
  std::vector<std::string> names;  // in registration order, each once
  std::map<std::string, std::vector<std::string>> lines;
  const auto add = [&](const std::string& name, const std::string& line) {
    if (std::find(names.begin(), names.end(), name) == names.end()) names.push_back(name);
    auto& group = lines[name];
    // A method registered with its setter and the setter on its own show alike.
    if (std::find(group.begin(), group.end(), line) == group.end()) group.push_back(line);
  };
  for (const auto& c : host.registrations().classes) {
    // Properties are class members too; the host reaches them by name, not by declaration.
    for (const auto& p : c.properties) add(c.name, p.name + " as " + p.type);
    for (const auto& p : c.sharedProperties) add(c.name, "Shared " + p.name + " as " + p.type);
  }
  for (const auto& c : host.Callables()) {
    const bool extension = SameName(c.owner, "Picture");
    std::string line = extension ? ExtensionForm(c.declaration) : c.declaration;
    if (c.isSetter) line = SetterForm(line);
    add(classes.count(c.owner) ? c.owner : DeclaredName(c.declaration), line);
  }
  if (names.empty()) {
    std::cout << "The plug-in registered nothing.\n";
    return;
  }
  std::vector<std::string_view> headings(Families().begin(), Families().end());
  headings.push_back("Not described");
  for (const std::string_view heading : headings) {
    bool first = true;
    for (const std::string& name : names) {
      const CatalogueEntry* entry = FindEntry(name);
      if ((entry ? entry->family : std::string_view("Not described")) != heading) continue;
      if (first) std::cout << (heading == headings.front() ? "" : "\n") << heading << ":\n";
      first = false;
      std::cout << "  " << name;
      if (entry) std::cout << "  - " << entry->summary;
      std::cout << (classes.count(name) ? " (class)" : "") << '\n';
      for (const std::string& line : lines[name]) std::cout << "      " << line << '\n';
    }
  }
  std::cout << "\npicture-host describe NAME tells more.\n";
}

void PrintDescription(const Host& host, const std::string& name) {
  std::vector<std::string> declarations, known;
  std::string registered;
  for (const auto& c : host.registrations().classes) {
    known.push_back(c.name);
    if (SameName(c.name, name)) registered = c.name;
  }
  for (const auto& c : host.Callables()) {
    const std::string declared = DeclaredName(c.declaration);
    known.push_back(declared);
    if (SameName(declared, name) && registered.empty()) registered = declared;
    if (!SameName(declared, name) && !SameName(c.owner, name)) continue;
    std::string line = SameName(c.owner, "Picture") ? ExtensionForm(c.declaration) : c.declaration;
    if (c.isSetter) line = SetterForm(line);
    if (std::find(declarations.begin(), declarations.end(), line) == declarations.end()) declarations.push_back(line);
  }
  const CatalogueEntry* entry = FindEntry(name);
  if (registered.empty()) {
    std::string message = "the plug-in has no method or class " + name;
    if (const std::string near = NearestName(name, known); !near.empty()) message += "; did you mean " + near + "?";
    throw ToolError(message + " (see picture-host list)");
  }
  std::cout << registered;
  if (entry) std::cout << " - " << entry->summary;
  std::cout << "\n\n";
  for (const std::string& line : declarations) std::cout << "  " << line << '\n';
  if (!entry) {
    std::cout << "\nNo description is kept for " << registered << ".\n";
    return;
  }
  // The example writes a picture when the call makes one (or changes the picture in place).
  const auto& classes = host.registrations().classes;
  const bool makesPicture =
      entry->name.starts_with("Scroll") ||
      std::any_of(classes.begin(), classes.end(), [&](const auto& c) { return SameName(c.name, name); }) ||
      std::any_of(declarations.begin(), declarations.end(),
                  [](const std::string& d) { return DeclaredResultType(d) == "picture"; });
  std::string details(entry->details);
  while (details.ends_with('\n')) details.pop_back();
  std::cout << '\n' << details << "\n\nExample:\n  picture-host "
            << (SameName(entry->name, kRenderMethod) ? "render sound.wav '" : "photo.jpg '") << entry->example << "'"
            << (makesPicture ? " -o out.png" : "") << '\n';
}

// ---- the gallery ----

// An outline of `colour`, two pixels wide, around the w x h box at x, y.
void MarkBox(Image& image, int32_t x, int32_t y, int32_t w, int32_t h, Rgba colour) {
  for (int32_t py = y - 2; py < y + h + 2; ++py) {
    for (int32_t px = x - 2; px < x + w + 2; ++px) {
      const bool inside = px >= x && px < x + w && py >= y && py < y + h;
      if (!inside && px >= 0 && py >= 0 && px < image.width && py < image.height) image.Set(px, py, colour);
    }
  }
}

// The files the catalogue's examples name, made from `picture` in the current folder.
void WriteExampleFiles(const Image& picture) {
  Image second(picture.width, picture.height, false), mask(picture.width, picture.height, false);
  for (int32_t y = 0; y < picture.height; ++y) {
    for (int32_t x = 0; x < picture.width; ++x) {
      const Rgba c = picture.Get(picture.width - 1 - x, y);  // mirrored, colours turned round
      second.Set(x, y, {c.b, c.r, c.g});
      const auto v = static_cast<uint8_t>(255 * x / std::max(1, picture.width - 1));
      mask.Set(x, y, {v, v, v});
    }
  }
  const int32_t side = std::min({24, picture.width, picture.height});
  Image pattern(side, side, false);
  for (int32_t y = 0; y < side; ++y) {
    for (int32_t x = 0; x < side; ++x) {
      pattern.Set(x, y, picture.Get(picture.width * 2 / 3 - side / 2 + x < 0 ? x : picture.width * 2 / 3 - side / 2 + x,
                                    picture.height / 3 + y >= picture.height ? y : picture.height / 3 + y));
    }
  }
  WriteImage("second.png", second);
  WriteImage("mask.png", mask);
  WriteImage("pattern.png", pattern);
}

// Every catalogue entry's example on `picture`, its files in the current folder
// (`folder` from the page's), each call in a session of its own.
GallerySection GallerySectionOf(Host& host, const Options& options, const std::string& title,
                                 const std::string& folder, const Image& picture) {
  WriteExampleFiles(picture);
  WriteImage("before.png", picture);
  GallerySection section{title, {}};
  int number = 0;
  for (const CatalogueEntry& entry : Catalogue()) {
    if (SameName(entry.name, kRenderMethod)) continue;  // drawn from a sound below
    GalleryItem item{std::string(entry.example), std::string(entry.summary), std::string(entry.details),
                     folder + "/before.png", "", "", "", {}};
    std::ostringstream printed;
    try {
      const Call call = ParseCall(entry.example);
      Session session(host, options, printed);
      session.current() = session.Lend(picture);
      const REALpicture lent = session.current().picture();
      session.Run(call);
      const std::string file = std::to_string(++number) + "-" + std::string(entry.name) + ".png";
      const bool inPlace = call.assigned.has_value() || entry.name.starts_with("Scroll");
      if (session.current() && (session.current().picture() != lent || inPlace)) {
        const bool keepAlpha = picture.alpha && !options.flatten && !session.currentIsMask();
        WriteImage(file, TakePicture(host, session.current().picture(), keepAlpha ? &picture : nullptr, lent));
        item.after = folder + "/" + file;
      }
      const auto* x = session.VariableValue("x");
      const auto* y = session.VariableValue("y");
      if (SameName(entry.name, "FindPictureZRK") && x && y && std::holds_alternative<int64_t>(*x)) {
        Image marked = picture;
        const Image pattern = ReadImage("pattern.png");
        MarkBox(marked, static_cast<int32_t>(std::get<int64_t>(*x)), static_cast<int32_t>(std::get<int64_t>(*y)),
                pattern.width, pattern.height, {255, 0, 0});
        WriteImage(file, marked);
        item.after = folder + "/" + file;
      }
      for (const Argument& argument : call.args) {
        const auto* variable = std::get_if<Variable>(&argument);
        const Value* value = variable ? session.VariableValue(variable->name) : nullptr;
        const Ref* block = value ? std::get_if<Ref>(value) : nullptr;
        if (block == nullptr || !*block) continue;
        const auto bytes = host.Bytes(block->block());
        if (bytes.size() != 1024) continue;
        GalleryHistogram histogram{variable->name, std::vector<uint32_t>(256)};
        std::memcpy(histogram.counters.data(), bytes.data(), bytes.size());
        item.histograms.push_back(std::move(histogram));
      }
      if (session.lastString()) {
        const std::string& bytes = *session.lastString();
        WriteFileBytes("picture.ppic", {reinterpret_cast<const uint8_t*>(bytes.data()), bytes.size()});
      }
    } catch (const ToolError& e) {
      item.error = e.what();
    } catch (const ImageError& e) {
      item.error = e.what();
    } catch (const UsageError& e) {
      item.error = e.what();
    }
    item.printed = printed.str();
    section.items.push_back(std::move(item));
  }
  return section;
}

int RunGallery(const Options& options) {
  namespace fs = std::filesystem;
  const fs::path folder = fs::absolute(options.topic);
  std::vector<std::pair<std::string, Image>> pictures;
  if (!options.inputs.empty()) {
    pictures.emplace_back(options.inputs[0], ReadImage(options.inputs[0], {options.maxPixels}));
  } else {
    pictures.emplace_back("A generated photo-like picture", MakeScene());
  }
  pictures.emplace_back("The colour chart", MakeChart());
  fs::create_directories(folder);
  const fs::path start = fs::current_path();
  Host host(options.host);
  LoadPlugin(host, options);

  std::vector<GallerySection> sections;
  for (size_t i = 0; i < pictures.size(); ++i) {
    const std::string name = i == 0 ? "picture" : "chart";
    fs::create_directories(folder / name);
    fs::current_path(folder / name);  // where the examples find their files
    sections.push_back(GallerySectionOf(host, options, pictures[i].first, name, pictures[i].second));
  }
  fs::current_path(folder);

  std::vector<double> chord = DecayingChord(1.5, 22050);
  Sound sound{22050, 1, chord};
  WriteSound("chord.wav", chord, 1, 22050);
  std::optional<std::string> failure;
  try {
    Session session(host, options);
    session.Render(sound, ParseCall(FindEntry(kRenderMethod)->example));
    WriteImage("wave.png", TakePicture(host, session.current().picture()));
  } catch (const ToolError& e) {
    failure = std::string("the waveform: ") + e.what();
  }
  const std::string page = GalleryPage(
      sections, "wave.png",
      "chord.wav, a generated chord of 1.5 s, through picture-host render chord.wav '" +
          std::string(FindEntry(kRenderMethod)->example) + "'");
  WriteFileBytes("index.html", {reinterpret_cast<const uint8_t*>(page.data()), page.size()});
  fs::current_path(start);
  const int status = Settle(host, failure);
  if (status == 0) std::cout << (folder / "index.html").string() << '\n';
  return status;
}

// One input through the calls, in this process. `depthNoted` says whether a run
// has told of a picture reduced to 8 bits already (a batch tells it once).
int RunOne(const Options& options, const std::string& input, std::atomic<bool>* depthNoted) {
  std::optional<Image> picture;
  std::optional<Sound> sound;
  const std::optional<std::string> output = options.command == Command::kRender && !options.output && !options.outDir
                                                ? std::nullopt
                                                : OutputFor(options, !input.empty()  ? input
                                                                     : options.chart ? "chart"
                                                                                     : "result");
  try {
    if (output && *output != "-") FormatOfName(*output);  // an unknown extension fails before any work
    if (output && (options.outDir || options.output->find("{name}") != std::string::npos)) {
      std::error_code ec;  // a folder a batch writes to is made; a failure shows when writing
      std::filesystem::create_directories(std::filesystem::path(*output).parent_path(), ec);
    }
    if (options.command == Command::kRender) {
      sound = ReadSound(input);
    } else if (options.chart) {
      picture = MakeChart();
    } else if (!options.noInput) {
      ReadNotes notes;
      picture = ReadImage(input, {options.maxPixels}, &notes);
      if (notes.reducedDepth && !depthNoted->exchange(true)) {
        Complain("note: '" + input + "' has more than 8 bits a channel; the plug-in gets it reduced to 8" +
                 (options.inputs.size() > 1 ? " (and so does any other such input)" : ""));
      }
    }
  } catch (const ImageError& e) {
    Complain(e.what());
    return 2;
  } catch (const SoundError& e) {
    Complain(e.what());
    return 2;
  }
  Host host(options.host);
  LoadPlugin(host, options);
  return Settle(host, RunCalls(host, options, picture, sound, output));
}

// Several inputs, each in a process of its own (the plug-in keeps its state per
// process), at most `jobs` at a time. One that fails does not stop the others.
int RunBatch(const Options& options) {
  const bool showProgress = ::isatty(STDERR_FILENO) != 0;
  const auto start = std::chrono::steady_clock::now();
  std::map<pid_t, std::string> running;
  // Shared by the workers, that one of them gives the 16-bit note.
  void* shared = ::mmap(nullptr, sizeof(std::atomic<bool>), PROT_READ | PROT_WRITE, MAP_SHARED | MAP_ANONYMOUS, -1, 0);
  if (shared == MAP_FAILED) throw ToolError(std::string("cannot share memory with the workers: ") + std::strerror(errno));
  auto* depthNoted = new (shared) std::atomic<bool>(false);
  size_t next = 0, done = 0, failed = 0;
  bool progressShown = false;
  const auto progress = [&] {
    if (!showProgress || std::chrono::steady_clock::now() - start < std::chrono::seconds(1)) return;
    std::cerr << "\r" << done + failed << "/" << options.inputs.size() << " pictures, " << failed << " failed"
              << std::flush;
    progressShown = true;
  };
  std::cout.flush();
  while (next < options.inputs.size() || !running.empty()) {
    while (next < options.inputs.size() && running.size() < static_cast<size_t>(options.jobs)) {
      const std::string& input = options.inputs[next++];
      const pid_t child = ::fork();
      if (child == 0) {
        gLinePrefix = input + ": ";
        int status = 2;
        try {
          status = RunOne(options, input, depthNoted);
        } catch (const std::exception& e) {
          Complain(e.what());
        }
        std::cout.flush();
        std::_Exit(status);
      }
      if (child < 0) {
        Complain("cannot start a worker for '" + input + "': " + std::strerror(errno));
        ++failed;
        continue;
      }
      running.emplace(child, input);
    }
    int status = 0;
    const pid_t ended = ::wait(&status);
    if (ended < 0) break;
    if (running.erase(ended) == 0) continue;
    (WIFEXITED(status) && WEXITSTATUS(status) == 0 ? done : failed) += 1;
    progress();
  }
  ::munmap(shared, sizeof(std::atomic<bool>));
  if (progressShown) std::cerr << "\r\033[K";
  std::cerr << "picture-host: " << done << " done, " << failed << " failed\n";
  return failed == 0 ? 0 : 2;
}

int Run(const std::vector<std::string>& args) {
  const Options options = ParseCommandLine(args);
  switch (options.command) {
    case Command::kHelp:
      std::cout << UsageText();
      return 0;
    case Command::kVersion:
      std::cout << "picture-host " << kVersion << " (libvips " << vips_version_string() << ")\n";
      return 0;
    case Command::kGallery:
      return RunGallery(options);
    case Command::kRun:
    case Command::kRender:
      if (options.inputs.size() > 1) return RunBatch(options);
      if (options.inputs.size() == 1 || options.chart || options.noInput) {
        std::atomic<bool> depthNoted = false;
        return RunOne(options, options.inputs.empty() ? std::string() : options.inputs[0], &depthNoted);
      }
      break;
    default:
      break;
  }
  Host host(options.host);
  LoadPlugin(host, options);
  if (options.command == Command::kList) {
    PrintList(host);
  } else if (options.command == Command::kDescribe) {
    PrintDescription(host, options.topic);
  } else if (options.command == Command::kNames) {
    std::set<std::string> names;
    for (const auto& c : host.registrations().classes) names.insert(c.name);
    for (const auto& c : host.Callables()) {
      if (!names.count(c.owner)) names.insert(DeclaredName(c.declaration));
    }
    for (const std::string& name : names) std::cout << name << '\n';
  }
  return Settle(host, std::nullopt);
}

}  // namespace
}  // namespace picture_host

int main(int argc, char** argv) {
  try {
    return picture_host::Run(std::vector<std::string>(argv + 1, argv + argc));
  } catch (const picture_host::UsageError& e) {
    picture_host::Complain(e.what());
  } catch (const std::bad_alloc&) {
    picture_host::Complain("out of memory");
  } catch (const std::exception& e) {
    picture_host::Complain(e.what());
  } catch (...) {
    picture_host::Complain("unexpected error");
  }
  return 2;
}
