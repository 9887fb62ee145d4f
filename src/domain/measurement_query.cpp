#include "domain/measurement_query.h"

#include "common/error.h"

namespace quarno::domain {
namespace {

// Joins as "+" joins texts: null makes the whole clause null, which adds nothing; empty counts as "".
std::string clause(const std::string& before, const Variant& condition, const std::string& after) {
  if (condition.is_null()) return {};
  if (condition.is_empty()) return before + after;
  if (const auto* text = condition.get_if<std::string>()) return before + *text + after;
  throw run_time_error(RunTime::type_mismatch);
}

std::string aggregate_text(const MeasurementQuery& q) {
  return "Select " + q.aggregate + "(" + q.value_column + ") as dato FROM " + q.table + " ";
}

std::string key_text(const MeasurementQuery& q) {
  return "WHERE DT_STATIONCODE = '" + q.station + "' AND DT_MeasureCod = '" + q.parameter + "' ";
}

std::string validity_text(const MeasurementQuery& q) {
  return clause("AND " + q.validity_column + " IN (", q.validity_condition, ") ");
}

std::string optional_validity_text(const MeasurementQuery& q) {
  return q.validity_column.empty() ? std::string() : validity_text(q);
}

}  // namespace

std::string day_query_text(const MeasurementQuery& q) {
  return aggregate_text(q) + key_text(q) + "AND DT_DATE = '" + q.day + "' " + optional_validity_text(q) +
         clause("AND (DT_Custom1 = ", q.plant_state, ") ") + "GROUP by dt_date";
}

std::string month_query_text(const MeasurementQuery& q) {
  return aggregate_text(q) + key_text(q) + "AND DT_DATE LIKE '" + q.day + "%' " + optional_validity_text(q) +
         clause("AND (DT_Custom1 = ", q.plant_state, ") ");
}

std::string hour_query_text(const MeasurementQuery& q) {
  return "Select * FROM " + q.table + " " + key_text(q) + "AND DT_DATE = '" + q.day + "' AND DT_HOUR = '" +
         q.hour + "' " + validity_text(q) + clause("AND (DT_Custom1 = ", q.plant_state, ")");
}

}  // namespace quarno::domain
