#include "commands.h"

#include <unistd.h>

#include <algorithm>
#include <chrono>
#include <cstdio>

#include "csv_reader.h"
#include "events.h"
#include "measurement_db.h"

namespace station {
namespace {

constexpr std::uint64_t kHoursPerProgress = 1000;  // on a terminal
constexpr std::uint64_t kHoursPerLogLine = 10000;  // in a job's log
constexpr std::uint64_t kProblemsShown = 20;
constexpr std::size_t kCellShown = 40;

// Text from the file as a message can show it: short, and on one line.
std::string shown(const std::string& cell) {
  std::size_t length = std::min(cell.size(), kCellShown);
  while (length < cell.size() && (static_cast<unsigned char>(cell[length]) & 0xc0) == 0x80)
    --length;  // whole characters
  std::string text = cell.substr(0, length);
  for (char& c : text) {
    if (static_cast<unsigned char>(c) < ' ') c = '?';
  }
  return "\"" + text + (length < cell.size() ? "...\"" : "\"");
}

class Importer {
 public:
  Importer(const Arguments& arguments, const Events& events)
      : arguments_(arguments),
        events_(events),
        reader_(arguments.file),
        parameters_(parameter_names()),
        db_(arguments.database, arguments.work_folder) {}

  void run() {
    db_.create_table();
    db_.begin();
    try {
      store_hours();
      db_.commit();
    } catch (...) {
      db_.roll_back();
      end_progress();
      std::fprintf(stderr, "station: stopped at line %llu, nothing is stored\n",
                   static_cast<unsigned long long>(reader_.line()));
      throw;
    }
    end_progress();
    if (problems_ > kProblemsShown) {
      std::fprintf(stderr, "station: %llu further problems, see the event file in %s/Errori\n",
                   static_cast<unsigned long long>(problems_ - kProblemsShown),
                   arguments_.work_folder.c_str());
    }
  }

  std::string outcome() const {
    return std::to_string(measurements_) + " measurements, " + std::to_string(errors_) + " with errors";
  }

  void print_summary(double seconds) const {
    std::printf("hours         %llu\n", static_cast<unsigned long long>(hours_));
    std::printf("measurements  %llu\n", static_cast<unsigned long long>(measurements_));
    std::printf("with errors   %llu\n", static_cast<unsigned long long>(errors_));
    std::printf("seconds       %.3f\n", seconds);
    std::printf("rows/second   %.0f\n", static_cast<double>(measurements_) / seconds);
  }

 private:
  // The first line names the parameters.
  std::vector<std::string> parameter_names() {
    const CsvReader::Line header = reader_.next();
    if (header != CsvReader::Line::row) {
      throw std::runtime_error(arguments_.file + ": the header line " +
                               (header == CsvReader::Line::damaged ? reader_.damage() : "is empty"));
    }
    std::vector<std::string> names;
    for (int i = 0; i < reader_.cells(); ++i) {
      std::string name = reader_.cell(i);
      // A byte order mark, read in the code page of the system's files.
      constexpr std::string_view kMark = "ï»¿";
      if (i == 0 && name.starts_with(kMark)) name.erase(0, kMark.size());
      const std::string fault = name_fault(name, kParameterLimit);
      if (!fault.empty())
        throw std::runtime_error(arguments_.file + ": parameter name " + shown(name) + " " + fault);
      names.push_back(name);
    }
    return names;
  }

  void store_hours() {
    for (auto line = reader_.next(); line != CsvReader::Line::end; line = reader_.next()) {
      if (line == CsvReader::Line::blank) {
        report("is empty: no hour is counted for it");
      } else {
        store_hour(line == CsvReader::Line::row && has_its_cells());
        show_progress();
      }
    }
    if (hours_ == 0) throw std::runtime_error(arguments_.file + ": holds no rows");
  }

  // A cell too few or too many may have moved the others under the wrong names: then none of them is trusted.
  bool has_its_cells() {
    const int wanted = static_cast<int>(parameters_.size());
    if (reader_.cells() < wanted) return false;
    for (int i = wanted; i < reader_.cells(); ++i) {
      if (!reader_.cell(i).empty()) return false;
    }
    if (reader_.cells() > wanted) report("has empty columns beyond the header's");
    return true;
  }

  void store_hour(bool usable) {
    Measurement measurement;
    measurement.station = arguments_.station;
    measurement.day = day_text(arguments_.day + std::chrono::days(hours_ / 24));
    measurement.hour = hour_text(static_cast<int>(hours_ % 24));
    if (measurement.day.size() != 8) throw std::runtime_error("the rows run past the year 9999");
    ++hours_;
    if (!usable) {
      report(reader_.cells() == 0 ? reader_.damage()
                                  : "has " + std::to_string(reader_.cells()) + " columns instead of " +
                                        std::to_string(parameters_.size()));
    }
    for (std::size_t i = 0; i < parameters_.size(); ++i) {
      measurement.parameter = parameters_[i];
      measurement.value.reset();
      if (usable) {
        const std::string cell = reader_.cell(static_cast<int>(i));
        measurement.value = parsed_number(cell);
        if (!measurement.value) report(parameters_[i] + " " + shown(cell) + " is no number");
      }
      db_.add(measurement);
      ++measurements_;
      if (!measurement.value) ++errors_;
    }
  }

  void report(const std::string& problem) {
    const std::string text =
        "line " + std::to_string(reader_.line()) + " of " + arguments_.file + ": " + problem;
    events_.error(text);
    if (++problems_ > kProblemsShown) return;
    end_progress();
    std::fprintf(stderr, "station: %s\n", text.c_str());
  }

  void show_progress() {
    if (hours_ % (on_terminal_ ? kHoursPerProgress : kHoursPerLogLine) != 0) return;
    std::fprintf(stderr, on_terminal_ ? "\r%llu hours" : "station: %llu hours\n",
                 static_cast<unsigned long long>(hours_));
    progress_shown_ = on_terminal_;
  }
  void end_progress() {
    if (progress_shown_) std::fputc('\n', stderr);
    progress_shown_ = false;
  }

  const Arguments& arguments_;
  const Events& events_;
  CsvReader reader_;
  std::vector<std::string> parameters_;
  MeasurementDb db_;
  const bool on_terminal_ = isatty(STDERR_FILENO) == 1;
  bool progress_shown_ = false;
  std::uint64_t hours_ = 0, measurements_ = 0, errors_ = 0, problems_ = 0;
};

}  // namespace

int import_file(const Arguments& arguments) {
  const auto start = std::chrono::steady_clock::now();
  const Events events(arguments.work_folder);
  const std::string task = "import of " + arguments.file + " for station " + arguments.station;
  events.log(task + " begins");
  try {
    Importer importer(arguments, events);
    importer.run();
    events.log(task + " ends: " + importer.outcome());
    importer.print_summary(std::chrono::duration<double>(std::chrono::steady_clock::now() - start).count());
  } catch (const std::exception& error) {
    events.error(task + " failed: " + error.what());
    throw;
  }
  return 0;
}

}  // namespace station
