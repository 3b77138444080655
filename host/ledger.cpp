// The ledger: how objects are named in problem lines, faults recorded as they
// happen (over-release, released or unknown handles), and the end-of-test check
// for what is still outstanding. References that one host object holds on another
// (a picture's mask, a graphics object's picture, an exception's message, an
// object property of a plug-in instance, a raised exception not yet delivered)
// are not leaks of their own: only the outermost holder is reported.
#include <algorithm>
#include <cstdio>
#include <cstring>

#include "host/host_internal.h"

namespace testhost::internal {

const char* kind_name(ObjectKind kind) {
  switch (kind) {
    case ObjectKind::kPicture: return "picture";
    case ObjectKind::kGraphics: return "graphics";
    case ObjectKind::kMemoryBlock: return "memory block";
    case ObjectKind::kString: return "string";
    case ObjectKind::kException: return "exception";
    case ObjectKind::kInstance: return "object";
  }
  return "object";
}

std::string context_of(const Impl& h) { return h.running.empty() ? "by the test" : "during " + h.running; }

std::string describe(const Object& object) {
  return std::string(kind_name(object.kind)) + " #" + std::to_string(object.id) + " (" + object.origin + ")";
}

void fault(Impl& h, std::string line) { h.faults.push_back(std::move(line)); }

void wrong_kind(Impl& h, const Object& object, std::string_view entry, ObjectKind wanted) {
  fault(h, std::string(entry) + " was given " + describe(object) + " where it needs a " + kind_name(wanted) + ", " +
               context_of(h));
}

namespace {

// References held by host objects on other host objects.
void count_held(const Impl& h, std::map<const Object*, int>* held) {
  for (const auto& [handle, object] : h.objects) {
    if (object->released) continue;
    switch (object->kind) {
      case ObjectKind::kPicture:
        if (auto* mask = static_cast<const PictureObject&>(*object).mask) ++(*held)[mask];
        break;
      case ObjectKind::kGraphics:
        if (auto* target = static_cast<const GraphicsObject&>(*object).target) ++(*held)[target];
        break;
      case ObjectKind::kException:
        if (auto* message = static_cast<const ExceptionObject&>(*object).message) ++(*held)[message];
        break;
      case ObjectKind::kInstance: {
        const auto& instance = static_cast<const InstanceObject&>(*object);
        const auto& record = h.registrations.classes[instance.class_index];
        for (const auto& property : record.properties) {
          const bool handle = parse_type(property.type).is_object() || iequals(property.type, "string");
          if (!property.direct() || !handle) continue;
          if (property.param < 0 || static_cast<size_t>(property.param) + sizeof(void*) > instance.data.size()) continue;
          const void* value = nullptr;
          std::memcpy(&value, instance.data.data() + property.param, sizeof value);
          const auto it = h.objects.find(value);
          if (it != h.objects.end()) ++(*held)[it->second.get()];
        }
        break;
      }
      case ObjectKind::kMemoryBlock:
      case ObjectKind::kString:
        break;
    }
  }
  for (const auto& raised : h.raised) ++(*held)[raised.object];
}

}  // namespace

std::vector<std::string> ledger_problems(const Impl& h) {
  std::vector<std::string> problems = h.faults;
  std::map<const Object*, int> held;
  count_held(h, &held);
  std::vector<const Object*> live;
  for (const auto& [handle, object] : h.objects) {
    if (!object->released) live.push_back(object.get());
  }
  std::sort(live.begin(), live.end(), [](const Object* a, const Object* b) { return a->id < b->id; });
  for (const Object* object : live) {
    const int outside = object->refs - held[object];
    if (outside > 0) {
      problems.push_back("leak: " + describe(*object) + " still has " + std::to_string(outside) +
                         (outside == 1 ? " reference" : " references"));
    }
    if (object->kind == ObjectKind::kPicture) {
      const auto& picture = static_cast<const PictureObject&>(*object);
      if (picture.locks > 0) {
        problems.push_back("description lock still held: " + describe(*object) + " locked " +
                           std::to_string(picture.locks) + " time(s), last " + picture.last_lock);
      }
    }
  }
  for (const auto& [data, record] : h.string_data) {
    problems.push_back("string data not disposed: " + record.origin);
  }
  for (const auto& raised : h.raised) {
    problems.push_back("exception never delivered: " + describe(*raised.object) + ", raised " + raised.origin);
  }
  return problems;
}

}  // namespace testhost::internal
