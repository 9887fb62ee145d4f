// What a call gave, as text for a table: its value, or "!" and the number of the error it raised.
#pragma once

#include <sstream>
#include <string>
#include <type_traits>

#include "common/error.h"

namespace quarno::test {

template <class Call>
std::string outcome(Call&& call) {
  try {
    const auto value = call();
    if constexpr (std::is_same_v<std::remove_cv_t<decltype(value)>, std::string>) {
      return value;
    } else {
      std::ostringstream text;
      text.precision(17);
      text << +value;
      return text.str();
    }
  } catch (const Error& error) {
    return "!" + std::to_string(error.number);
  }
}

/// Number of the error that the call raises; 0 when it raises none.
template <class Call>
int error_of(Call&& call) {
  try {
    static_cast<void>(call());
    return 0;
  } catch (const Error& error) {
    return error.number;
  }
}

}  // namespace quarno::test
