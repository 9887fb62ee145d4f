// Relations of the old file as foreign keys of the new one.
#pragma once

#include <sqlite3.h>

#include <string>
#include <vector>

#include "providers/desktop/access/database.h"

namespace quarno::desktop::convert {

/// Adds the relation to its table, whose rows are all there. Empty when it did, else why not: the tables lack
/// it, what it refers to is no key, or rows contradict it.
std::string add_foreign_key(sqlite3* engine, const access::Relation& relation);

}  // namespace quarno::desktop::convert
