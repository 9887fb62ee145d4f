#include "commands.h"

#include <cstdio>

#include "measurement_db.h"

namespace station {
namespace {

constexpr const char* kValidStatus = "'00','VAL'";
constexpr const char* kNameWidth = "%-20s";

class Report {
 public:
  explicit Report(const Arguments& arguments)
      : arguments_(arguments), db_(arguments.database, arguments.work_folder) {}

  /// How many parameters had data.
  int print() {
    const std::vector<std::string> parameters =
        arguments_.parameters.empty() ? db_.parameters(arguments_.station) : arguments_.parameters;
    const std::string time = arguments_.period == Period::month
                                 ? "month " + arguments_.month
                                 : "day " + day_text(arguments_.day) + " " + arguments_.hour;
    std::printf("station %s, %s\n", arguments_.station.c_str(), time.c_str());
    std::printf(kNameWidth, "parameter");
    if (arguments_.period == Period::hour) {
      std::printf("%16s  %s\n", "value", "status");
    } else {
      std::printf("%16s%16s%16s%8s\n", "AVG", "MAX", "MIN", "COUNT");
    }
    int with_data = 0;
    for (const std::string& parameter : parameters) {
      std::printf(kNameWidth, parameter.c_str());
      const bool found =
          arguments_.period == Period::hour ? print_hour(parameter) : print_aggregates(parameter);
      if (!found) std::printf("%16s\n", "no data");
      with_data += found;
    }
    return with_data;
  }

 private:
  bool print_hour(const std::string& parameter) {
    const quarnofwk::Value query =
        corvex_.call("DatoOra", kTable, arguments_.station, day_text(arguments_.day), arguments_.hour,
                     parameter, "DT_VALUE", "DT_STATUS", kValidStatus, kPlantRunning);
    if (!db_.open(std::string(query.text()))) return false;
    std::printf("%16.6f  %s\n", db_.get("DT_VALUE").number(),
                std::string(db_.get("DT_STATUS").text()).c_str());
    return true;
  }

  bool print_aggregates(const std::string& parameter) {
    // The month's query is not grouped: without measurements it still has a row, whose null average reads as
    // 0.
    const auto count = aggregate("COUNT", parameter);
    if (!count || *count == 0) return false;
    for (const char* function : {"AVG", "MAX", "MIN"}) {
      std::printf("%16.6f", aggregate(function, parameter).value_or(0));
    }
    std::printf("%8.0f\n", *count);
    return true;
  }

  std::optional<double> aggregate(const char* function, const std::string& parameter) {
    const bool month = arguments_.period == Period::month;
    const quarnofwk::Value query =
        corvex_.call(month ? "DatoMese" : "DatoGiorno", kTable, function, arguments_.station,
                     month ? arguments_.month : day_text(arguments_.day), parameter, "DT_VALUE", "DT_STATUS",
                     kValidStatus, kPlantRunning);
    if (!db_.open(std::string(query.text()))) return std::nullopt;
    return db_.get("dato").number();
  }

  const Arguments& arguments_;
  quarnofwk::Object corvex_ = quarnofwk::create("Corvex");
  MeasurementDb db_;
};

}  // namespace

int report(const Arguments& arguments) { return Report(arguments).print() > 0 ? 0 : 1; }

}  // namespace station
