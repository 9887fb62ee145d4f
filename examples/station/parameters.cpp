#include "parameters.h"

#include <algorithm>
#include <iterator>

namespace station {
namespace {

constexpr Unit kDegrees{1, "\u00b0C", 1};
constexpr Unit kMillibar{2, "mbar", 2};
constexpr Unit kPercent{3, "%", 1};
constexpr Unit kMegawattHours{4, "MWh", 2};
constexpr Unit kMilligrams{5, "mg/m\u00b3", 2};

constexpr KnownParameter kParameters[] = {
    {"AT", 1, kDegrees},    {"AP", 2, kMillibar},    {"AH", 3, kPercent},      {"AFDP", 4, kMillibar},
    {"GTEP", 5, kMillibar}, {"TIT", 6, kDegrees},    {"TAT", 7, kDegrees},     {"TEY", 8, kMegawattHours},
    {"CDP", 9, kMillibar},  {"CO", 10, kMilligrams}, {"NOX", 11, kMilligrams},
};

}  // namespace

const KnownParameter* known_parameter(std::string_view name) {
  const auto* const found = std::find_if(std::begin(kParameters), std::end(kParameters),
                                         [&](const KnownParameter& known) { return name == known.name; });
  return found == std::end(kParameters) ? nullptr : found;
}

}  // namespace station
