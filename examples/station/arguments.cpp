#include "arguments.h"

#include <algorithm>
#include <charconv>
#include <filesystem>
#include <map>
#include <string_view>

namespace station {

const char* const kHelp = R"(station - hourly measurements of an emission-monitoring station

  station import FILE.csv --db DB --station CODE --from DAY
      Stores FILE, one row per hour from DAY 00:00 on, one column per parameter.
  station report (--day DAY | --month MONTH | --hour DAY HOUR) --db DB --station CODE [--parameters A,B]
      Prints average, maximum, minimum and count of the valid measurements, or one hour's measurements.
  station export --day DAY --db DB --station CODE --file FILE [--parameters A,B]
      Appends the day's measurements to the regional file FILE.
  station watch --db DB --station CODE [--parameters A,B] [--seconds N] [--rounds N] [--on-top]
      Keeps the latest hour of each parameter in a window, coloured by validity; looks for new data every
      N seconds (default: 5) until it is interrupted, or N rounds. Without a display: on standard output.
  station --help

DAY is 2015-01-05 or 20150105, MONTH 2015-01, HOUR 0 to 23.
--work FOLDER  where event files and the data error log go (default: the folder of DB)
Exit code: 0 done, 1 failed or no data, 2 usage.
)";

namespace {

// Options by name with their values, and the words that belong to none. What nobody takes is a usage error.
class Options {
 public:
  Options(int count, const char* const* words) {
    for (int i = 0; i < count; ++i) {
      const std::string word = words[i];
      if (!word.starts_with("--")) {
        loose_.push_back(word);
        continue;
      }
      const int values = word == "--hour" ? 2 : word == "--on-top" ? 0 : 1;
      if (i + values >= count) throw UsageError(word + " needs " + std::to_string(values) + " value(s)");
      if (!options_.emplace(word, std::vector<std::string>(words + i + 1, words + i + 1 + values)).second) {
        throw UsageError(word + " is given twice");
      }
      i += values;
    }
  }

  bool has(const std::string& name) const { return options_.contains(name); }

  std::vector<std::string> values(const std::string& name) {
    const auto found = options_.extract(name);
    if (found.empty()) throw UsageError(name + " is missing");
    for (const std::string& value : found.mapped()) {
      if (value.empty()) throw UsageError(name + " is empty");
    }
    return found.mapped();
  }
  std::string value(const std::string& name) { return values(name).front(); }

  int number(const std::string& name, int least, int greatest, int otherwise) {
    if (!has(name)) return otherwise;
    const std::string text = value(name);
    int number = 0;
    const auto [stop, fault] = std::from_chars(text.data(), text.data() + text.size(), number);
    if (fault != std::errc() || stop != text.data() + text.size() || number < least || number > greatest) {
      throw UsageError(name + " takes a whole number from " + std::to_string(least) + " to " +
                       std::to_string(greatest));
    }
    return number;
  }

  std::string loose_word(const char* meaning) {
    if (loose_.empty() || loose_.front().empty()) throw UsageError(std::string(meaning) + " is missing");
    std::string word = loose_.front();
    loose_.erase(loose_.begin());
    return word;
  }

  void refuse_the_rest() const {
    if (!loose_.empty()) throw UsageError("\"" + loose_.front() + "\" is one word too many");
    if (!options_.empty()) throw UsageError(options_.begin()->first + " does not belong here");
  }

 private:
  std::map<std::string, std::vector<std::string>> options_;
  std::vector<std::string> loose_;
};

template <class T>
T checked(const std::optional<T>& parsed, const std::string& text, const char* what) {
  if (!parsed) throw UsageError("\"" + text + "\" is no " + what);
  return *parsed;
}

Day day_of(const std::string& text) { return checked(parsed_day(text), text, "day such as 2015-01-05"); }

std::string checked_name(const char* what, const std::string& name, std::size_t limit) {
  const std::string fault = name_fault(name, limit);
  if (!fault.empty()) throw UsageError(std::string(what) + " \"" + name + "\" " + fault);
  return name;
}

std::vector<std::string> parameter_list(const std::string& text) {
  std::vector<std::string> names;
  for (std::size_t begin = 0; begin <= text.size();) {
    const std::size_t end = std::min(text.find(',', begin), text.size());
    names.push_back(checked_name("parameter", text.substr(begin, end - begin), kParameterLimit));
    begin = end + 1;
  }
  return names;
}

void take_period(Options& options, Arguments& arguments) {
  if (options.has("--day") + options.has("--month") + options.has("--hour") != 1) {
    throw UsageError("report needs one of --day, --month and --hour");
  }
  if (options.has("--day")) {
    arguments.day = day_of(options.value("--day"));
  } else if (options.has("--month")) {
    arguments.period = Period::month;
    const std::string text = options.value("--month");
    arguments.month = checked(parsed_month(text), text, "month such as 2015-01");
  } else {
    arguments.period = Period::hour;
    const std::vector<std::string> day_and_hour = options.values("--hour");
    arguments.day = day_of(day_and_hour[0]);
    arguments.hour = checked(parsed_hour(day_and_hour[1]), day_and_hour[1], "hour from 0 to 23");
  }
}

}  // namespace

std::string name_fault(const std::string& name, std::size_t limit) {
  // The library puts names into the query text as they are.
  const auto unusable = [](unsigned char c) { return c < ' ' || c == 0x7f || c == '\''; };
  if (name.empty()) return "is empty";
  if (std::any_of(name.begin(), name.end(), unusable)) return "holds an apostrophe or a control character";
  const auto starts_character = [](unsigned char c) { return (c & 0xc0) != 0x80; };
  const auto length = std::count_if(name.begin(), name.end(), starts_character);
  if (static_cast<std::size_t>(length) > limit)
    return "is longer than " + std::to_string(limit) + " characters";
  return {};
}

Arguments parsed_arguments(int count, const char* const* words) {
  for (int i = 1; i < count; ++i) {
    if (std::string_view(words[i]) == "--help" || std::string_view(words[i]) == "-h") return {};
  }
  Options options(count - 1, words + 1);
  Arguments arguments;
  const std::string command = options.loose_word("the command");
  if (command == "import") {
    arguments.command = Command::import_file;
    arguments.file = options.loose_word("the file to import");
    arguments.day = day_of(options.value("--from"));
  } else if (command == "report") {
    arguments.command = Command::report;
    take_period(options, arguments);
  } else if (command == "export") {
    arguments.command = Command::export_day;
    arguments.day = day_of(options.value("--day"));
    arguments.file = options.value("--file");
  } else if (command == "watch") {
    arguments.command = Command::watch;
    arguments.seconds = options.number("--seconds", 1, 3600, arguments.seconds);
    arguments.rounds = options.number("--rounds", 0, 1000000, arguments.rounds);
    arguments.on_top = options.has("--on-top");
    if (arguments.on_top) options.values("--on-top");
  } else {
    throw UsageError("\"" + command + "\" is no command");
  }
  if (arguments.command != Command::import_file && options.has("--parameters")) {
    arguments.parameters = parameter_list(options.value("--parameters"));
  }
  arguments.database = options.value("--db");
  arguments.station = checked_name("station", options.value("--station"), kStationLimit);
  if (options.has("--work")) {
    arguments.work_folder = options.value("--work");
  } else {
    arguments.work_folder = std::filesystem::absolute(arguments.database).parent_path().string();
  }
  options.refuse_the_rest();
  return arguments;
}

}  // namespace station
