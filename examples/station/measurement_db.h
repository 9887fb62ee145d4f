// The table MISURE of one database file, through the class CData. Failures are raised as quarnofwk::Error
// with the number, source and description that CData recorded; CData also writes them to QuarnoLog.txt in the
// log folder.
#pragma once

#include <optional>
#include <quarnofwk/quarnofwk.hpp>
#include <string>
#include <vector>

namespace station {

constexpr const char* kTable = "MISURE";
constexpr const char* kValid = "VAL";       // DT_STATUS of a usable value
constexpr const char* kUnusable = "ERR";    // of a value that could not be read; DT_VALUE is null
constexpr const char* kPlantRunning = "1";  // DT_Custom1

struct Measurement {
  std::string station;
  std::string parameter;
  std::string day;   // "20150105"
  std::string hour;  // "05.00"
  std::optional<double> value;
};

class MeasurementDb {
 public:
  MeasurementDb(const std::string& file, const std::string& log_folder);

  /// Creates the table when it is missing, and the file as well: an empty file is a new database.
  void create_table();
  void begin();
  void add(const Measurement& measurement);
  void commit();
  /// Raises nothing: it follows a failure that is told instead.
  void roll_back() noexcept;

  /// Parameters of a station, in name order.
  std::vector<std::string> parameters(const std::string& station);
  /// Runs a query; true when it has a row, which get() then reads.
  bool open(const std::string& select);
  bool next();
  quarnofwk::Value get(const char* field) const;

 private:
  // A member that failed without raising.
  void ensure(bool done) const;

  std::string file_;
  quarnofwk::Object data_ = quarnofwk::create("CData");
  quarnofwk::Member add_new_, set_, save_, get_;
  int rows_in_recordset_ = 0;
};

/// A text as it stands in a query.
std::string quoted(const std::string& text);

}  // namespace station
