// The parameters that the authority knows: the numbers it knows them by, and how their values are shown.
#pragma once

#include <cstdint>
#include <string_view>

namespace station {

struct Unit {
  std::int16_t number;
  const char* text;
  int decimals;  // as shown on a screen
};

struct KnownParameter {
  const char* name;
  std::int16_t pollutant;
  Unit unit;
};

/// Null when it is not known.
const KnownParameter* known_parameter(std::string_view name);

}  // namespace station
