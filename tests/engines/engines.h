// The databases the library reaches, as hosts reach them: through CData and nothing below it. What differs
// between them is declared in the tables of engines.cpp and nowhere else.
#pragma once

#include <gtest/gtest.h>

#include <chrono>
#include <optional>
#include <string>
#include <vector>

#include "ado/ado_error.h"
#include "ado/enums.h"
#include "data/CData.h"
#include "platform/fake/fakes.h"
#include "support/servers.h"
#include "support/temp_folder.h"

namespace quarno::test {

struct ColumnRow {
  const char* declaration;
  ado::DataType type;
  std::int32_t size;      // as GetFieldSize gives it
  std::int16_t decimals;  // as GetDecimals gives it
  Variant null;           // what a null reads as
  std::vector<Variant> values;
};

struct Reached {
  std::optional<Server::Kind> server;
  const char* own_database;                                       // the server's, or the file
  const char* driver;                                             // its registered name; null: none is needed
  const char* source;                                             // who signs its errors
  std::pair<const char*, std::string> first_file = {"a.db", ""};  // that there is without a server
};
struct Words {
  const char* series;  // rows 1 to N in a column x: what stands before N and behind it
  const char* series_end;
  const char* joined;      // the text "é" and x
  const char* long_text;   // a type
  const char* empty_name;  // a column's; null: there are none
};
struct Keys {
  const char* quote;       // about a name
  const char* identity;    // what a column is that numbers its rows
  bool loses_on_deadlock;  // the whole transaction
  /// What numbers the next rows of {t} in a way hosts rarely see, and the number of the next one; empty:
  /// nobody can tell it.
  std::vector<std::pair<const char*, const char*>> numberings;
  /// On a table {t}: a row that is added gets 7 in its W, each one added or changed in V leaves a row in {l}.
  std::vector<const char*> triggers;
  /// Keys, constraints, numbers for rows, views and triggers; without them all columns tell a row.
  bool keeps_rules = true;
};
struct Refusals {
  const char* slow;  // a statement of 5 s and more
  const char* login_refused;
  const char* unknown_database;  // null: the name of one is checked before it is opened
  const char* connection_refused;
  /// An ID that is refused in a second row, where the first one has 1: the error, and what a batch says.
  const char* refused_id = "1";
  std::int32_t refused_error = ado::kIntegrityViolation;
  std::int32_t refused_status = ado::adRecIntegrityViolation;
};
struct Database : Reached, Words, Keys, Refusals {
  std::vector<ColumnRow> columns;
};

struct Engine {
  const char* name;
  std::int16_t kind;
  const Database* database;
  const char* schema;                 // stands before a table's name
  const char* real_server = nullptr;  // the variable that names it
};

enum class Choose { all, distinct, one_a_database, one_of_ours, ours_with_rules, servers, one_a_server };
std::vector<const Engine*> engines(Choose choose);

/// What a connection is made with, where it is not the usual.
struct Where {
  std::string database = {};
  std::string password = server_password();
  int port = 0;
};

class EngineTest : public ::testing::TestWithParam<const Engine*> {
 protected:
  void SetUp() override;
  void TearDown() override;

  const Engine& engine() const { return *GetParam(); }
  const Database& database() const { return *engine().database; }
  bool is_real() const { return engine().real_server != nullptr; }
  Server& server() const;
  Ptr<CData> reaching(const Where& where = {});
  /// Makes a data source of an engine's server, or of a file; gives its name.
  std::string source_of(const Where& where, const std::string& more = {}) const;
  /// Makes it anew as `table`, under a name of its own; gives a statement's text behind FROM.
  void make_table(const std::string& columns, const char* quote = "");
  void run(const std::string& statement) {
    ASSERT_TRUE(data->ExecuteSQL(statement)) << statement << ": " << data->Err_Description();
  }
  void open(const std::string& statement) {
    ASSERT_TRUE(data->AccessQuery(statement)) << statement << ": " << data->Err_Description();
  }
  std::string series(int rows) const {
    return database().series + std::to_string(rows) + database().series_end;
  }
  /// A number or text of the current row, as text.
  static std::string shown(const Variant& value);

  TempFolder folder;
  ScopedVariable site{"QUARNOFWK_PROVIDERS", folder.put("providers.ini", "")};
  platform::fake::FixedModulePath module{folder / "CorvexFwk.so"};
  platform::ScopedPort<platform::ModulePath> module_in_place{module};
  platform::fake::RecordingDialogs dialogs;
  platform::ScopedPort<platform::Dialogs> dialogs_in_place{dialogs};
  platform::fake::FixedClock clock{{2024, 1, 5, 14, 7, 33, 0}};
  platform::ScopedPort<platform::Clock> clock_in_place{clock};
  Ptr<CData> data;
  std::string table;

 private:
  int port_of(const Where& where) const { return where.port != 0 ? where.port : server().port(); }

  std::vector<std::string> made_;
};

inline std::string engine_name(const ::testing::TestParamInfo<const Engine*>& each) {
  return each.param->name;
}

}  // namespace quarno::test
