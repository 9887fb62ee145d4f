// The properties of an object and of its columns, which stand in one value of the catalogue. Pure.
#pragma once

#include <functional>
#include <string>
#include <string_view>

#include "providers/desktop/access/bytes.h"
#include "providers/desktop/access/text_reader.h"

namespace quarno::desktop::access {

struct Property {
  std::string_view owner;  // a column's name; empty: the object itself
  std::string_view name;
  std::uint8_t type = 0;  // as column types are numbered
  Bytes value;
};

/// Calls `take` for each property, as far as the value can be read; views hold during the call. False when it
/// is damaged.
bool read_properties(Bytes value, TextReader& texts, const std::function<void(const Property&)>& take);

}  // namespace quarno::desktop::access
