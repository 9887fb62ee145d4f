// What the control room sees: the latest hour of each parameter as lines of text, and the window's colours.
// Nothing here reads a clock or a database.
#pragma once

#include <cstdint>
#include <optional>
#include <string>
#include <vector>

#include "calendar.h"

namespace station {

/// From best to worst: the worst that a window shows gives it its colours.
enum class State { valid, substituted, not_valid, no_data, no_time, ahead, late, unreadable };

/// A parameter's latest hour.
struct Latest {
  std::string parameter;
  std::string day, hour;  // as they are stored
  std::optional<double> value;
  std::string status;               // DT_STATUS
  State validity = State::no_data;  // what the status says; no_data when nothing is stored
};

/// What was read, last time it could be.
struct Reading {
  std::vector<Latest> rows;
  std::string fault;  // why it cannot be read now; "" when it can
  Minute fault_since{};
};

/// Colours have red in the low byte.
struct Face {
  std::string title, text;
  const char* colour;
  std::int32_t back, fore;
  bool operator==(const Face& other) const { return title == other.title && text == other.text; }
};

/// `now` is the plant's clock.
Face face_of(const std::string& station, const Reading& reading, Minute now);

}  // namespace station
