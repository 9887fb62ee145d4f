// What the command line asks for, checked and in the form the other files use.
#pragma once

#include <stdexcept>
#include <string>
#include <vector>

#include "calendar.h"

namespace station {

/// The command line cannot be used; the message says why.
struct UsageError : std::runtime_error {
  using std::runtime_error::runtime_error;
};

enum class Command { help, import_file, report, export_day, watch };
enum class Period { hour, day, month };

struct Arguments {
  Command command = Command::help;
  std::string database;
  std::string station;
  std::string work_folder;              // logs and event files; the database's folder when none was given
  std::string file;                     // import: read; export: appended to
  Day day{};                            // import: the first row's; report and export: the day asked for
  Period period = Period::day;          // report
  std::string month;                    // report of a month: "201501"
  std::string hour;                     // report of an hour: "05.00"
  int seconds = 5;                      // watch: between two looks at the database
  int rounds = 0;                       // watch: looks until it ends by itself; 0 for never
  bool on_top = false;                  // watch: above all other windows
  std::vector<std::string> parameters;  // report, export and watch: none for all of the station's
};

/// Raises UsageError.
Arguments parsed_arguments(int count, const char* const* words);

/// What is wrong with a station code or a parameter name; "" when nothing is. `limit` counts characters.
std::string name_fault(const std::string& name, std::size_t limit);

constexpr std::size_t kStationLimit = 10;
constexpr std::size_t kParameterLimit = 20;

extern const char* const kHelp;

}  // namespace station
