// picture-host: runs the picture plug-in in the test host from the command line.
// Reads a PNG or JPEG, lends it to the plug-in as a host picture, calls extension
// methods on it in turn and writes the last picture out as PNG. See --help.
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

Value ToValue(const Literal& literal) {
  return std::visit([](const auto& v) -> Value { return v; }, literal);
}

// The declarations of the extension methods a call may reach: those of its name
// that take as many arguments as it passes.
std::vector<std::string> Reachable(const std::vector<testhost::Callable>& callables, const Call& call) {
  std::vector<std::string> out;
  for (const auto& c : callables) {
    if (!SameName(c.owner, "Picture") || c.isSetter || !SameName(DeclaredName(c.declaration), call.name)) {
      continue;
    }
    const Arity arity = DeclaredArity(c.declaration);
    if (call.args.size() >= arity.min && call.args.size() <= arity.max) out.push_back(c.declaration);
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

// Runs the calls on the input and writes the result. Returns the failure that
// ended the run, if any; every host reference it took is gone when it returns.
std::optional<std::string> RunCalls(Host& host, const Options& options, const Image& input) {
  try {
    const uint32_t layout =
        options.host.kind == testhost::HostKind::kDesktop ? InputLayout(options, input) : 5;
    Ref current = LendPicture(host, input, layout);
    const std::vector<testhost::Callable> callables = host.Callables();

    for (const Call& call : options.calls) {
      std::vector<Value> args;
      for (const Literal& literal : call.args) args.push_back(ToValue(literal));
      SetCrashContext(call.text);
      testhost::CallResult result = host.CallMethod(current.get(), call.name, std::move(args));
      SetCrashContext("");
      if (!result.ok()) return call.text + ": " + result.error;
      if (result.exception) {
        std::string text = call.text + " raised " + result.exception->className;
        if (!result.exception->message.empty()) text += ": " + result.exception->message;
        if (result.exception->errorNumber != 0) {
          text += " (error " + std::to_string(result.exception->errorNumber) + ")";
        }
        return text;
      }

      const std::vector<std::string> reached = Reachable(callables, call);
      const std::string type = ResultTypeOf(reached);
      if (Ref* object = std::get_if<Ref>(&result.value); object && *object && type == "picture") {
        current = std::move(*object);
      } else if (type == "picture") {
        return call.text + " returned nil: the plug-in made no picture";
      } else if (!type.empty() || !std::holds_alternative<std::monostate>(result.value)) {
        std::cout << call.name << " = " << Describe(host, result.value, type) << '\n';
      }
      // Byref arguments come back as the plug-in left them.
      if (reached.size() == 1) {
        const std::vector<Param> params = PassedParams(reached[0]);
        for (size_t i = 0; i < params.size() && i < result.args.size(); ++i) {
          if (!params[i].byref) continue;
          std::cout << call.name << "." << params[i].name << " = "
                    << Describe(host, result.args[i], params[i].type) << '\n';
        }
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
