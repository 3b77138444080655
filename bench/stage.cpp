#include "bench/stage.h"

#include <stdexcept>

namespace bench {

namespace {

// "InvertZRK(extends ref as Picture) as picture" as a program writes it: "InvertZRK as picture".
std::string without_extends(std::string declaration) {
  const size_t at = declaration.find("extends ");
  if (at == std::string::npos) return declaration;
  const size_t close = declaration.find_first_of(",)", at);
  if (declaration[close] == ',') return declaration.erase(at, close + 2 - at);
  declaration.erase(at - 1, close + 1 - (at - 1));  // "(extends ... )" with nothing else inside
  return declaration;
}

size_t argument_count(const std::string& declaration) {
  const size_t open = declaration.find('(');
  if (open == std::string::npos || declaration.find(" as ") < open) return 0;
  size_t count = 1;
  for (size_t i = open; i < declaration.size() && declaration[i] != ')'; ++i) count += declaration[i] == ',';
  return count;
}

}  // namespace

Stage::Stage(Table& table, int32_t layout, int32_t side)
    : table_(table), layout_(layout), side_(side), name_(layout == 8 ? "console 8" : "desktop " + std::to_string(layout)) {
  testhost::HostConfig config;
  config.kind = layout == 8 ? testhost::HostKind::kConsole : testhost::HostKind::kDesktop;
  config.newPictureAlphaInfo = static_cast<uint32_t>(layout == 8 ? 5 : layout);
  config.guardPages = false;  // they would be measured along with the plug-in
  config.picturePool = true;
  host_ = std::make_unique<testhost::Host>(config);
  std::string error;
  if (!host_->LoadPlugin(PICTURE_PLUGIN_PATH, &error)) throw std::runtime_error("the plug-in did not load: " + error);
}

const testhost::Ref& Stage::picture(const std::string& key, const std::function<uint32_t(int32_t, int32_t)>& colour) {
  auto it = pictures_.find(key);
  if (it == pictures_.end()) it = pictures_.emplace(key, painted(*host_, layout_, side_, side_, colour)).first;
  return it->second;
}

const cv::Mat& Stage::matrix(const std::string& key, const std::function<uint32_t(int32_t, int32_t)>& colour) {
  auto it = matrices_.find(key);
  if (it == matrices_.end()) it = matrices_.emplace(key, matrix_of(*host_, picture(key, colour))).first;
  return it->second;
}

std::string Stage::declaration(const std::string& name, size_t args) {
  for (const testhost::Callable& c : host_->Callables()) {
    const std::string shown = without_extends(c.declaration);
    if (shown.compare(0, name.size(), name) == 0 && (shown[name.size()] == '(' || shown[name.size()] == ' ') &&
        argument_count(shown) == args) {
      return shown;
    }
  }
  throw std::runtime_error("no registration of " + name + " with " + std::to_string(args) + " arguments");
}

REALproc Stage::function(const std::string& head) {
  const testhost::Registrations& r = host_->registrations();
  std::vector<const testhost::MethodRecord*> records;
  for (const auto& m : r.methods) records.push_back(&m);
  for (const auto& module : r.modules)
    for (const auto& m : module.methods) records.push_back(&m);
  for (const auto* m : records)
    if (m->declaration.compare(0, head.size(), head) == 0) return m->function;
  throw std::runtime_error("no registration begins with " + head);
}

std::vector<std::string> Stage::finish() {
  matrices_.clear();
  pictures_.clear();
  return host_->LedgerProblems();
}

Label Stage::label(const std::string& operation, std::string note, double traffic, Target target, std::string peer) {
  const double picture_bytes = 4.0 * side_ * side_;
  return Label{name_, operation, std::move(note), traffic * picture_bytes, 0, picture_bytes, std::move(peer), target,
              layout_ != 8};
}

bool gave_object(const testhost::CallResult& r) { return std::holds_alternative<testhost::Ref>(r.value); }

Accept gave(bool expected) {
  return [expected](const testhost::CallResult& r) {
    return std::holds_alternative<bool>(r.value) && std::get<bool>(r.value) == expected;
  };
}

Called calling(std::string what, std::function<testhost::CallResult()> call, Accept accept) {
  auto result = std::make_shared<testhost::CallResult>();
  Work work;
  work.run = [=] {
    *result = call();
    if (!result->ok()) throw std::runtime_error(what + ": " + result->error);
    if (result->exception) throw std::runtime_error(what + " raised " + result->exception->className);
    if (!accept(*result)) throw std::runtime_error(what + " gave an unexpected result");
  };
  work.release = [=] { *result = testhost::CallResult{}; };
  return {std::move(work), result};
}

}  // namespace bench
