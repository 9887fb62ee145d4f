// What the model's collections share: an item is asked for by position from 0 or by name.
#pragma once

#include <cstdint>
#include <functional>

#include "ado/ado_error.h"
#include "common/convert.h"
#include "common/locale_info.h"
#include "common/variant.h"

namespace quarno::ado {

/// Position of the item that `key` names; raises 3265 when there is none. `find` gives a negative number for
/// an unknown name. A number with decimals is rounded, as everywhere in automation.
inline std::size_t item_position(const Variant& key, std::size_t count,
                                 const std::function<std::int32_t(const std::string&)>& find,
                                 std::string_view source) {
  std::int64_t position = -1;
  if (const auto* name = key.get_if<std::string>()) {
    position = find(*name);
  } else if (is_numeric(key, LocaleInfo{}) && !key.is_empty()) {
    position = to_int64(key, LocaleInfo{});
  }
  if (position < 0 || static_cast<std::size_t>(position) >= count)
    throw model_error(Model::item_not_found, source);
  return static_cast<std::size_t>(position);
}

}  // namespace quarno::ado
