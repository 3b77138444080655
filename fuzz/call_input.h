// One call of any registered method or class member, made from input bytes: the
// method, the receiver and every argument by its declared type, and for a class
// member an instance with properties set first. Shared by the call fuzz target
// and the soak.
#pragma once

#include <string>
#include <vector>

#include "fuzz/fuzz_host.h"

namespace fuzzhost {

struct Param {
  std::string type;
  bool extends = false, assigns = false;
};

// The parameters of a declaration as the host shows it: "Name(extends p as
// Picture, byref x as integer, c as color = &c000000, assigns v as picture) as T".
inline std::vector<Param> params_of(const std::string& declaration) {
  std::vector<Param> out;
  const size_t open = declaration.find('(');
  if (open == std::string::npos || declaration.find(' ') < open) return out;
  const std::string inside = declaration.substr(open + 1, declaration.find(')', open) - open - 1);
  size_t from = 0;
  while (from < inside.size()) {
    const size_t comma = std::min(inside.find(',', from), inside.size());
    std::string param = inside.substr(from, comma - from);
    from = comma + 1;
    param.erase(0, param.find_first_not_of(' '));
    Param p;
    p.extends = param.starts_with("extends ");
    p.assigns = param.starts_with("assigns ");
    const size_t as = param.find(" as ");
    if (as == std::string::npos) continue;
    p.type = param.substr(as + 4);
    p.type.resize(std::min(p.type.find_first_of(" ="), p.type.size()));
    out.push_back(p);
  }
  return out;
}

inline std::string name_of(const std::string& declaration) {
  return declaration.substr(0, declaration.find_first_of(" ("));
}

inline const testhost::ClassRecord* class_named(testhost::Host& h, const std::string& name) {
  for (const auto& c : h.registrations().classes) {
    if (c.name == name) return &c;
  }
  return nullptr;
}

// Makes one call chosen by the input; checks that the host could make it and
// that nothing but a host exception came back.
inline void run_one_call(testhost::Host& h, Input& in) {
  static const std::vector<testhost::Callable> callables = h.Callables();
  const testhost::Callable& c = callables[in.byte() % callables.size()];
  const std::string name = name_of(c.declaration);
  std::vector<Value> args;
  Value value;
  Ref self;
  const testhost::ClassRecord* cls = class_named(h, c.owner);
  if (cls != nullptr) {
    self = h.NewInstance(cls->name);
    check(static_cast<bool>(self), "no instance of " + cls->name);
    for (int settings = in.byte() % 8; settings > 0 && !cls->properties.empty(); --settings) {
      const auto& property = cls->properties[in.byte() % cls->properties.size()];
      // The sepia class overwrites a destination without releasing it, as it is
      // meant to; a destination is only ever made by Run here.
      if (property.name == "DestinationPicture") continue;
      const testhost::CallResult set = h.SetProperty(self.get(), property.name, value_of(h, in, property.type));

      check(set.ok(), "setting " + property.name + ": " + set.error);
    }
  }
  // Class extensions (hosts before 2013.0) are shown without their receiver.
  bool method = cls != nullptr;
  const std::vector<Param> params = params_of(c.declaration);
  if (c.owner == "Picture" && (params.empty() || !params.front().extends)) {
    self = in.picture(h);
    method = true;
  }
  for (const Param& p : params) {
    if (p.extends) {
      self = in.picture(h);
      method = true;
    } else if (p.assigns) {
      value = value_of(h, in, p.type);
    } else {
      args.push_back(value_of(h, in, p.type));
    }
  }
  testhost::CallResult r;
  if (c.isSetter) {
    // A setter from a getter's record takes the declared result type.
    if (std::holds_alternative<std::monostate>(value) && c.declaration.find("assigns") == std::string::npos) {
      const size_t as = c.declaration.rfind(" as ");
      value = value_of(h, in, c.declaration.substr(as + 4));
    }
    if (!self) self = h.NewPicture({});  // the host assigns to no nil picture
    r = h.Assign(self.get(), name, std::move(args), std::move(value));
  } else if (method) {
    r = h.CallMethod(self.get(), name, std::move(args));
  } else {
    r = h.Call(name, std::move(args));
  }
  check_call(r, c.declaration);
  // (A table class hands back the NaN it was given.)
  if (const double* d = std::get_if<double>(&r.value); d != nullptr && cls == nullptr) {
    check(!std::isnan(*d), c.declaration + " gave NaN");
  }
  if (cls != nullptr) h.CallMethod(self.get(), "Close", {});
}

}  // namespace fuzzhost
