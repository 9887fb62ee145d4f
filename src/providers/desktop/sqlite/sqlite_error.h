// The engine's failures as the object model reports them.
#pragma once

#include <string>
#include <string_view>

#include "common/error.h"

struct sqlite3;

namespace quarno::desktop::sqlite {

/// The error that the last call on `database` left, for `statement` (may be empty).
Error engine_error(sqlite3* database, std::string_view statement);

}  // namespace quarno::desktop::sqlite
