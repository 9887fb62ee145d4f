// Status codes of a ping as text. Pure.
#pragma once

#include <cstdint>
#include <string>
#include <string_view>

namespace quarno::net {

/// The address was not four numbers with points.
inline constexpr std::int32_t kBadAddress = -1;

/// Meaning of a status code, "unknown  msg returned" for one that is not known.
std::string_view status_meaning(std::int32_t status);

/// "11010   [ ip req timed out ]".
std::string status_text(std::int32_t status);

}  // namespace quarno::net
