#include "commands.h"

#include <algorithm>
#include <cstdio>
#include <fstream>
#include <iterator>

#include "events.h"
#include "measurement_db.h"
#include "parameters.h"

namespace station {
namespace {

constexpr std::int16_t kHourlyDatum = 1;
constexpr std::int16_t kNoNote = 0;

const KnownParameter& code_of(const std::string& parameter) {
  const KnownParameter* const found = known_parameter(parameter);
  if (found == nullptr) throw std::runtime_error("parameter " + parameter + " has no regional code");
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
    const KnownParameter& code = code_of(parameter);
    const bool any = db.open("SELECT DT_HOUR, DT_VALUE, DT_STATUS FROM " + std::string(kTable) +
                             " WHERE DT_STATIONCODE = " + quoted(arguments.station) +
                             " AND DT_MeasureCod = " + quoted(parameter) +
                             " AND DT_DATE = " + quoted(day_text(arguments.day)) + " ORDER BY DT_HOUR");
    for (bool row = any; row; row = db.next()) {
      const std::string date = regional_day_text(arguments.day) + " " + std::string(db.get("DT_HOUR").text());
      const double value = db.get("DT_VALUE").number();  // a null reads as 0
      quarnofwk::Value validity = db.get("DT_STATUS");
      const std::int16_t percentage = validity.text() == kValid ? 100 : 0;
      corvex.call("ScriviSarvia", arguments.file, arguments.station, date, code.pollutant, code.unit.number,
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
