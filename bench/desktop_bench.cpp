// Desktop databases, side by side in one run: a whole Access table against mdb-export, a dBASE table searched
// against the same rows in a plain database file, and a join of Access tables against the same tables in one.
//
// usage: desktop_bench [ACCESS-ROWS [DBASE-ROWS [ROUNDS]]]
#include <fcntl.h>
#include <poll.h>
#include <signal.h>
#include <spawn.h>
#include <sqlite3.h>
#include <sys/wait.h>
#include <unistd.h>

#include <cmath>
#include <cstdio>
#include <cstdlib>
#include <fstream>
#include <vector>

#include "ado/enums.h"
#include "contenders.h"
#include "data/CData.h"
#include "desktop_files.h"
#include "measure.h"
#include "providers/desktop/access/database.h"
#include "quarnofwk/quarnofwk.hpp"
#include "support/temp_folder.h"

namespace quarno::bench {
namespace {

constexpr int kLongestMs = 5 * 60 * 1000;

/// A statement and what its columns are: t text, d date, w whole, r real, c currency, b boolean.
struct Query {
  std::string text;
  std::vector<std::string> names;
  std::string kinds;
};

const Query kWholeTable = {"SELECT * FROM Measures",
                           {"Id", "StationId", "SubstanceId", "Code", "Remark", "Taken", "Ended", "Reading",
                            "Threshold", "Amount", "State", "Valid", "Note"},
                           "wwwttddrrcwbt"};

Query search(const std::string& condition) {
  return {"SELECT * FROM HOURS WHERE " + condition,
          {"STATION", "CODE", "STATUS", "DAY", "READING", "STATE", "VALID"},
          "tttdrrb"};
}

Query join(const std::string& condition) {
  return {
      "SELECT s.Name AS Station, p.Symbol AS Substance, Count(*) AS Lines, Sum(m.Reading) AS Total,"
      " Avg(m.Reading) AS Mean, Max(m.Taken) AS Latest"
      " FROM (Measures AS m INNER JOIN Stations AS s ON m.StationId = s.Id)"
      " INNER JOIN Substances AS p ON m.SubstanceId = p.Id " +
          condition + " GROUP BY s.Name, p.Symbol ORDER BY s.Name, p.Symbol",
      {"Station", "Substance", "Lines", "Total", "Mean", "Latest"},
      "ttwrrd"};
}

// Every value as the type it has.
struct Adder {
  Checksum& sum;

  void operator()(const std::string& value) const { sum.text(value); }
  void operator()(bool value) const { sum.whole(value ? -1 : 0); }
  void operator()(double value) const { sum.real(value); }
  void operator()(float value) const { sum.real(double{value}); }
  void operator()(Date value) const { sum.moment(value.days); }
  void operator()(Currency value) const { sum.whole(value.scaled); }
  void operator()(std::int16_t value) const { sum.whole(value); }
  void operator()(std::int32_t value) const { sum.whole(value); }
  // What stands for a memo that is null.
  void operator()(std::monostate) const {}
  void operator()(const auto&) const { fail("reading a value of its type"); }
};

Ptr<CData> opened(std::int16_t kind, const std::string& path, Cursor cursor) {
  auto data = make<CData>();
  data->SetMessages(false);
  data->SetDBType(kind);
  data->SetDatabase(path);
  if (cursor == Cursor::forward) {
    data->SetCursorLocation(ado::adUseServer);
    data->SetCursor(ado::adOpenForwardOnly);
    data->SetLock(ado::adLockReadOnly);
  }
  return data;
}

Checksum read_cdata(CData& data, const Query& query) {
  require(data.Selection({}, {}, {}, query.text), "Selection (" + data.Err_Description() + ")");
  Checksum sum;
  do {
    for (const std::string& name : query.names) std::visit(Adder{sum}, data.GetValue(name).storage());
  } while (data.MoveNext());
  return sum;
}

// As a host outside the library does it. `member` turns a member's name into what is called for every value.
template <class MemberOf>
Checksum read_by_name(const std::string& path, const Query& query, MemberOf member) {
  const quarnofwk::Object data = quarnofwk::create("CData");
  data.call("SetMessages", false);
  data.call("SetDBType", data.get("Conn_Jet"));
  data.call("SetDatabase", path);
  require(data.call("Selection", "", "", "", query.text).boolean(), "Selection by name");
  const auto get_value = member(data, "GetValue");
  const auto move_next = member(data, "MoveNext");
  Checksum sum;
  do {
    for (const std::string& name : query.names) {
      const quarnofwk::Value value = data.call(get_value, name);
      switch (value.type()) {
        case QF_EMPTY: break;
        case QF_TEXT: sum.text(value.text()); break;
        case QF_DATE: sum.moment(value.number()); break;
        case QF_CURRENCY: sum.whole(value.raw()->as.currency); break;
        case QF_SINGLE:
        case QF_DOUBLE: sum.real(value.number()); break;
        default: sum.whole(static_cast<std::int64_t>(value.number()));
      }
    }
  } while (data.call(move_next).boolean());
  return sum;
}

// The reader of the file alone, without the engine.
Checksum read_pages(const std::string& path, const Query& query) {
  using namespace desktop::access;
  const auto database = Database::open(path, {});
  TableRows rows = database->rows(*database->find_table("Measures"));
  Checksum sum;
  while (rows.next()) {
    for (std::size_t i = 0; i < query.kinds.size(); ++i) {
      const Cell cell = rows.cell(i);
      switch (cell.kind) {
        case Cell::Kind::text: sum.text(cell.text); break;
        case Cell::Kind::real: query.kinds[i] == 'd' ? sum.moment(cell.real) : sum.real(cell.real); break;
        default: sum.whole(cell.whole);
      }
    }
  }
  return sum;
}

// The engine's C interface on a plain file that stays open.
class PlainFile {
 public:
  explicit PlainFile(const std::string& path) {
    require(sqlite3_open(path.c_str(), &database_) == SQLITE_OK, "opening " + path);
  }
  ~PlainFile() { sqlite3_close(database_); }
  PlainFile(const PlainFile&) = delete;
  PlainFile& operator=(const PlainFile&) = delete;

  Checksum read(const Query& query) const {
    sqlite3_stmt* statement = nullptr;
    require(sqlite3_prepare_v2(database_, query.text.c_str(), -1, &statement, nullptr) == SQLITE_OK,
            "preparing");
    Checksum sum;
    std::string text;
    int result = SQLITE_ROW;
    while ((result = sqlite3_step(statement)) == SQLITE_ROW) {
      for (std::size_t i = 0; i < query.kinds.size(); ++i) {
        const int column = static_cast<int>(i);
        switch (query.kinds[i]) {
          case 't':
            // Texts become the reader's own, as everywhere.
            text.assign(reinterpret_cast<const char*>(sqlite3_column_text(statement, column)),
                        static_cast<std::size_t>(sqlite3_column_bytes(statement, column)));
            sum.text(text);
            break;
          case 'd': sum.moment(sqlite3_column_double(statement, column)); break;
          case 'r': sum.real(sqlite3_column_double(statement, column)); break;
          default: sum.whole(sqlite3_column_int64(statement, column));
        }
      }
    }
    sqlite3_finalize(statement);
    require(result == SQLITE_DONE, "reading");
    return sum;
  }

 private:
  sqlite3* database_ = nullptr;
};

// Runs a program with its output in a file, and ends it when it takes too long.
void run_into(const std::vector<std::string>& command, const std::string& output) {
  std::vector<char*> arguments;
  for (const std::string& word : command) arguments.push_back(const_cast<char*>(word.c_str()));
  arguments.push_back(nullptr);
  // Open in the program as long as it runs.
  int ends[2];
  require(::pipe2(ends, O_CLOEXEC) == 0, "making a pipe");
  posix_spawn_file_actions_t actions;
  posix_spawn_file_actions_init(&actions);
  posix_spawn_file_actions_addopen(&actions, 1, output.c_str(), O_WRONLY | O_CREAT | O_TRUNC, 0600);
  posix_spawn_file_actions_adddup2(&actions, ends[1], 3);
  pid_t pid = 0;
  const int failure = ::posix_spawnp(&pid, arguments[0], &actions, nullptr, arguments.data(), environ);
  posix_spawn_file_actions_destroy(&actions);
  ::close(ends[1]);
  pollfd ended{ends[0], POLLIN, 0};
  if (failure == 0 && ::poll(&ended, 1, kLongestMs) <= 0) ::kill(pid, SIGKILL);
  ::close(ends[0]);
  require(failure == 0, "starting " + command[0]);
  int status = 0;
  ::waitpid(pid, &status, 0);
  require(WIFEXITED(status) && WEXITSTATUS(status) == 0, "running " + command[0]);
}

// What mdb-export wrote. None of the texts has a comma or a line end.
Checksum exported(const std::string& path, const Query& query) {
  std::ifstream file(path);
  Checksum sum;
  for (std::string line; std::getline(file, line);) {
    std::size_t at = 0;
    for (const char kind : query.kinds) {
      const std::size_t end = std::min(line.find(',', at), line.size());
      const std::string value = line.substr(at, end - at);
      at = end + 1;
      int year = 0;
      unsigned month = 0;
      unsigned day = 0;
      unsigned hour = 0;
      switch (kind) {
        case 't': sum.text(value); break;
        case 'd':
          require(std::sscanf(value.c_str(), "%d-%u-%u %u", &year, &month, &day, &hour) == 4,
                  "reading a date");
          sum.moment(year, month, day, hour);
          break;
        case 'r': sum.real(std::strtod(value.c_str(), nullptr)); break;
        case 'c': sum.whole(std::llround(std::strtod(value.c_str(), nullptr) * 10000)); break;
        case 'b': sum.whole(value == "0" ? 0 : -1); break;
        default: sum.whole(std::strtoll(value.c_str(), nullptr, 10));
      }
    }
  }
  return sum;
}

void measure_access(const test::TempFolder& folder, long rows, int rounds) {
  const std::string path = folder / "measures.mdb";
  make_access_file(path, rows);
  // Once in a form that can be added up.
  const std::string moments = "%Y-%m-%d %H";
  run_into({"mdb-export", "-H", "-Q", "-D", moments, "-T", moments, path, "Measures"}, folder / "export.csv");
  const Checksum in_export = exported(folder / "export.csv", kWholeTable);
  const auto by_cdata = [&](Cursor cursor) {
    return [=] { return read_cdata(*opened(data::Conn_Jet, path, cursor), kWholeTable); };
  };
  const auto by_name = [](const quarnofwk::Object&, std::string_view name) { return name; };
  const auto found_once = [](const quarnofwk::Object& object, std::string_view name) {
    return object.find(name);
  };
  std::printf("Access table, %ld rows of 13 columns, %d rounds\n", rows, rounds);
  compare({{"mdb-export",
            [&] { return in_export; },
            {},
            [&] {
              run_into({"mdb-export", path, "Measures"}, "/dev/null");
            }},
           {"library, all by name", [&] { return read_by_name(path, kWholeTable, by_name); }, {}},
           {"library, members found once", [&] { return read_by_name(path, kWholeTable, found_once); }, {}},
           {"CData in C++", by_cdata(Cursor::client), {}},
           {"CData in C++, forward-only", by_cdata(Cursor::forward), {}},
           {"pages alone", [&] { return read_pages(path, kWholeTable); }, {}}},
          rows, rounds);

  make_access_twin(folder / "measures.db", rows);
  const PlainFile plain(folder / "measures.db");
  const auto data = opened(data::Conn_Jet, path, Cursor::client);
  for (const auto& [name, condition] : std::initializer_list<std::pair<const char*, const char*>>{
           {"all rows", ""}, {"one station", "WHERE s.Name = 'Station 07'"}}) {
    const Query query = join(condition);
    // Loaded before the first round.
    require(read_cdata(*data, query) == plain.read(query), "comparing the join");
    std::printf("\nJoin of three Access tables with GROUP BY, %s\n", name);
    compare({{"engine's C interface", [&] { return plain.read(query); }, {}},
             {"CData in C++", [&] { return read_cdata(*data, query); }, {}}},
            rows, rounds);
  }
}

void measure_dbase(const test::TempFolder& folder, long rows, int rounds) {
  make_dbase_folder(folder.path(), rows);
  make_dbase_twin(folder / "hours.db", rows);
  const PlainFile plain(folder / "hours.db");
  const auto data = opened(data::Conn_DB3, folder.path(), Cursor::client);
  const auto forward = opened(data::Conn_DB3, folder.path(), Cursor::forward);
  for (const std::string condition :
       {"CODE = 'C00042'", "STATUS = 'VAL'", "READING >= 12498.75", "READING < 6250"}) {
    const Query query = search(condition);
    std::printf("\ndBASE table of %ld rows, WHERE %s\n", rows, condition.c_str());
    compare({{"engine's C interface", [&] { return plain.read(query); }, {}},
             {"CData in C++", [&] { return read_cdata(*data, query); }, {}},
             {"CData in C++, forward-only", [&] { return read_cdata(*forward, query); }, {}}},
            rows, rounds);
  }
}

}  // namespace
}  // namespace quarno::bench

int main(int argc, char** argv) {
  using namespace quarno::bench;
  return finished([&] {
    const auto given = [&](int place, long fallback) {
      return argc > place ? std::atol(argv[place]) : fallback;
    };
    const long access_rows = given(1, 200'000);
    const long dbase_rows = given(2, 1'000'000);
    const int rounds = static_cast<int>(given(3, 5));
    require(access_rows >= 10'000 && dbase_rows >= 10'000 && rounds > 0, "reading the command line");
    const quarno::test::TempFolder folder;
    measure_access(folder, access_rows, rounds);
    measure_dbase(folder, dbase_rows, rounds);
  });
}
