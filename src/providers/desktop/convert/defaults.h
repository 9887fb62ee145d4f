// Default values of columns as the engine words them. Pure.
#pragma once

#include <optional>
#include <string>

#include "providers/desktop/access/design.h"

namespace quarno::desktop::convert {

/// What stands behind DEFAULT for the column; empty when it has none. Nothing when the expression is more
/// than a literal, Now(), Date() or GenGUID(), or no value of the column's type.
std::optional<std::string> default_text(const access::Column& column);

}  // namespace quarno::desktop::convert
