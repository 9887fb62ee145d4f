// Functions that choose among their arguments. All of those are evaluated first.
#include "common/convert.h"
#include "platform/locale.h"
#include "providers/desktop/functions/call.h"

namespace quarno::desktop {
namespace {

Variant nz(const Arguments& args) {
  if (!args.is_null(0)) return args.value(0);
  return args.count() > 1 ? args.value(1) : Variant("");
}

// The value behind the first condition that holds; null counts as false.
Variant first_that_holds(const Arguments& args) {
  if (args.count() % 2 != 0) refuse();
  for (std::size_t i = 0; i < args.count(); i += 2) {
    if (!args.is_null(i) && args.truth(i)) return args.value(i + 1);
  }
  return Variant::null();
}

// The index is cut, not rounded.
Variant choose(const Arguments& args) {
  if (args.count() < 2) refuse();
  const double index = args.number(0);
  if (!(index >= 1 && index < static_cast<double>(args.count()))) return Variant::null();
  return args.value(static_cast<std::size_t>(index));
}

constexpr Function kFunctions[] = {
    {"Nz", 1, 2, entry<nz>},
    {"Switch", 2, -1, entry<first_that_holds>},
    {"Choose", 2, -1, entry<choose>},
};

}  // namespace

std::span<const Function> choice_functions() { return kFunctions; }

}  // namespace quarno::desktop
