// What a query's columns hold, where the engine itself has no type to tell: of Max(D), D + 1, IIf.
#pragma once

#include <string>
#include <string_view>
#include <vector>

#include "providers/desktop/jet/schema.h"

namespace quarno::desktop::jet {

/// One declared type for each column of the result, empty where it cannot be known; no element at all when
/// the statement gives no rows, or its columns cannot be counted.
std::vector<std::string> result_types(std::string_view statement, const Schema& schema);

}  // namespace quarno::desktop::jet
