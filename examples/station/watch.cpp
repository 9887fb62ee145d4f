#include <sys/mman.h>
#include <unistd.h>

#include <algorithm>
#include <chrono>
#include <csignal>
#include <cstdio>
#include <cstdlib>
#include <ctime>
#include <filesystem>
#include <system_error>
#include <thread>

#include "commands.h"
#include "measurement_db.h"
#include "watch_view.h"

namespace station {
namespace {

using std::chrono::seconds;
using std::chrono::steady_clock;

constexpr auto kBetweenTurns = std::chrono::milliseconds(50);
// The library writes a line to its log each time a database cannot be read.
constexpr seconds kBetweenLooksAtFaults{60};

volatile std::sig_atomic_t is_ended = 0;

Minute wall_clock() {
  const std::time_t now = std::time(nullptr);
  std::tm local{};
  localtime_r(&now, &local);
  const std::chrono::year_month_day date(std::chrono::year(local.tm_year + 1900),
                                         std::chrono::month(static_cast<unsigned>(local.tm_mon) + 1),
                                         std::chrono::day(static_cast<unsigned>(local.tm_mday)));
  return Day(date) + std::chrono::hours(local.tm_hour) + std::chrono::minutes(local.tm_min);
}

// One statement, so that all rows are of the same moment; each step of it is a look into the key.
std::string latest_rows_of(const std::string& station) {
  const std::string rows_of_station =
      " FROM " + std::string(kTable) + " WHERE DT_STATIONCODE = " + quoted(station);
  return "WITH RECURSIVE P(NAME) AS (SELECT MIN(DT_MeasureCod)" + rows_of_station +
         " UNION ALL SELECT (SELECT MIN(DT_MeasureCod)" + rows_of_station +
         " AND DT_MeasureCod > NAME) FROM P WHERE NAME IS NOT NULL) "
         "SELECT M.DT_MeasureCod, M.DT_DATE, M.DT_HOUR, M.DT_VALUE, M.DT_VALUE IS NULL AS NO_VALUE, "
         "M.DT_STATUS FROM P INNER JOIN " +
         kTable + " AS M ON M.rowid = (SELECT rowid" + rows_of_station +
         " AND DT_MeasureCod = P.NAME ORDER BY DT_DATE DESC, DT_HOUR DESC LIMIT 1)";
}

// A window's host has to let it handle its events. No member does only that; ReadUnixLine does it after every
// byte, so an empty line is read from a file in memory. A host with an event loop of its own needs none of
// this.
class WindowEvents {
 public:
  WindowEvents() : file_(memfd_create("station-watch", MFD_CLOEXEC)) {
    if (file_ < 0 || ::write(file_, "\n", 1) != 1) {
      throw std::system_error(errno, std::generic_category(), "a file in memory");
    }
    path_ = "/proc/self/fd/" + std::to_string(file_);
  }
  ~WindowEvents() { ::close(file_); }
  WindowEvents(const WindowEvents&) = delete;
  WindowEvents& operator=(const WindowEvents&) = delete;

  void process() const {
    if (reader_.call("OpenUnixFile", path_).boolean()) reader_.call("ReadUnixLine");
    reader_.call("CloseFile");
  }

 private:
  quarnofwk::Object reader_ = quarnofwk::create("CFileReader");
  int file_;
  std::string path_;
};

// As the library chooses, apart from a window that it turns out to be unable to show.
bool is_window_expected() {
  const auto setting = [](const char* name) {
    const char* const value = std::getenv(name);
    return std::string(value != nullptr ? value : "");
  };
  const std::string choice = setting("QUARNOFWK_UI");
  return (choice.empty() || choice == "gtk") &&
         !(setting("DISPLAY").empty() && setting("WAYLAND_DISPLAY").empty());
}

class Watch {
 public:
  explicit Watch(const Arguments& arguments) : arguments_(arguments) {}

  void run() {
    for (int round = 1;; ++round) {
      look();
      show();
      if (is_ended != 0 || round == arguments_.rounds) break;
      wait();
      if (is_ended != 0) break;
    }
    call_window({}, kHide);
    events_.process();
  }

 private:
  static constexpr std::int16_t kHide = 0, kShow = 1, kShowOnTop = 2;  // modes of the window

  void look() {
    try {
      if (!std::filesystem::exists(arguments_.database)) {
        throw std::runtime_error(arguments_.database + ": no such file");
      }
      reading_.rows = latest_rows();
      reading_.fault.clear();
      until_next_look_ = seconds(arguments_.seconds);
    } catch (const std::runtime_error& error) {
      // Whatever is wrong may pass: another program's lock, a file system that comes back.
      if (reading_.fault.empty()) {
        reading_.fault_since = wall_clock();
      } else {
        until_next_look_ = std::max(until_next_look_, std::min(2 * until_next_look_, kBetweenLooksAtFaults));
      }
      reading_.fault = error.what();
    }
  }

  // A new connection each time: one that stays open would go on reading a file that was replaced.
  std::vector<Latest> latest_rows() const {
    MeasurementDb db(arguments_.database, arguments_.work_folder);
    std::vector<Latest> rows;
    for (bool row = db.open(latest_rows_of(arguments_.station)); row; row = db.next()) {
      rows.push_back(latest_in(db));
    }
    return arguments_.parameters.empty() ? rows : asked_for(rows);
  }

  Latest latest_in(const MeasurementDb& db) const {
    const auto text = [&](const char* field) { return std::string(db.get(field).text()); };
    Latest latest{text("DT_MeasureCod"), text("DT_DATE"), text("DT_HOUR"), {}, text("DT_STATUS")};
    const quarnofwk::Value value = db.get("DT_VALUE");  // a null reads as 0
    if (!db.get("NO_VALUE").boolean() && value.type() != QF_TEXT) latest.value = value.number();
    const auto is = [&](const char* member) { return corvex_.call(member, latest.status).boolean(); };
    latest.validity = is("Valido") ? State::valid : is("Sostitutivo") ? State::substituted : State::not_valid;
    return latest;
  }

  std::vector<Latest> asked_for(const std::vector<Latest>& rows) const {
    std::vector<Latest> chosen;
    for (const std::string& name : arguments_.parameters) {
      const auto found = std::find_if(rows.begin(), rows.end(),
                                      [&](const Latest& latest) { return latest.parameter == name; });
      chosen.emplace_back(found != rows.end() ? *found : Latest());
      chosen.back().parameter = name;
    }
    return chosen;
  }

  void show() {
    const Face face = face_of(arguments_.station, reading_, wall_clock());
    if (shown_ == face) return;
    call_window(face, arguments_.on_top ? kShowOnTop : kShow);
    if (!is_window_expected()) print(face);
    shown_ = face;
  }

  void call_window(const Face& face, std::int16_t mode) const {
    corvex_.call("VisualizzaMessaggio", face.title, face.text, face.back, face.fore, mode);
  }

  static void print(const Face& face) {
    std::printf("%s [%s]\n%s\n", face.title.c_str(), face.colour, face.text.c_str());
    if (std::fflush(stdout) != 0) throw std::runtime_error("the output could not be written");
  }

  void wait() const {
    const auto end = steady_clock::now() + until_next_look_;
    while (is_ended == 0 && steady_clock::now() < end) {
      events_.process();
      std::this_thread::sleep_for(kBetweenTurns);
    }
  }

  const Arguments& arguments_;
  quarnofwk::Object corvex_ = quarnofwk::create("Corvex");
  WindowEvents events_;
  Reading reading_;
  std::optional<Face> shown_;
  seconds until_next_look_{arguments_.seconds};
};

}  // namespace

int watch(const Arguments& arguments) {
  for (const int signal : {SIGINT, SIGTERM}) std::signal(signal, [](int) { is_ended = 1; });
  Watch(arguments).run();
  return 0;
}

}  // namespace station
