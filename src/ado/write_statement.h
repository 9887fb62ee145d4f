// SQL text of one changed row. Values are never part of the text: they go as parameters, in the order of the
// text.
#pragma once

#include <span>
#include <string>
#include <string_view>

#include "ado/provider.h"

namespace quarno::ado {

/// A column that must still hold a given value. Null cannot be compared, so it becomes IS NULL and takes no
/// parameter.
struct Criterion {
  std::string_view column;
  bool is_null = false;
};

std::string quoted_name(const Dialect& dialect, std::string_view name);
std::string insert_text(const Dialect& dialect, std::string_view table,
                        std::span<const std::string_view> columns);
std::string update_text(const Dialect& dialect, std::string_view table,
                        std::span<const std::string_view> columns, std::span<const Criterion> criteria);
std::string delete_text(const Dialect& dialect, std::string_view table, std::span<const Criterion> criteria);

}  // namespace quarno::ado
