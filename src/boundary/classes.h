// The public classes of the library, by name.
#pragma once

#include <span>
#include <string_view>

#include "automation/automation.h"

namespace quarno::boundary {

struct ClassEntry {
  std::string_view library;  // stands before the name, with a point, in its full name
  std::string_view name;
  std::string_view summary;
  bool creatable;  // false: only handed out by another object
  std::span<const automation::Member> (*members)();
  Ptr<automation::Object> (*create)();  // null when not creatable
};

std::span<const ClassEntry> classes();

/// Accepts the bare name and the full one, "CData" and "QuarnoFwk.CData", "Connection" and
/// "ADODB.Connection", in any letter case. Raises 429 when there is no such class.
Ptr<automation::Object> create(std::string_view class_name);

}  // namespace quarno::boundary
