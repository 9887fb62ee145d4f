// Query text over the measurement table. Parameters are inserted as they are; nothing is quoted or escaped
// beyond the fixed text.
#pragma once

#include <string>

#include "common/variant.h"

namespace quarno::domain {

struct MeasurementQuery {
  std::string table;
  std::string aggregate;        // AVG, MAX, SUM, ...: not used for one hour
  std::string station;          // compared with DT_STATIONCODE
  std::string day;              // compared with DT_DATE; for a month, the leading part its days share
  std::string hour;             // compared with DT_HOUR, for one hour only
  std::string parameter;        // compared with DT_MeasureCod
  std::string value_column;     // aggregated: not used for one hour
  std::string validity_column;  // "" leaves the validity clause out, but not for one hour
  Variant validity_condition;   // inside of an IN list as text; null leaves the clause out
  Variant plant_state;          // literal compared with DT_Custom1; null leaves the clause out
};

/// One day, aggregated. This and the next two raise 13 when a condition is neither text, empty nor null.
std::string day_query_text(const MeasurementQuery& query);
/// One month, aggregated, without a GROUP BY.
std::string month_query_text(const MeasurementQuery& query);
/// All columns of one hour.
std::string hour_query_text(const MeasurementQuery& query);

}  // namespace quarno::domain
