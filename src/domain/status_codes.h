// Status codes of a measurement. Compared exactly: letter case counts and nothing is trimmed.
#pragma once

#include <string_view>

namespace quarno::domain {

constexpr bool is_valid_status(std::string_view status) { return status == "00" || status == "VAL"; }
constexpr bool is_substituted_status(std::string_view status) { return status == "20" || status == "AUX"; }

}  // namespace quarno::domain
