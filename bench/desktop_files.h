// What the measurements of desktop databases read: hourly measures with their stations and substances as an
// Access file, a dBASE folder of one table, and the same rows in plain database files.
#pragma once

#include <cstdint>
#include <string>

namespace quarno::bench {

/// One row; the whole is the same for every number. Real numbers have few digits, so that sums are exact in
/// any order.
struct Measure {
  std::int32_t id;
  std::int32_t station;
  std::int32_t substance;
  std::string code;
  std::string remark;
  double taken;  // days since 30 December 1899
  double ended;
  double reading;
  float threshold;
  std::int64_t amount;  // ten-thousandths
  std::int16_t state;
  bool valid;
  bool has_note;
  std::string note;
};
Measure measure(long number);

inline constexpr std::int32_t kStations = 50;
inline constexpr std::int32_t kSubstances = 12;
std::string station_name(std::int32_t station);
std::string substance_code(std::int32_t substance);

/// The table "Measures" of 13 columns and its small ones "Stations" and "Substances", with keys and indexes.
void make_access_file(const std::string& path, long rows);
/// The same tables, keys and indexes.
void make_access_twin(const std::string& path, long rows);

/// The table "HOURS" of seven columns.
void make_dbase_folder(const std::string& folder, long rows);
void make_dbase_twin(const std::string& path, long rows);

}  // namespace quarno::bench
