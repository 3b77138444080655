// picture-host: runs the picture plug-in in the test host from the command line.
// Reads a PNG or JPEG, lends it to the plug-in as a host picture, calls extension
// methods, global methods and plug-in classes on it in turn and writes the last
// picture out as PNG. See --help.
#include <algorithm>
#include <cctype>
#include <csignal>
#include <cstring>
#include <filesystem>
#include <iostream>
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

// `self` is another reference to the current picture.
Value ToValue(const Argument& argument, const Ref& current, const std::string& what) {
  if (std::holds_alternative<CurrentPicture>(argument)) return current;
  if (const Word* word = std::get_if<Word>(&argument)) {
    throw ToolError(what + ": '" + word->text + "' is neither a literal nor self");
  }
  return std::visit([](const auto& v) -> Value { return v; }, std::get<Literal>(argument));
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
// many arguments as it passes; with `anyArity`, every one of its name.
std::vector<std::string> Reachable(const Plugin& plugin, Scope scope, const Call& call, bool anyArity = false) {
  std::vector<std::string> out;
  for (const auto& c : plugin.callables) {
    if (!InScope(plugin, c, scope) || c.isSetter || !SameName(DeclaredName(c.declaration), call.name)) continue;
    const Arity arity = DeclaredArity(c.declaration);
    if (anyArity || (call.args.size() >= arity.min && call.args.size() <= arity.max)) out.push_back(c.declaration);
  }
  return out;
}

// The result type they declare in lower case; empty when they disagree.
std::string ResultTypeOf(const std::vector<std::string>& declarations) {
  std::optional<std::string> type;
  for (const auto& d : declarations) {
    const std::string t = DeclaredResultType(d);
    if (type && *type != t) return "";
    type = t;
  }
  return type.value_or("");
}

// A value as the tool prints it after "NAME = "; objects by their declared type.
std::string Describe(const Host& host, const Value& value, const std::string& type) {
  if (const Ref* object = std::get_if<Ref>(&value)) {
    if (!*object) return "nil";
    if (type == "memoryblock") return "memoryblock of " + std::to_string(host.Bytes(object->block()).size()) + " bytes";
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

// An extension method on the current picture or, when no extension of that name
// takes the arguments, a global method. A picture result becomes the current
// picture; any other is printed, byref arguments after it.
void RunMethod(Host& host, const Plugin& plugin, const Call& call, Ref& current) {
  if (!call.settings.empty()) {
    throw ToolError(call.text + ": only plug-in classes take settings (Name=value), and " + call.name + " is none");
  }
  std::vector<std::string> reached = Reachable(plugin, Scope::kPicture, call);
  Scope scope = Scope::kPicture;
  // When nothing fits, the host's complaint is about the extension of that name if there is one.
  if (std::vector<std::string> globals = Reachable(plugin, Scope::kGlobal, call);
      reached.empty() && (!globals.empty() || Reachable(plugin, Scope::kPicture, call, true).empty())) {
    scope = Scope::kGlobal;
    reached = std::move(globals);
  }

  std::vector<Value> args;
  for (size_t i = 0; i < call.args.size(); ++i) {
    args.push_back(ToValue(call.args[i], current, call.text + ": argument " + std::to_string(i + 1)));
  }
  testhost::CallResult result;
  {
    InPlugin running(call.text);
    result = scope == Scope::kPicture ? host.CallMethod(current.get(), call.name, std::move(args))
                                      : host.Call(call.name, std::move(args));
  }
  Check(result, call.text);

  const std::string type = ResultTypeOf(reached);
  if (Ref* object = std::get_if<Ref>(&result.value); object && *object && type == "picture") {
    current = std::move(*object);
  } else if (type == "picture") {
    throw ToolError(call.text + " returned nil: the plug-in made no picture");
  } else if (!type.empty() || !std::holds_alternative<std::monostate>(result.value)) {
    std::cout << call.name << " = " << Describe(host, result.value, type) << '\n';
  }
  if (reached.size() == 1) {
    const std::vector<Param> params = PassedParams(reached[0]);
    for (size_t i = 0; i < params.size() && i < result.args.size(); ++i) {
      if (!params[i].byref) continue;
      std::cout << call.name << "." << params[i].name << " = " << Describe(host, result.args[i], params[i].type)
                << '\n';
    }
  }
}

// Fills an indexed property Name(r, g, b, x) of `object` node by node.
void FillLattice(Host& host, const Plugin& plugin, const testhost::ClassRecord& record, const Call& call,
                 const Setting& setting, REALobject object) {
  const std::string what = call.text + ": " + setting.name;
  for (const auto& c : plugin.callables) {
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
          Check(host.Assign(object, setting.name, {int64_t{r}, int64_t{g}, int64_t{b}, int64_t{x}},
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
void RunClass(Host& host, const Plugin& plugin, const testhost::ClassRecord& record, const Call& call, Ref& current) {
  if (!call.args.empty()) {
    throw ToolError(call.text + ": " + record.name + " is a class; it takes settings (Name=value), not arguments");
  }
  InPlugin running(call.text);  // constructor, accessors, Run and destructor
  const Ref object = host.NewInstance(record.name);
  if (!object) throw ToolError(call.text + ": the host could not make a " + record.name);
  Check(host.SetProperty(object.get(), "SourcePicture", current), call.text + ": SourcePicture");

  for (const Setting& setting : call.settings) {
    const bool property = std::any_of(record.properties.begin(), record.properties.end(),
                                      [&](const auto& p) { return SameName(p.name, setting.name); });
    const bool indexed = std::any_of(plugin.callables.begin(), plugin.callables.end(), [&](const auto& c) {
      return c.isSetter && c.owner == record.name && SameName(DeclaredName(c.declaration), setting.name);
    });
    if (property) {
      const Value value = ToValue(setting.value, current, call.text + ": " + setting.name);
      Check(host.SetProperty(object.get(), setting.name, value), call.text);  // the host names the property
    } else if (indexed) {
      FillLattice(host, plugin, record, call, setting, object.get());
    } else {
      throw ToolError(call.text + ": " + record.name + " has no property " + setting.name);
    }
  }

  const testhost::CallResult ran = host.CallMethod(object.get(), "Run", {});
  Check(ran, call.text + ": Run");
  if (const bool* done = std::get_if<bool>(&ran.value); done == nullptr || !*done) {
    throw ToolError(call.text + ": Run returned " + Describe(host, ran.value, "boolean"));
  }
  testhost::CallResult made = host.GetProperty(object.get(), "DestinationPicture");
  Check(made, call.text + ": DestinationPicture");
  Ref* picture = std::get_if<Ref>(&made.value);
  if (picture == nullptr || !*picture) throw ToolError(call.text + ": Run left DestinationPicture nil");
  current = std::move(*picture);
}

// Runs the calls on the input and writes the result. Returns the failure that
// ended the run, if any; every host reference it took is gone when it returns.
std::optional<std::string> RunCalls(Host& host, const Options& options, const Image& input) {
  try {
    const uint32_t layout =
        options.host.kind == testhost::HostKind::kDesktop ? InputLayout(options, input) : 5;
    Ref current = LendPicture(host, input, layout);
    Plugin plugin{host.Callables(), {}};
    for (const auto& c : host.registrations().classes) plugin.classes.insert(c.name);

    const auto& classes = host.registrations().classes;
    for (const Call& call : options.calls) {
      const auto record =
          std::find_if(classes.begin(), classes.end(), [&](const auto& c) { return SameName(c.name, call.name); });
      if (record != classes.end()) {
        RunClass(host, plugin, *record, call, current);
      } else {
        RunMethod(host, plugin, call, current);
      }
    }

    if (options.output) WritePng(*options.output, TakePicture(host, current.picture()));
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
  if (options.command == Command::kRun) input = options.chart ? MakeChart() : ReadImage(options.input);

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
    failure = RunCalls(host, options, *input);
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
