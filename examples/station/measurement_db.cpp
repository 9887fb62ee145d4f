#include "measurement_db.h"

#include <filesystem>
#include <fstream>

namespace station {
namespace {

constexpr const char* kCreateTable =
    "CREATE TABLE IF NOT EXISTS MISURE (DT_STATIONCODE VARCHAR(10), DT_MeasureCod VARCHAR(20), DT_DATE "
    "VARCHAR(8), "
    "DT_HOUR VARCHAR(5), DT_Custom1 INTEGER, DT_VALUE DOUBLE, DT_STATUS VARCHAR(3), "
    "PRIMARY KEY (DT_STATIONCODE, DT_MeasureCod, DT_DATE, DT_HOUR))";

// The recordset that AddNew fills keeps its rows; closing it now and then keeps the host's memory level.
constexpr int kRowsPerRecordset = 4000;

}  // namespace

std::string quoted(const std::string& text) { return "'" + text + "'"; }

MeasurementDb::MeasurementDb(const std::string& file, const std::string& log_folder)
    : file_(file),
      add_new_(data_.find("AddNew")),
      set_(data_.find("Set£")),
      save_(data_.find("Save")),
      get_(data_.find("Get£")) {
  data_.set("m_LogPath", log_folder);
  data_.call("SetMessages", false);  // also takes up the log folder
  data_.set("Err_Activate", true);
  data_.call("SetDBType", data_.get("Conn_Jet"));
  data_.call("SetDatabase", file);
  data_.set("m_Tabella", kTable);
}

void MeasurementDb::ensure(bool done) const {
  if (done) return;
  const std::string description(data_.get("Err_Description").text());
  throw quarnofwk::Error(data_.get("Err_Number").integer(), std::string(data_.get("Err_Source").text()),
                         description.empty() ? "failed without a reason" : description);
}

void MeasurementDb::create_table() {
  if (!std::filesystem::exists(file_) && !std::ofstream(file_, std::ios::app)) {
    throw std::runtime_error(file_ + ": cannot be created");
  }
  ensure(data_.call("ExecuteSQL", kCreateTable).boolean());
}

void MeasurementDb::begin() {
  data_.call("TransBegin");
  ensure(data_.get("Err_Number").integer() == 0);
}

void MeasurementDb::add(const Measurement& measurement) {
  data_.call(add_new_);
  data_.call(set_, "DT_STATIONCODE", measurement.station);
  data_.call(set_, "DT_MeasureCod", measurement.parameter);
  data_.call(set_, "DT_DATE", measurement.day);
  data_.call(set_, "DT_HOUR", measurement.hour);
  data_.call(set_, "DT_Custom1", kPlantRunning);
  if (measurement.value) data_.call(set_, "DT_VALUE", *measurement.value);
  data_.call(set_, "DT_STATUS", measurement.value ? kValid : kUnusable);
  ensure(data_.call(save_).boolean());
  if (++rows_in_recordset_ < kRowsPerRecordset) return;
  data_.call("CloseRs");
  rows_in_recordset_ = 0;
}

void MeasurementDb::commit() {
  data_.call("CloseRs");
  data_.call("TransCommit");
  ensure(data_.get("Err_Number").integer() == 0);
}

void MeasurementDb::roll_back() noexcept {
  try {
    data_.call("TransRollBack");
  } catch (const quarnofwk::Error&) {
    // Closing the connection undoes the transaction as well.
  }
}

std::vector<std::string> MeasurementDb::parameters(const std::string& station) {
  std::vector<std::string> names;
  const std::string of_station = "DT_STATIONCODE = " + quoted(station);
  ensure(data_.call("Selection", "DISTINCT DT_MeasureCod", of_station, "DT_MeasureCod").boolean());
  for (bool row = !data_.call("IsEof").boolean(); row; row = next()) {
    names.emplace_back(get("DT_MeasureCod").text());
  }
  return names;
}

bool MeasurementDb::open(const std::string& select) {
  ensure(data_.call("SelectionFast", select).boolean());
  return !data_.call("IsEof").boolean();
}

bool MeasurementDb::next() { return data_.call("MoveNext").boolean(); }

quarnofwk::Value MeasurementDb::get(const char* field) const { return data_.call(get_, field); }

}  // namespace station
