#include "engines/engines.h"

#include <unistd.h>

#include <thread>

#include "ado/ado_error.h"
#include "ado/connection_string.h"
#include "common/convert.h"
#include "support/dbase_file.h"
#include "support/odbc_ini.h"

namespace quarno::test {
namespace {

using ado::DataType;

const Variant kNone;
const Variant kZero = std::int16_t{0};
constexpr std::int16_t kNoDecimals = 255;
constexpr std::int32_t kLongest = 2'147'483'647;

const Decimal kLargest = Decimal::parse("1234567890123456.7891").value();
const Decimal kSmallest = Decimal::parse("-0.0001").value();
const Decimal kMostUnsigned = Decimal::parse("18446744073709551615").value();
const Variant kMoment = Date{42009.0 + (14 * 3600 + 7 * 60 + 33) / 86400.0};
const Variant kFraction = date_from_civil({2015, 1, 5, 23, 59, 59, 250000}).value();
const Variant::Bytes kBlob(1'000'000, 0xFE);
// Characters of three bytes, so that pieces of it end inside one.
const std::string kLong = [] {
  std::string text = "x";
  for (int i = 0; i < 350'000; ++i) text += "€";
  return text;
}();
const std::vector<Variant> kTexts = {"perché 🙂", "", "'; DROP--"};
const Variant kFirst = date_from_civil({100, 1, 1, 23, 59, 59, 125000}).value();
const Variant kLast = date_from_civil({9999, 12, 31, 23, 59, 59, 875000}).value();
const std::vector<Variant> kDays = {Date{42009.0}, Date{-1000.0}, Date{-657434.0}, Date{2958465.0}};
const std::vector<Variant> kMoments = {kMoment, kFraction, Date{0.25}, kFirst, kLast};
const std::vector<Variant> kReals = {0.1, -1e300, 34558.0, 1.0 / 3, 1.7976931348623157e308};
const std::vector<Variant> kBlobs = {kBlob, Variant::Bytes{}, Variant::Bytes{0}};

std::vector<ColumnRow> with_integers(std::vector<ColumnRow> rows) {
  rows.insert(rows.end(), {{"SMALLINT", DataType::small_int, 2, kNoDecimals, kZero, {std::int16_t{-32768}}},
                           {"INTEGER", DataType::integer, 4, kNoDecimals, kZero, {INT32_MIN, INT32_MAX}},
                           {"BIGINT", DataType::big_int, 8, kNoDecimals, kZero, {INT64_MIN, INT64_MAX}}});
  return rows;
}

constexpr const char* kRecursive =
    "(WITH RECURSIVE c(x) AS (SELECT 1 UNION ALL SELECT x + 1 FROM c WHERE x < ";
constexpr const char* kRecursiveEnd = ") SELECT x FROM c) s";
constexpr const char* kEndless =
    "WITH RECURSIVE c(x) AS (SELECT 1 UNION ALL SELECT x + 1 FROM c) SELECT max(x) FROM c";
constexpr const char* kOdbc = "QuarnoFwk ODBC Provider";
const std::vector<const char*> kSqliteTriggers = {
    "CREATE TRIGGER {t}a AFTER INSERT ON {t} BEGIN INSERT INTO {l} (V) VALUES (NEW.V); UPDATE {t} SET W = 7 "
    "WHERE ID = NEW.ID; END",
    "CREATE TRIGGER {t}b AFTER UPDATE OF V ON {t} BEGIN INSERT INTO {l} (V) VALUES (NEW.V); END"};

// More than the column's own type holds.
const std::vector<std::pair<const char*, const char*>> kSqliteNumberings = {
    {"INSERT INTO {t} (ID, V) VALUES (9007199254740993, 'one')", "9007199254740994"}};

const std::vector<ColumnRow> kEmbeddedColumns = with_integers(
    {{"BOOLEAN", DataType::boolean, 2, kNoDecimals, false, {true, false}},
     {"TINYINT", DataType::unsigned_tiny_int, 1, kNoDecimals, kZero, {std::uint8_t{255}}},
     {"SINGLE", DataType::single, 4, kNoDecimals, kZero, {0.1F, -2.5F}},
     {"DOUBLE", DataType::real, 8, kNoDecimals, kZero, kReals},
     {"CURRENCY", DataType::currency, 8, kNoDecimals, kNone, {Currency{140000}, Currency{INT64_MIN}}},
     {"DECIMAL(20,4)", DataType::numeric, 19, 4, kZero, {kLargest, kSmallest}},
     {"DATETIME",
      DataType::date,
      8,
      kNoDecimals,
      kNone,
      {kMoment, kFraction, Date{42009.0}, Date{0.25}, kFirst, kLast}},
     {"VARCHAR(50)", DataType::var_wchar, 50, kNoDecimals, kNone, kTexts},
     {"LONGTEXT", DataType::long_var_wchar, 536870910, kNoDecimals, kNone, {kLong, ""}},
     {"LONGBLOB", DataType::long_var_binary, 1073741823, kNoDecimals, kNone, kBlobs},
     {"GUID", DataType::guid, 16, kNoDecimals, kNone, {"{0000000A-0000-4000-8000-000000000001}"}}});
const Database kEmbedded = {
    {std::nullopt, "a.db", nullptr, "QuarnoFwk Desktop Engine"},
    {kRecursive, kRecursiveEnd, "'é' || x", "LONGTEXT", "\"\""},
    {"\"", "INTEGER PRIMARY KEY AUTOINCREMENT", false, kSqliteNumberings, kSqliteTriggers},
    {kEndless, "", "Unrecognized database format", ""},
    kEmbeddedColumns};

// Texts are never empty, numbers are digits in a field, dates are days.
const std::vector<ColumnRow> kDbaseColumns = {
    {"BOOLEAN", DataType::boolean, 2, kNoDecimals, false, {true, false}},
    {"SMALLINT", DataType::real, 8, kNoDecimals, kZero, {-32768.0}},
    {"INTEGER", DataType::real, 8, kNoDecimals, kZero, {-2147483648.0, 2147483647.0}},
    {"DOUBLE", DataType::real, 8, kNoDecimals, kZero, {0.1, -12345678.5, 34558.0}},
    {"CURRENCY", DataType::real, 8, kNoDecimals, kZero, {1.25, -92233720368547.5}},
    {"DECIMAL(10,4)", DataType::real, 8, kNoDecimals, kZero, {-12345.6789}},
    {"DATETIME", DataType::date, 8, kNoDecimals, kNone, kDays},
    {"VARCHAR(50)", DataType::var_wchar, 50, kNoDecimals, kNone, {"perché €", "'; DROP--"}},
    {"LONGTEXT", DataType::long_var_wchar, 536870910, kNoDecimals, kNone, {kLong}}};
const Database kDbase = {
    {std::nullopt, ".", nullptr, "QuarnoFwk Desktop Engine", {"FIRST.DBF", empty_dbase_table()}},
    {kRecursive, kRecursiveEnd, "'é' || x", "LONGTEXT", "\"\""},
    {"\"", "INTEGER", false, {}, {}, false},
    {kEndless, "", nullptr, "", "1e15", ado::kMultipleStep, ado::adRecInvalid},
    kDbaseColumns};

const std::vector<ColumnRow> kSqliteDriverColumns = with_integers(
    {{"BIT", DataType::boolean, 2, kNoDecimals, false, {true, false}},
     // The driver makes a text of 15 digits of a number.
     {"DOUBLE PRECISION", DataType::real, 8, kNoDecimals, kZero, {0.1, -1e300, 34558.0}},
     // The driver has no exact numbers: the text comes back.
     {"DECIMAL(20,4)", DataType::var_char, 20, kNoDecimals, "", {"12.5", "-1"}},
     {"DATE", DataType::db_date, 6, kNoDecimals, kNone, kDays},
     {"TIMESTAMP", DataType::db_timestamp, 16, 0, kNone, {kMoment, kFraction, Date{2.0}, kFirst, kLast}},
     {"VARCHAR(50)", DataType::var_char, 50, kNoDecimals, "", kTexts},
     {"TEXT", DataType::long_var_char, kLongest, kNoDecimals, kNone, {kLong, ""}},
     {"BLOB", DataType::long_var_binary, kLongest, kNoDecimals, kNone, {kBlob, Variant::Bytes{0}}}});
const Database kSqliteDriver = {
    {std::nullopt, "a.db", "SQLite3", kOdbc},
    {kRecursive, kRecursiveEnd, "'é' || x", "TEXT", "\"\""},
    {"\"", "INTEGER PRIMARY KEY AUTOINCREMENT", false, kSqliteNumberings, kSqliteTriggers},
    {kEndless, "", "connect failed", ""},
    kSqliteDriverColumns};

const std::vector<ColumnRow> kMariaDbColumns = with_integers(
    {{"BIT", DataType::boolean, 2, kNoDecimals, false, {true, false}},
     {"TINYINT", DataType::tiny_int, 1, kNoDecimals, kZero, {std::int16_t{-128}, std::int16_t{127}}},
     {"TINYINT UNSIGNED", DataType::unsigned_tiny_int, 1, kNoDecimals, kZero, {std::uint8_t{255}}},
     {"SMALLINT UNSIGNED", DataType::unsigned_small_int, 2, kNoDecimals, kZero, {std::int32_t{65535}}},
     {"INTEGER UNSIGNED", DataType::unsigned_int, 4, kNoDecimals, kZero, {std::int64_t{4294967295}}},
     {"BIGINT UNSIGNED", DataType::unsigned_big_int, 8, kNoDecimals, kZero, {kMostUnsigned}},
     {"FLOAT", DataType::single, 4, kNoDecimals, kZero, {0.1F, -2.5F}},
     {"DOUBLE", DataType::real, 8, kNoDecimals, kZero, kReals},
     {"DECIMAL(20,4)", DataType::numeric, 19, 4, kZero, {kLargest, kSmallest}},
     {"DATE", DataType::db_date, 6, kNoDecimals, kNone, kDays},
     {"TIME", DataType::db_time, 6, kNoDecimals, kNone, {Date{0.25}, Date{0.0}}},
     {"DATETIME(3)", DataType::db_timestamp, 16, 3, kNone, kMoments},
     {"CHAR(5)", DataType::char_, 5, kNoDecimals, "", {"abcde", "é🙂"}},
     {"VARCHAR(50)", DataType::var_char, 50, kNoDecimals, "", kTexts},
     {"LONGTEXT", DataType::long_var_char, 1073741823, kNoDecimals, kNone, {kLong, ""}},
     {"VARBINARY(16)", DataType::var_binary, 16, kNoDecimals, kNone, {Variant::Bytes{0, 1, 255}}},
     {"LONGBLOB", DataType::long_var_binary, kLongest, kNoDecimals, kNone, kBlobs}});
const Database kMariaDb = {
    {Server::Kind::mariadb, kServerDatabase, "MariaDB Unicode", kOdbc},
    {"(SELECT CAST(seq AS INTEGER) AS x FROM seq_1_to_", ") s", "CONCAT('é', x)", "LONGTEXT", "''"},
    {"`",
     "INTEGER AUTO_INCREMENT PRIMARY KEY",
     true,
     {{"ALTER TABLE {t} MODIFY ID BIGINT UNSIGNED AUTO_INCREMENT, AUTO_INCREMENT = 18446744073709551000",
       "18446744073709551000"}},
     {"CREATE TRIGGER {t}a BEFORE INSERT ON {t} FOR EACH ROW SET NEW.W = 7",
      "CREATE TRIGGER {t}b AFTER INSERT ON {t} FOR EACH ROW INSERT INTO {l} (V) VALUES (NEW.V)",
      "CREATE TRIGGER {t}c AFTER UPDATE ON {t} FOR EACH ROW INSERT INTO {l} (V) VALUES (NEW.V)"}},
    {"SELECT SLEEP(5)", "Access denied", "Unknown database", "Can't connect"},
    kMariaDbColumns};

const std::vector<ColumnRow> kPostgreSqlColumns = with_integers(
    {{"BOOLEAN", DataType::boolean, 2, kNoDecimals, false, {true, false}},
     {"REAL", DataType::single, 4, kNoDecimals, kZero, {0.1F, -2.5F}},
     {"DOUBLE PRECISION", DataType::real, 8, kNoDecimals, kZero, kReals},
     {"DECIMAL(20,4)", DataType::numeric, 19, 4, kZero, {kLargest, kSmallest}},
     // Six decimals are the driver's guess.
     {"NUMERIC", DataType::numeric, 19, 6, kZero, {Decimal::parse("0.123456789").value()}},
     {"DATE", DataType::db_date, 6, kNoDecimals, kNone, kDays},
     {"TIME", DataType::db_time, 6, kNoDecimals, kNone, {Date{0.25}, Date{0.0}}},
     {"TIMESTAMP", DataType::db_timestamp, 16, 6, kNone, kMoments},
     {"CHAR(5)", DataType::char_, 5, kNoDecimals, "", {"abcde", "é🙂   "}},
     {"VARCHAR(50)", DataType::var_char, 50, kNoDecimals, "", kTexts},
     {"TEXT", DataType::long_var_char, kLongest, kNoDecimals, kNone, {kLong, ""}},
     {"UUID", DataType::guid, 16, kNoDecimals, kNone, {"{0000000A-0000-4000-8000-000000000001}"}},
     {"BYTEA", DataType::long_var_binary, kLongest, kNoDecimals, kNone, kBlobs}});
const Database kPostgreSql = {
    {Server::Kind::postgresql, "postgres", "PostgreSQL Unicode", kOdbc},
    {"generate_series(1, ", ") s(x)", "'é' || x", "TEXT", nullptr},
    {"\"",
     "SERIAL PRIMARY KEY",
     false,
     {{"CREATE SEQUENCE {t}s INCREMENT -1; ALTER TABLE {t} ALTER ID SET DEFAULT nextval('{t}s')", ""},
      {"ALTER SEQUENCE {t}_ID_seq OWNED BY NONE; ALTER SEQUENCE {t}s OWNED BY {t}.ID", "-2"}},
     {"CREATE FUNCTION {t}f() RETURNS trigger LANGUAGE plpgsql AS $$BEGIN INSERT INTO {l} (V) VALUES "
      "(NEW.V); "
      "IF TG_OP = 'INSERT' THEN UPDATE {t} SET W = 7 WHERE ID = NEW.ID; END IF; RETURN NULL; END$$",
      "CREATE TRIGGER {t}a AFTER INSERT OR UPDATE OF V ON {t} FOR EACH ROW EXECUTE FUNCTION {t}f()"}},
    {"SELECT pg_sleep(5)", "password authentication failed", "does not exist", "Connection refused"},
    kPostgreSqlColumns};

const std::vector<ColumnRow> kSqlServerColumns = with_integers(
    {{"FLOAT", DataType::real, 8, kNoDecimals, kZero, kReals},
     {"DECIMAL(20,4)", DataType::numeric, 19, 4, kZero, {kLargest, kSmallest}},
     {"DATETIME2(3)", DataType::db_timestamp, 16, 3, kNone, kMoments},
     {"VARBINARY(16)", DataType::var_binary, 16, kNoDecimals, kNone, {Variant::Bytes{0, 1, 255}}}});
const Database kSqlServer = {
    {std::nullopt, "", "FreeTDS", kOdbc},
    {"(SELECT TOP (",
     ") CAST(ROW_NUMBER() OVER (ORDER BY (SELECT 1)) AS INT) AS x FROM sys.all_columns a CROSS JOIN "
     "sys.all_columns b) s",
     "CONCAT(NCHAR(233), x)", "NVARCHAR(MAX)", nullptr},
    {"\"", "INT IDENTITY PRIMARY KEY", true, {}, {}},
    {"WAITFOR DELAY '00:00:05'", "Login failed", "", ""},
    kSqlServerColumns};

const std::vector<ColumnRow> kOracleColumns = {
    {"NUMBER(20,4)", DataType::numeric, 19, 4, kZero, {kLargest, kSmallest}}};
const Database kOracle = {
    {std::nullopt, "", "Oracle", kOdbc},
    {"(SELECT LEVEL AS x FROM dual CONNECT BY LEVEL <= ", ") s", "UNISTR('\\00e9') || x", "CLOB", nullptr},
    {"\"", "", false, {}, {}},
    {"BEGIN DBMS_SESSION.SLEEP(5); END;", "ORA-01017", "", ""},
    kOracleColumns};

// PostgreSQL stands in where a site's settings say so; on kind 0 it needs names that are not qualified for
// it.
const Engine kEngines[] = {
    {"Embedded", data::Conn_Jet, &kEmbedded, ""},
    {"Dbase", data::Conn_DB3, &kDbase, ""},
    {"SQLiteSource", data::Conn_ODBC, &kSqliteDriver, ""},
    {"MySQL3", data::Conn_MYSQL, &kMariaDb, ""},
    {"MySQL5", data::Conn_MYSQL5, &kMariaDb, ""},
    {"PostgreSQLSource", data::Conn_ODBC, &kPostgreSql, ""},
    {"SqlKind", data::Conn_SQL, &kPostgreSql, "public."},
    {"As400Kind", data::Conn_As400, &kPostgreSql, ""},
    {"UdlKind", data::Conn_UDL, &kPostgreSql, ""},
    {"SybaseKind", data::Conn_Sybase, &kPostgreSql, ""},
    {"RealSqlServer", data::Conn_SQL, &kSqlServer, "", "QUARNOFWK_TEST_SQLSERVER"},
    {"RealOracle", data::Conn_Oracle, &kOracle, "", "QUARNOFWK_TEST_ORACLE"},
};

std::string quoted(const std::string& value) { return "\"" + value + "\""; }

}  // namespace

std::vector<const Engine*> engines(Choose choose) {
  std::vector<const Engine*> result;
  for (const Engine& engine : kEngines) {
    if (engine.real_server != nullptr && std::getenv(engine.real_server) == nullptr) continue;
    const bool served = engine.database->server.has_value();
    if (!served && (choose == Choose::servers || choose == Choose::one_a_server)) continue;
    const bool ours = choose == Choose::one_of_ours || choose == Choose::ours_with_rules;
    if (ours && engine.real_server != nullptr) continue;
    if (choose == Choose::ours_with_rules && !engine.database->keeps_rules) continue;
    const bool again = !result.empty() && result.back()->database == engine.database;
    if (again && choose != Choose::all && choose != Choose::distinct && choose != Choose::servers) continue;
    // They differ from kind 0 in how a table is named and in nothing else.
    const bool as_kind_0 =
        engine.kind == data::Conn_As400 || engine.kind == data::Conn_UDL || engine.kind == data::Conn_Sybase;
    if (as_kind_0 && choose != Choose::all) continue;
    result.push_back(&engine);
  }
  return result;
}

Server& EngineTest::server() const {
  static Server mariadb(Server::Kind::mariadb);
  static Server postgresql(Server::Kind::postgresql);
  return database().server == Server::Kind::mariadb ? mariadb : postgresql;
}

void EngineTest::SetUp() {
  OdbcIni& ini = OdbcIni::of_program();
  if (is_real()) ini.add_machine_drivers();
  const std::string problem = database().server ? server().ensure_running() : "";
  if (!problem.empty()) GTEST_SKIP() << engine().name << ": " << problem;
  folder.put(database().first_file.first, database().first_file.second);
  data = reaching();
  // A server accepts before it lets anyone in.
  for (const auto end = std::chrono::steady_clock::now() + std::chrono::seconds(10);
       !data->AccessQuery("SELECT x FROM " + series(1));) {
    const std::string failure = data->Err_Description();
    if (failure.find("Can't open lib") != std::string::npos) GTEST_SKIP() << engine().name << ": " << failure;
    ASSERT_LT(std::chrono::steady_clock::now() - end, std::chrono::seconds(0)) << failure;
    std::this_thread::sleep_for(std::chrono::milliseconds(50));
  }
  data = reaching();
}

void EngineTest::TearDown() {
  // A test may have left this one inside a transaction or without its server.
  const auto cleaning = is_real() ? reaching() : nullptr;
  for (const std::string& name : made_) {
    if (cleaning) cleaning->ExecuteSQL("DROP TABLE " + name);
  }
}

Ptr<CData> EngineTest::reaching(const Where& where) {
  auto made = make<CData>();
  made->m_LogPath = folder.path();
  made->SetMessages(false);
  made->SetDBType(engine().kind);
  if (is_real()) {
    const auto words = ado::ConnectionString::parse(std::getenv(engine().real_server));
    made->SetServer(words.value_or("Server", ""));
    made->SetDatabase(
        words.value_or("Database", ""), words.value_or("UID", ""),
        quoted(where.password == server_password() ? words.value_or("PWD", "") : where.password));
    return made;
  }
  const bool by_source = engine().kind == data::Conn_ODBC;
  if (by_source) made->SetServer(source_of(where));
  const std::string name = where.database.empty() ? database().own_database : where.database;
  if (!database().server) {
    made->SetDatabase(by_source ? "" : folder / name);
    return made;
  }
  if (!by_source) {
    made->SetServer("127.0.0.1;PORT=" + std::to_string(port_of(where)));
    folder.put("providers.ini", "[providers]\nSQLOLEDB = PostgreSQL Unicode\n");
  }
  made->SetDatabase(name, kServerUser, quoted(where.password));
  return made;
}

std::string EngineTest::source_of(const Where& where, const std::string& more) const {
  const std::string name = where.database.empty() ? database().own_database : where.database;
  const std::string place =
      database().server
          ? "Servername=127.0.0.1\nPort=" + std::to_string(port_of(where)) + "\nDatabase=" + name
          : "Database=" + folder / name;
  return OdbcIni::of_program().add_source(database().driver, place + more);
}

void EngineTest::make_table(const std::string& columns, const char* quote) {
  static int number = 0;
  table = engine().schema + (quote + ("QF_" + std::to_string(::getpid()))) + "_" + std::to_string(++number) +
          quote;
  made_.push_back(table);
  run("CREATE TABLE " + table + " (" + columns + ")");
  data->m_Tabella = table;
}

std::string EngineTest::shown(const Variant& value) { return to_text(value, LocaleInfo{}); }

}  // namespace quarno::test
