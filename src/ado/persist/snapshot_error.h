// What reading and writing snapshots raises. Numbers and the texts' beginnings are the model's own.
#pragma once

#include <cstdint>
#include <string>
#include <string_view>

#include "common/error.h"

namespace quarno::ado::persist {

/// These bytes are no snapshot; `detail` says why, where that is known.
Error no_snapshot(std::string_view detail = {});
/// A snapshot with a value that its column cannot have.
Error bad_value(std::uint64_t line, std::string_view column);
/// A value that a snapshot cannot hold. Rows count from 1 in the order in which they are written; 0 for none.
Error unwritable_value(std::size_t row, std::string_view column, std::string_view reason);

}  // namespace quarno::ado::persist
