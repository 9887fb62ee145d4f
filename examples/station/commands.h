// What the program does, a function per command. Each returns the exit code and raises what stopped it.
#pragma once

#include "arguments.h"

namespace station {

/// Reads a CSV file of hourly values into the measurement table, all of it or nothing.
int import_file(const Arguments& arguments);
/// Prints aggregates of a day or a month, or one hour's measurements; 1 when no parameter had any data.
int report(const Arguments& arguments);
/// Appends one day's measurements to the file for the regional authority; 1 when the day has none.
int export_day(const Arguments& arguments);
/// Shows the latest hour of each parameter until SIGINT, SIGTERM or the last round.
int watch(const Arguments& arguments);

}  // namespace station
