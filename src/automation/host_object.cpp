#include "automation/host_object.h"

#include <algorithm>

#include "common/error.h"

namespace quarno::automation {

MemberId HostObject::find(std::string_view name) {
  const auto found = std::find(names_.begin(), names_.end(), name);
  if (found != names_.end()) return static_cast<MemberId>(found - names_.begin());
  names_.emplace_back(name);
  return static_cast<MemberId>(names_.size() - 1);
}

Variant HostObject::invoke(MemberId member, Access access, std::span<Variant> arguments) {
  const std::string name = names_.at(static_cast<std::size_t>(member));
  switch (access) {
    case Access::get: return get(name);
    case Access::call: return call(name, arguments);
    case Access::put: break;
  }
  if (arguments.size() != 1) throw run_time_error(RunTime::wrong_argument_count, name);
  put(name, arguments[0]);
  return {};
}

}  // namespace quarno::automation
