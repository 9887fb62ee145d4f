// The reference oxygen content of a plant that burns coal, oil and gas at once.
#pragma once

#include "common/variant.h"

namespace quarno::domain {

/// Thermal powers, all in one unit.
struct ThermalPowers {
  double coal = 0;
  double oil = 0;
  double gas = 0;
};

/// A power that was not measured; it counts as 0.
inline constexpr double kNoPower = -9999;

/// Percent of oxygen: the fuels' references, entries 305 (coal), 306 (oil) and 307 (gas) of the plant's
/// parameters, weighted by the powers; the oil's when nothing burns. An entry is read as its leading number
/// with ".", 0 when there is none, whatever the locale. Raises 9 for parameters without the entry, 94 for a
/// null entry, 11 when powers of opposite signs cancel out, 6 when the numbers become too large.
double o2_reference(const ThermalPowers& powers, const Variant::Array& parameters);

}  // namespace quarno::domain
