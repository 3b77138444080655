// picture-host: runs the picture plug-in in the test host from the command line.
// Reads a PNG or JPEG (or renders a sound file's waveform), lends it to the
// plug-in as a host picture, calls extension methods, setters, global methods and
// plug-in classes on it in turn, with other pictures, files and variables as
// arguments, prints what the calls return and leave in byref arguments, and
// writes the last picture out as PNG. See --help.
#include <algorithm>
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
#include <string>
#include <unistd.h>
#include <vector>

#include "host/test_host.h"
#include "tools/chart.h"
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

// A failure of a run after the command line was accepted; exit status 2.
class ToolError : public std::runtime_error {
 public:
  using std::runtime_error::runtime_error;
};

// Every message is one line on stderr, whatever the text it quotes.
void Complain(const std::string& message) {
  std::string line = message;
  for (char& c : line) {
    if (c == '\n' || c == '\r') c = ' ';
  }
  std::cerr << "picture-host: " << line << '\n';
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

Ref LendPicture(Host& host, const Image& image, uint32_t layout) {
  testhost::PictureSpec wanted;
  wanted.width = image.width;
  wanted.height = image.height;
  wanted.alphaInfo = layout;
  wanted.hasAlphaChannel = image.alpha;
  Ref picture = host.NewPicture(wanted);
  if (!picture) throw ToolError("the host could not make a picture of the input");
  // Encode by the layout the host actually gave (the row table on console and web).
  const int32_t lent = host.PixelFormat(picture.picture());
  for (int32_t y = 0; y < image.height; ++y) {
    for (int32_t x = 0; x < image.width; ++x) {
      host.SetPixel(picture.picture(), x, y, LendPixel(lent, image.alpha, image.Get(x, y)));
    }
  }
  return picture;
}

Image TakePicture(const Host& host, REALpicture picture) {
  const int32_t layout = host.PixelFormat(picture);
  if (layout < 0) throw ToolError("the picture has no pixel buffer to write out");
  const int32_t width = host.Width(picture), height = host.Height(picture);
  if (width < 1 || height < 1 || width > kMaxSide || height > kMaxSide) {
    throw ToolError("the picture is " + std::to_string(width) + "x" + std::to_string(height) +
                    " pixels and cannot be written");
  }
  const bool alpha = host.HasAlphaChannel(picture);
  Image image(width, height, alpha);
  for (int32_t y = 0; y < height; ++y) {
    for (int32_t x = 0; x < width; ++x) {
      image.Set(x, y, ReadLentPixel(layout, alpha, host.GetPixel(picture, x, y)));
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
  Session(Host& host, const Options& options) : host_(host), options_(options) {
    plugin_.callables = host.Callables();
    for (const auto& c : host.registrations().classes) plugin_.classes.insert(c.name);
  }

  Ref& current() { return current_; }

  // A picture of a file, lent like the input: in the layout --layout asks for on
  // a desktop host, in the host's own elsewhere.
  Ref Lend(const Image& image) {
    const uint32_t layout = options_.host.kind == testhost::HostKind::kDesktop ? InputLayout(options_, image) : 5;
    return LendPicture(host_, image, layout);
  }

  void Run(const Call& call) {
    const auto& classes = host_.registrations().classes;
    const auto record =
        std::find_if(classes.begin(), classes.end(), [&](const auto& c) { return SameName(c.name, call.name); });
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
  Value ToValue(const Argument& argument, const std::string& type, const std::string& what);
  // NAME = value on stdout; a memory block also to --save-blocks' folder.
  void Print(const std::string& name, const Value& value, const std::string& type);
  void RunMethod(const Call& call);
  void RunAssignment(const Call& call);
  void RunClass(const testhost::ClassRecord& record, const Call& call);
  void FillLattice(const testhost::ClassRecord& record, const Call& call, const Setting& setting, REALobject object);

  Host& host_;
  const Options& options_;
  Plugin plugin_;
  Ref current_;
  // By name in lower case, as the host's language tells names apart: the name as first written, and the value.
  std::map<std::string, std::pair<std::string, Value>> variables_;
  std::optional<std::string> lastString_;
};

std::string Lowered(std::string_view s) {
  std::string out(s);
  for (char& c : out) c = static_cast<char>(std::tolower(static_cast<unsigned char>(c)));
  return out;
}

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
      return Lend(ReadImage(file->path));
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
  return std::visit([](const auto& v) -> Value { return v; }, std::get<Literal>(argument));
}

void Session::Print(const std::string& name, const Value& value, const std::string& type) {
  std::cout << name << " = " << Describe(host_, value, type) << '\n';
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
    args.push_back(ToValue(call.args[i], ParamTypeOf(reached, i), call.text + ": argument " + std::to_string(i + 1)));
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
    args.push_back(ToValue(call.args[i], ParamTypeOf(reached, i), call.text + ": argument " + std::to_string(i + 1)));
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
    const Literal* literal = std::get_if<Literal>(&setting.value);
    const std::string* path = literal ? std::get_if<std::string>(literal) : nullptr;
    if (path == nullptr) {
      throw ToolError(what + " takes a built-in table (" + std::string(kBuiltInLattices) + ") or a \"file\"");
    }
    try {
      return ReadLattice(*path);
    } catch (const LatticeError& e) {
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

// Runs the calls and writes the result. Returns the failure that ended the run,
// if any; every host reference it took is gone when it returns.
std::optional<std::string> RunCalls(Host& host, const Options& options, const std::optional<Image>& input,
                                    const std::optional<Sound>& sound) {
  try {
    Session session(host, options);
    auto call = options.calls.begin();
    if (sound) {
      session.Render(*sound, *call++);
    } else if (input) {
      session.current() = session.Lend(*input);
    }
    for (; call != options.calls.end(); ++call) session.Run(*call);

    if (options.saveString) session.SaveString(*options.saveString);
    if (options.output) {
      if (!session.current()) throw ToolError("no picture to write: the run has none");
      WritePng(*options.output, TakePicture(host, session.current().picture()));
    }
    return std::nullopt;
  } catch (const ToolError& e) {
    return e.what();
  } catch (const ImageError& e) {
    return e.what();
  }
}

void PrintList(const Host& host) {
  std::set<std::string> classes;
  for (const auto& c : host.registrations().classes) classes.insert(c.name);

  // Headings in order of first appearance; the extension methods come first,
  // then the global methods, then the classes.
  std::vector<std::string> headings = {"Picture extension methods:"};
  std::map<std::string, std::vector<std::string>> lines;
  // Properties are class members too; the host reaches them by name, not by declaration.
  for (const auto& c : host.registrations().classes) {
    const std::string heading = "Class " + c.name + ":";
    headings.push_back(heading);
    for (const auto& p : c.properties) lines[heading].push_back(p.name + " as " + p.type);
    for (const auto& p : c.sharedProperties) lines[heading].push_back("Shared " + p.name + " as " + p.type);
  }
  for (const auto& c : host.Callables()) {
    const bool extension = SameName(c.owner, "Picture");
    const std::string heading = extension              ? headings[0]
                                : c.owner.empty()      ? "Global methods:"
                                : classes.count(c.owner) ? "Class " + c.owner + ":"
                                                       : "Global methods (module " + c.owner + "):";
    std::string line = extension ? ExtensionForm(c.declaration) : c.declaration;
    if (c.isSetter) line = SetterForm(line);
    auto& group = lines[heading];
    if (std::find(headings.begin(), headings.end(), heading) == headings.end()) headings.push_back(heading);
    // A method registered with its setter and the setter on its own show alike.
    if (std::find(group.begin(), group.end(), line) == group.end()) group.push_back(line);
  }

  bool any = false;
  for (bool wantClasses : {false, true}) {
    for (const auto& heading : headings) {
      if (heading.starts_with("Class ") != wantClasses || lines[heading].empty()) continue;
      any = true;
      std::cout << heading << '\n';
      for (const auto& line : lines[heading]) std::cout << "  " << line << '\n';
    }
  }
  if (!any) std::cout << "The plug-in registered nothing.\n";
}

int Run(const std::vector<std::string>& args) {
  const Options options = ParseCommandLine(args);
  if (options.command == Command::kHelp) {
    std::cout << UsageText();
    return 0;
  }

  std::optional<Image> input;
  std::optional<Sound> sound;
  if (options.command == Command::kRun && !options.noInput) {
    input = options.chart ? MakeChart() : ReadImage(options.input);
  }
  if (options.command == Command::kRender) sound = ReadSound(options.input);

  const std::string plugin = options.plugin.empty() ? DefaultPluginPath() : options.plugin;
  std::error_code ec;
  if (!std::filesystem::is_regular_file(plugin, ec)) {
    throw ToolError("cannot load the plug-in '" + plugin + "': no such file");
  }

  Host host(options.host);
  CatchCrashes();
  SetCrashContext("REALPluginMain");
  std::string loadError;
  if (!host.LoadPlugin(plugin, &loadError)) {
    throw ToolError("cannot load the plug-in '" + plugin + "': " + loadError);
  }
  SetCrashContext("");

  std::optional<std::string> failure;
  if (options.command == Command::kList) {
    PrintList(host);
  } else {
    failure = RunCalls(host, options, input, sound);
  }
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

}  // namespace
}  // namespace picture_host

int main(int argc, char** argv) {
  try {
    return picture_host::Run(std::vector<std::string>(argv + 1, argv + argc));
  } catch (const std::bad_alloc&) {
    picture_host::Complain("out of memory");
  } catch (const std::exception& e) {
    picture_host::Complain(e.what());
  } catch (...) {
    picture_host::Complain("unexpected error");
  }
  return 2;
}
