#include "providers/desktop/functions/functions.h"

#include <sqlite3.h>

#include "providers/desktop/functions/call.h"
#include "providers/desktop/functions/collation.h"

namespace quarno::desktop {
namespace {

void add(sqlite3* database, const Function& function) {
  // Deterministic within a statement: the engine may compute them once, and look their results up in an
  // index.
  constexpr int kFlags = SQLITE_UTF8 | SQLITE_DETERMINISTIC | SQLITE_INNOCUOUS;
  const bool any_number = function.most < 0;
  // One entry for each number of arguments: it takes precedence over the engine's own of any number.
  const int last = any_number ? function.fewest : function.most;
  for (int count = function.fewest; count <= last; ++count) {
    expect_ok(sqlite3_create_function_v2(database, function.name, any_number ? -1 : count, kFlags, nullptr,
                                         function.call, nullptr, nullptr, nullptr));
  }
}

}  // namespace

void register_functions(sqlite3* database) {
  register_collation(database);
  register_like(database);
  register_random(database);
  register_aggregates(database);
  for (const auto topic : {choice_functions, conversion_functions, date_functions, format_functions,
                           number_functions, operator_functions, text_functions}) {
    for (const Function& function : topic()) add(database, function);
  }
}

}  // namespace quarno::desktop
