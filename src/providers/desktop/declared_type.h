// What a column's declared type says about its values. Pure.
#pragma once

#include <cstdint>
#include <string_view>

#include "ado/enums.h"

namespace quarno::desktop {

struct DeclaredType {
  ado::DataType type = ado::DataType::var_wchar;
  std::int64_t defined_size = 0;  // characters for text, bytes otherwise
  std::uint8_t precision = 255;   // 255: not a number
  std::uint8_t scale = 255;
};

/// Names and sizes as CREATE TABLE has them: "VARCHAR(10)", "DATETIME", "DECIMAL(18,4)", any letter case. A
/// name that is not known reads as text.
DeclaredType declared_type(std::string_view declaration);

}  // namespace quarno::desktop
