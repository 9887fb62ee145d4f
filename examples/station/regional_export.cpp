#include "commands.h"

#include <algorithm>
#include <cstdio>
#include <fstream>
#include <iterator>

#include "events.h"
#include "measurement_db.h"

namespace station {
namespace {

// Numbers that the authority knows parameters and units by.
struct RegionalCode {
  const char* parameter;
  std::int16_t pollutant;
  std::int16_t unit;  // 1 degrees C, 2 mbar, 3 %, 4 MWH, 5 mg/m3
};
constexpr RegionalCode kCodes[] = {
    {"AT", 1, 1},  {"AP", 2, 2},  {"AH", 3, 3},  {"AFDP", 4, 2}, {"GTEP", 5, 2}, {"TIT", 6, 1},
    {"TAT", 7, 1}, {"TEY", 8, 4}, {"CDP", 9, 2}, {"CO", 10, 5},  {"NOX", 11, 5},
};
constexpr std::int16_t kHourlyDatum = 1;
constexpr std::int16_t kNoNote = 0;

const RegionalCode& code_of(const std::string& parameter) {
  const auto known = [&](const RegionalCode& code) { return parameter == code.parameter; };
  const auto* const found = std::find_if(std::begin(kCodes), std::end(kCodes), known);
  if (found == std::end(kCodes)) throw std::runtime_error("parameter " + parameter + " has no regional code");
  return *found;
}

std::int64_t lines_in(const std::string& path) {
  std::ifstream file(path, std::ios::binary);
  return std::count(std::istreambuf_iterator<char>(file), {}, '\n');
}

}  // namespace

int export_day(const Arguments& arguments) {
  const Events events(arguments.work_folder);
  MeasurementDb db(arguments.database, arguments.work_folder);
  std::vector<std::string> parameters = arguments.parameters;
  if (parameters.empty()) parameters = db.parameters(arguments.station);
  for (const std::string& parameter : parameters) code_of(parameter);  // before anything is written

  const quarnofwk::Object corvex = quarnofwk::create("Corvex");
  const std::int64_t lines_before = lines_in(arguments.file);
  std::int64_t records = 0;
  for (const std::string& parameter : parameters) {
    const RegionalCode& code = code_of(parameter);
    const bool any = db.open("SELECT DT_HOUR, DT_VALUE, DT_STATUS FROM " + std::string(kTable) +
                             " WHERE DT_STATIONCODE = " + quoted(arguments.station) +
                             " AND DT_MeasureCod = " + quoted(parameter) +
                             " AND DT_DATE = " + quoted(day_text(arguments.day)) + " ORDER BY DT_HOUR");
    for (bool row = any; row; row = db.next()) {
      const std::string date = regional_day_text(arguments.day) + " " + std::string(db.get("DT_HOUR").text());
      const double value = db.get("DT_VALUE").number();  // a null reads as 0
      quarnofwk::Value validity = db.get("DT_STATUS");
      const std::int16_t percentage = validity.text() == kValid ? 100 : 0;
      corvex.call("ScriviSarvia", arguments.file, arguments.station, date, code.pollutant, code.unit,
                  kHourlyDatum, quarnofwk::by_ref(validity), percentage, kNoNote, value, value);
      ++records;
    }
  }
  // ScriviSarvia tells nobody when it cannot write.
  const std::int64_t written = lines_in(arguments.file) - lines_before;
  if (written != records) {
    const std::string fault = arguments.file + ": " + std::to_string(written) + " of " +
                              std::to_string(records) + " records were written";
    events.error(fault);
    throw std::runtime_error(fault);
  }
  if (records == 0) {
    std::printf("no data\n");
    return 1;
  }
  std::printf("records       %lld\n", static_cast<long long>(records));
  events.log("export of " + day_text(arguments.day) + ": " + std::to_string(records) + " records in " +
             arguments.file);
  return 0;
}

}  // namespace station
