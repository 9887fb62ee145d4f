// SQL Server's driver of this system, against a server that answers from a script: what a statement meets on
// the wire, and what the driver makes of it, reach the object model whole.
#include <gtest/gtest.h>

#include <chrono>
#include <functional>
#include <sstream>

#include "ado/Connection.h"
#include "ado/Fields.h"
#include "ado/Recordset.h"
#include "ado/ado_error.h"
#include "common/convert.h"
#include "common/text.h"
#include "providers/odbc/odbc_provider.h"
#include "support/odbc_ini.h"
#include "support/outcome.h"
#include "support/servers.h"
#include "support/tds_peer.h"

namespace quarno::odbc {
namespace {

using namespace std::chrono_literals;
using namespace test::tds;
using test::TdsAnswer;
using Then = TdsAnswer::Then;
using Texts = std::vector<std::string>;

const std::string kUser = "tëster;{1}", &kPassword = test::server_password();
const std::vector<Column> kShort = {{"n", kInt, 4}, {"t", kNVarChar, 80}};
const std::vector<Column> kLong = {
    {"n", kInt, 4}, {"t", kNVarChar, 80}, {"l", kNVarChar, kMax}, {"m", kInt, 4}};

std::string repeated(std::string_view text, std::size_t count) {
  std::string result;
  while (count-- > 0) result += text;
  return result;
}

Variant date(int year, int month, int day, int hour = 0, int minute = 0, int second = 0,
             int microsecond = 0) {
  return date_from_civil({year, month, day, hour, minute, second, microsecond}).value();
}
std::string day(int year, int month, int day_of_month) {
  const Variant moment = date(year, month, day_of_month);
  return le(static_cast<std::uint64_t>(moment.get_if<Date>()->days + 693'593), 3);
}

// Rows that number themselves, of the columns above; the last done is left to the caller.
std::string numbered(const std::vector<Column>& described, std::uint64_t count) {
  std::string result = columns(described);
  for (std::uint64_t i = 0; i < count; ++i) {
    const Cell text = i % 3 == 0 ? Cell() : utf16("è" + std::to_string(i));
    const Cell long_text = i % 5 == 0 ? Cell() : utf16(repeated("€", i));
    result += row(described, {le(i, 4), text, long_text, le(i + 1, 4)});
  }
  return result;
}
std::string whole(const std::vector<Column>& described, std::uint64_t count) {
  return numbered(described, count) + done(count);
}
// The last row breaks off in the middle, unless the answer ends as it should.
std::string broken(const std::vector<Column>& described, std::uint64_t count) {
  const std::string rows = numbered(described, count);
  return rows.substr(0, rows.size() - 3) + done();
}

class FreeTdsTest : public ::testing::Test {
 protected:
  void SetUp() override {
    // None of the machine's own settings are to count.
    test::OdbcIni::of_program();
    static const test::ScopedVariable no_servers("FREETDSCONF", "/dev/null");
    try {
      connection->Open(text());
    } catch (const Error& error) {
      if (error.description.find("Can't open lib") == std::string::npos) throw;
      GTEST_SKIP() << error.description;
    }
  }
  std::string text(const std::string& password = kPassword, const std::string& database = "station",
                   int port = 0) const {
    const auto braced = [](const auto& value) { return "{" + text::replace_all(value, "}", "}}") + "}"; };
    return "DRIVER={libtdsodbc.so};SERVER=127.0.0.1;PORT=" + std::to_string(port != 0 ? port : peer.port()) +
           ";UID=" + braced(kUser) + ";APP=quarno;DATABASE=" + database + ";PWD=" + braced(password);
  }
  void reconnect() {
    connection->Close();
    connection->Open(text());
  }
  std::unique_ptr<ado::Session> session() const {
    return odbc_provider().open(ado::ConnectionString::parse(text()), 5);
  }
  Ptr<ado::Recordset> opened(const std::string& statement,
                             std::int32_t cursor = ado::adOpenForwardOnly) const {
    auto rows = make<ado::Recordset>();
    rows->Open(statement, Variant(connection), cursor, ado::adLockReadOnly);
    return rows;
  }
  int error_of(const std::string& statement) const {
    return test::error_of([&] { return connection->Execute(statement); });
  }
  // How many rows there are, each in its place; or "!" and the number of the error that ended them.
  std::string walked(const std::string& statement) const {
    return test::outcome([&] {
      std::int32_t count = 0;
      for (const auto rows = opened(statement); !rows->at_eof(); rows->MoveNext()) {
        EXPECT_EQ(rows->value(0), Variant(count++));
      }
      return count;
    });
  }

  test::TdsPeer peer{kUser, kPassword, "station"};
  Ptr<ado::Connection> connection = make<ado::Connection>();
};

const auto failed = [](int number) { return "!" + std::to_string(number); };
const std::string kIntegrity = failed(ado::kIntegrityViolation);
const std::string kTooLate = failed(ado::kTimeoutExpired);
const std::string kFailed = failed(ado::kUnspecified);

TEST_F(FreeTdsTest, LoginSaysWhatTheHostSaid) {
  const auto login = peer.logins().at(0);
  EXPECT_EQ((Texts{login.user, login.password, login.database, login.application}),
            (Texts{kUser, kPassword, "station", "quarno"}));
  EXPECT_EQ(login.version, 0x74000004u);
  const test::SilentListener silent;
  // clang-format off
  const struct { std::string text; int number; const char* state; } rows[] = {
      {text("not the password"), ado::kLoginFailed, "28000"},
      {text(kPassword, "nowhere"), ado::kUnspecified, "08004"},
      {text(kPassword, "station", test::free_port()), ado::kUnspecified, "08S01"},
      {text(kPassword, "station", silent.port()), ado::kTimeoutExpired, "HYT00"},
      {text("not the password €"), ado::kUnspecified, ""},  // the driver has no way to send it
  };
  // clang-format on
  for (const auto& row : rows) {
    SCOPED_TRACE(row.state);
    const auto refused = make<ado::Connection>();
    refused->set_ConnectionTimeout(1);
    const auto before = std::chrono::steady_clock::now();
    EXPECT_EQ(test::error_of([&] { return refused->Open(row.text), 0; }), row.number);
    EXPECT_LT(std::chrono::steady_clock::now() - before, 3s);
    const auto error = refused->Errors()->Item(std::int16_t{0});
    EXPECT_EQ(error->SQLState(), row.state);
    for (const std::string& secret : {kPassword, std::string("not the password")})
      EXPECT_EQ(error->Description().find(secret), std::string::npos);
  }
}

TEST_F(FreeTdsTest, EveryTypeArrives) {
  constexpr std::uint64_t kTicks = 508'531'234'560;  // 14:07:33.123456
  const std::string guid("\x33\x22\x11\x00\x55\x44\x77\x66\x88\x99\xAA\xBB\xCC\xDD\xEE\xFF", 16);
  const std::string wide = "x" + repeated("€🙂", 40'000);
  const std::string raw(100'000, '\xFE');
  const Variant::Bytes bytes(raw.begin(), raw.end());
  const std::string euros = repeated("€", 70'000);
  const std::string smiles = repeated("🙂", 2000);
  const std::string nines = le(1, 1) + le(0x098A223FFFFFFFFF, 8) + le(0x4B3B4CA85A86C47A, 8);
  const Variant moment = date(2024, 1, 5, 14, 7, 33, 123'456);
  const std::string offset = le(kTicks - 72'000'000'000, 5) + day(2024, 1, 5) + le(120, 2);
  const auto exact = [](const char* text) { return Variant(Decimal::parse(text).value()); };
  // The model's type, defined size, precision and scale; the value on the wire and in the model.
  // clang-format off
  const struct { Column column; const char* described; std::string wire; Variant value; } rows[] = {
      {{"int", kInt, 4}, "3 4 10 255", le(0x80000000, 4), INT32_MIN},
      {{"bigint", kInt, 8}, "20 8 19 255", le(INT64_MAX, 8), INT64_MAX},
      {{"smallint", kInt, 2}, "2 2 5 255", le(0x8000, 2), std::int16_t{-32768}},
      {{"tinyint", kInt, 1}, "17 1 3 255", le(255, 1), std::uint8_t{255}},
      {{"bit", kBit, 1}, "11 2 255 255", le(1, 1), true},
      {{"real", kFloat, 4}, "4 4 7 255", le(0xC0200000, 4), -2.5F},
      {{"float", kFloat, 8}, "5 8 15 255", le(0x3FD5555555555555, 8), 1.0 / 3},
      {{"decimal", kDecimal, 17, 38, 10}, "131 19 38 10", le(0, 1) + le(12'500'000'000, 16), exact("-1.25")},
      {{"38 digits", kNumeric, 17, 38, 0}, "131 19 38 0", nines, repeated("9", 38)},
      {{"money", kMoney, 8}, "6 8 19 255", std::string(8, '\xFF'), Currency{-1}},
      {{"smallmoney", kMoney, 4}, "6 8 19 255", le(123456, 4), Currency{123456}},
      {{"datetime", kDateTime, 8}, "135 16 23 3", le(45294, 4) + le(1201, 4), date(2024, 1, 5, 0, 0, 4, 3000)},
      {{"smalldatetime", kDateTime, 4}, "135 16 16 0", le(45294, 2) + le(847, 2), date(2024, 1, 5, 14, 7)},
      {{"date", kDate}, "133 6 10 255", day(1600, 1, 5), date(1600, 1, 5)},
      {{"year 1", kDate}, "133 6 10 255", le(0, 3), "0001-01-01 00:00:00"},
      {{"time", kTime, 0, 0, 7}, "134 6 16 255", le(kTicks, 5), date(1899, 12, 30, 14, 7, 33, 123'456)},
      {{"datetime2", kDateTime2, 0, 0, 7}, "135 16 27 7", le(kTicks, 5) + day(2024, 1, 5), moment},
      {{"o", kDateTimeOffset, 0, 0, 7}, "202 34 255 255", offset, "2024-01-05 14:07:33.1234560 +02:00"},
      {{"char", kChar, 6}, "129 6 255 255", "\xE9\x80\x80   ", "é€€   "},
      {{"varchar", kVarChar, 8000}, "200 8000 255 255", std::string(8000, '\x80'), repeated("€", 8000)},
      {{"nchar", kNChar, 8}, "130 4 255 255", utf16("🙂€ "), "🙂€ "},
      {{"nvarchar", kNVarChar, 8000}, "202 4000 255 255", utf16(smiles), smiles},
      {{"empty", kNVarChar, 20}, "202 10 255 255", "", ""},
      {{"binary", kBinary, 3}, "128 3 255 255", std::string("\0\1\xFF", 3), Variant::Bytes{0, 1, 255}},
      {{"varbinary", kVarBinary, 8000}, "204 8000 255 255", raw.substr(0, 8000), Variant::Bytes(8000, 0xFE)},
      {{"guid", kGuid, 16}, "72 16 255 255", guid, "{00112233-4455-6677-8899-AABBCCDDEEFF}"},
      {{"text", kText, 0x7FFFFFFF}, "201 2147483647 255 255", std::string(70'000, '\x80'), euros},
      {{"ntext", kNText, 0x7FFFFFFE}, "203 1073741823 255 255", utf16(wide), wide},
      {{"image", kImage, 0x7FFFFFFF}, "205 2147483647 255 255", raw, bytes},
      {{"varchar(max)", kVarChar, kMax}, "201 2147483647 255 255", std::string(70'000, '\x80'), euros},
      {{"nvarchar(max)", kNVarChar, kMax}, "203 2147483647 255 255", utf16(wide), wide},
      {{"varbinary(max)", kVarBinary, kMax}, "205 2147483647 255 255", raw, bytes},
      {{"empty(max)", kNVarChar, kMax}, "203 2147483647 255 255", "", ""},
  };
  for (const auto& row : rows) {
    SCOPED_TRACE(row.column.name);
    Column never_null = row.column;
    never_null.nullable = false;
    const std::string statement = "SELECT " + row.column.name;
    peer.answer(statement, test::tds::rows({row.column, never_null}, {{row.wire, row.wire}, {{}, row.wire}}));
    const auto result = opened(statement, ado::adOpenStatic);
    const auto field = result->Fields()->Item(std::int16_t{0}), other = result->Fields()->Item(std::int16_t{1});
    std::ostringstream described;
    described << field->Type() << ' ' << field->DefinedSize() << ' ' << field->Precision() << ' '
              << field->NumericScale();
    EXPECT_EQ(described.str(), row.described);
    EXPECT_TRUE((field->Attributes() & ~other->Attributes() & ado::adFldMayBeNull) != 0);
    EXPECT_TRUE(result->value(0) == row.value) << to_text(result->value(0), LocaleInfo{}).substr(0, 60);
    result->MoveNext();
    EXPECT_TRUE(result->value(0).is_null());
    EXPECT_TRUE(result->value(1) == row.value) << "a null is of its own column only";
    EXPECT_EQ(result->RecordCount(), 2);
  }
}

TEST_F(FreeTdsTest, LongTextsAreWholeWhereverAPieceEnds) {
  Texts texts = {std::string("a\0b", 3)};
  for (const std::string_view character : {"x", "é", "€", "🙂"}) {
    for (const std::size_t length : {65'534, 65'535, 65'536, 2 * 65'535})
      texts.push_back(repeated("y", length % character.size()) + repeated(character, length / character.size()));
  }
  std::vector<std::vector<Cell>> cells;
  for (const auto& each : texts) cells.push_back({utf16(each), utf16(each), text::to_windows_1252(each)});
  peer.answer("SELECT a", rows({{"a", kNVarChar, kMax}, {"b", kNText, 0x7FFFFFFE}, {"c", kVarChar, kMax}}, cells));
  const auto result = opened("SELECT a", ado::adOpenStatic);
  for (const std::string& each : texts) {
    EXPECT_TRUE(result->value(0) == Variant(each) && result->value(1) == Variant(each)) << each.size();
    EXPECT_TRUE(result->value(2) == Variant(text::from_windows_1252(text::to_windows_1252(each))));
    result->MoveNext();
  }
  EXPECT_TRUE(result->at_eof());
}

TEST_F(FreeTdsTest, AReaderGoesOnWhateverElseTheConnectionDoes) {
  constexpr std::int32_t kRows = 1500;
  peer.answer("SELECT short", whole(kShort, kRows));
  peer.answer("SELECT long", whole(kLong, kRows));
  peer.answer("UPDATE", done(3));
  peer.answer("MISTAKE", failure(102, "Incorrect syntax"));
  Ptr<ado::Recordset> other;
  std::int32_t changed = 0;
  // clang-format off
  const std::pair<const char*, std::function<void()>> interruptions[] = {
      {"nothing", [] {}}, {"a write", [&] { connection->Execute("UPDATE T", changed); }},
      {"a mistake", [&] { EXPECT_NE(error_of("MISTAKE"), 0); }}, {"a reader", [&] { other = opened("SELECT long"); }},
      {"a reader that is left", [&] { opened("SELECT short")->Close(); }},
      {"begin", [&] { connection->BeginTrans(); }}, {"commit", [&] { connection->CommitTrans(); }},
      {"begin again", [&] { connection->BeginTrans(); }}, {"rollback", [&] { connection->RollbackTrans(); }},
  };
  // clang-format on
  for (const char* statement : {"SELECT short", "SELECT long"}) {
    for (const auto& [what, interrupt] : interruptions) {
      SCOPED_TRACE(std::string(what) + " in " + statement);
      const auto rows = opened(statement);
      const bool is_long = rows->Fields()->Count() == 4;
      std::int32_t i = 0, wrong = 0;
      for (; !rows->at_eof(); ++i, rows->MoveNext()) {
        if (i == 300) interrupt();
        wrong += rows->value(0) != Variant(i);
        wrong += rows->value(1) != (i % 3 == 0 ? Variant::null() : Variant("è" + std::to_string(i)));
        if (!is_long) continue;
        const std::string text = repeated("€", static_cast<std::size_t>(i));
        wrong += rows->value(2) != (i % 5 == 0 ? Variant::null() : Variant(text));
        wrong += rows->value(3) != Variant(i + 1);
      }
      EXPECT_EQ(wrong, 0);
      EXPECT_EQ(i, kRows);
    }
    EXPECT_EQ(changed, 3);
    for (std::int32_t i = 0; i < kRows; ++i, other->MoveNext()) ASSERT_EQ(other->value(3), Variant(i + 1));
    EXPECT_TRUE(other->at_eof()) << "it was open all the time";
  }
}

TEST_F(FreeTdsTest, ResultsOfABatchAreTakenInTheirOrder) {
  const auto divided = [](const std::vector<Column>& described, std::uint64_t count) {
    return numbered(described, count) + failure(8134, "Divide by zero error encountered.");
  };
  const std::string noted = numbered(kShort, 2) + message(8153, 10, "Null value is eliminated") + done(2);
  const std::string duplicate = failure(2627, "Violation of PRIMARY KEY constraint 'PK'.", 14);
  // The outcome is a count of rows, "closed" without any, or "!" and the error.
  // clang-format off
  const struct { const char* statement; Texts results; std::string outcome; const char* state; } table[] = {
      {"CREATE", {done()}, "closed", ""}, {"UPDATE nothing", {done(0)}, "closed", ""},
      {"PRINT", {message(0, 0, "hello") + done()}, "closed", ""},
      {"PRINT, SELECT", {message(5701, 10, "Changed") + done(), whole(kShort, 2)}, "2", ""},
      {"INSERT, SELECT", {done(1), whole(kShort, 1)}, "1", ""},
      {"INSERT twice", {done(1), duplicate}, kIntegrity, "23505"}, {"INSERT again", {duplicate}, kIntegrity, "23505"},
      {"INDEX", {failure(2601, "Cannot insert duplicate key row", 14)}, kIntegrity, "23505"},
      {"NULL", {failure(515, "Cannot insert the value NULL")}, kIntegrity, "23000"},
      {"NO TABLE", {failure(208, "Invalid object name")}, failed(ado::kTableNotFound), "42S02"},
      {"SYNTAX", {failure(102, "Incorrect syntax", 15)}, failed(ado::kErrorsInCommand), "42000"},
      {"SELECT noted", {noted}, "2", ""}, {"SELECT none", {whole(kShort, 0)}, "0", ""},
      {"0 / 0", {divided(kShort, 0)}, kFailed, "22012"}, {"256 / 0", {divided(kShort, 256)}, kFailed, "22012"},
      {"300 / 0", {divided(kShort, 300)}, kFailed, "22012"},
      {"300 long / 0", {divided(kLong, 300)}, kFailed, "22012"},
  };
  // clang-format on
  peer.answer("usable", whole(kShort, 3));
  for (const auto& row : table) {
    SCOPED_TRACE(row.statement);
    peer.answer(row.statement, TdsAnswer{.results = row.results});
    connection->Errors()->Clear();
    const bool closed = row.outcome == "closed";
    EXPECT_EQ(closed && connection->Execute(row.statement)->State() == 0 ? "closed" : walked(row.statement),
              row.outcome);
    const auto errors = connection->Errors();
    EXPECT_EQ(errors->Count() == 0 ? "" : errors->Item(std::int16_t{0})->SQLState(), row.state);
    EXPECT_EQ(walked("usable"), "3");
  }
}

TEST_F(FreeTdsTest, ALostServerIsNoticedAndReachedAgain) {
  peer.answer("SELECT idle", whole(kShort, 10));
  std::vector<std::pair<std::string, Texts>> table = {{"SELECT idle", {}}, {"SELECT none", {}}};
  for (const std::uint64_t count : {1, 255, 256, 257, 300, 5000}) {
    table.push_back({"SELECT a" + std::to_string(count), {whole(kShort, count)}});
    table.push_back({"SELECT b" + std::to_string(count), {broken(kShort, count)}});
    if (count < 500) table.push_back({"SELECT c" + std::to_string(count), {broken(kLong, count)}});
  }
  for (const auto& [statement, results] : table) {
    SCOPED_TRACE(statement);
    EXPECT_EQ(walked("SELECT idle"), "10");
    if (statement == "SELECT idle") peer.drop_all();
    if (statement != "SELECT idle") peer.answer(statement, TdsAnswer{.results = results, .then = Then::drop});
    EXPECT_EQ(walked(statement), kFailed);
    EXPECT_FALSE(connection->is_alive());
    EXPECT_NE(error_of("SELECT idle"), 0);
    reconnect();
    EXPECT_TRUE(connection->is_alive());
  }
  const auto lost = session();
  lost->begin();
  peer.drop_all();
  EXPECT_EQ(test::error_of([&] { return lost->commit(), 0; }), ado::kUnspecified);
  EXPECT_FALSE(lost->is_alive());
  EXPECT_EQ(test::error_of([&] { return lost->rollback(), 0; }), 0) << "lost is undone";
  EXPECT_EQ(lost->transaction_level(), 0);
}

TEST_F(FreeTdsTest, WhatWasReadBeforeAFailureIsKept) {
  peer.answer("UPDATE", done(3));
  connection->set_CommandTimeout(1);
  for (const Then then : {Then::stall, Then::drop}) {
    for (const auto* described : {&kShort, &kLong}) {
      const bool stalls = then == Then::stall;
      SCOPED_TRACE(std::string(stalls ? "stall" : "drop") + (described == &kLong ? ", long" : ""));
      const std::string rows_sent = stalls ? whole(*described, 600) : broken(*described, 600);
      peer.answer("SELECT breaks", TdsAnswer{.results = {rows_sent}, .then = then});
      const auto rows = opened("SELECT breaks");
      EXPECT_EQ(error_of("UPDATE T") == 0, stalls) << "the rows have to make way";
      std::int32_t i = 0;
      const int error = test::error_of([&] {
        for (; !rows->at_eof(); rows->MoveNext()) EXPECT_EQ(rows->value(0), Variant(i++));
        return 0;
      });
      EXPECT_EQ(error, stalls ? ado::kTimeoutExpired : ado::kUnspecified);
      EXPECT_GE(i, described == &kLong ? 599 : 512) << "of short rows the last block breaks off";
      EXPECT_EQ(connection->is_alive(), stalls);
      if (!stalls) reconnect();
    }
  }
}

TEST_F(FreeTdsTest, ATimeoutBoundsTheServersSilence) {
  peer.answer("SELECT usable", whole(kShort, 3));
  // clang-format off
  const struct { const char* statement; TdsAnswer answer; std::string outcome; bool alive; } table[] = {
      {"WAITFOR", {.then = Then::stall}, kTooLate, true}, {"SELECT deaf", {.then = Then::deaf}, kTooLate, false},
  };
  // clang-format on
  connection->set_CommandTimeout(1);
  for (const auto& row : table) {
    SCOPED_TRACE(row.statement);
    peer.answer(row.statement, row.answer);
    const auto before = std::chrono::steady_clock::now();
    EXPECT_EQ(walked(row.statement), row.outcome);
    const auto time = std::chrono::steady_clock::now() - before;
    EXPECT_TRUE(time > 900ms && time < 3500ms) << time / 1ms;
    EXPECT_EQ(connection->is_alive(), row.alive);
    if (!row.alive) reconnect();
    EXPECT_EQ(walked("SELECT usable"), "3");
  }
  int cancels = 0;
  for (const auto& request : peer.take_requests()) cancels += request.text == "<cancel>" ? 1 : 0;
  EXPECT_EQ(cancels, 1) << "the deaf one heard none";
}

TEST_F(FreeTdsTest, ParametersKeepTheirValue) {
  const std::string emoji = repeated("🙂", 2001);  // 4002 units of 16 bits
  // clang-format off
  const struct { Variant value; test::TdsParameter expected; } table[] = {
      {"perché 🙂", {kNVarChar, 18, 0, utf16("perché 🙂")}}, {"", {kNVarChar, 2, 0, ""}},
      {repeated("x", 4000), {kNVarChar, 8000, 0, utf16(repeated("x", 4000))}},
      {repeated("x", 4001), {kNVarChar, kMax, 0, utf16(repeated("x", 4001))}},
      {emoji, {kNVarChar, kMax, 0, utf16(emoji)}}, {Variant::Bytes{0, 1}, {kVarBinary, 2, 0, std::string("\0\1", 2)}},
      {Variant::Bytes{}, {kVarBinary, 1, 0, ""}},
      {Variant::Bytes(8001, 7), {kVarBinary, kMax, 0, std::string(8001, '\7')}},
      {Variant::null(), {kNVarChar, 2, 0, {}}}, {std::int32_t{-2}, {kInt, 4, 0, le(0xFFFFFFFE, 4)}},
      {INT64_MIN, {kInt, 8, 0, le(0x8000000000000000, 8)}}, {1.0 / 3, {kFloat, 8, 0, le(0x3FD5555555555555, 8)}},
      {true, {kBit, 1, 0, le(1, 1)}}, {Decimal::parse("-12.5").value(), {kDecimal, 3, 1, le(0, 1) + le(125, 2)}},
      {date(2024, 1, 5, 14, 7, 33, 123'000), {kDateTime2, 0, 7, le(508'531'230'000, 5) + day(2024, 1, 5)}},
      {date(1753, 1, 1), {kDateTime2, 0, 7, le(0, 5) + day(1753, 1, 1)}},
      {date(1600, 1, 5), {kNVarChar, 38, 0, utf16("1600-01-05 00:00:00")}},  // the driver miscounts such days
  };
  // clang-format on
  peer.answer("INSERT", done(1));
  const auto own = session();
  for (const auto& row : table) {
    SCOPED_TRACE(std::to_string(&row - table));
    peer.take_requests();
    EXPECT_EQ(own->write("INSERT INTO T VALUES (?)", std::span(&row.value, 1), -1), 1);
    const auto requests = peer.take_requests();
    ASSERT_TRUE(!requests.empty() && requests.back().parameters.size() == 1);
    EXPECT_EQ(requests.back().text, "INSERT INTO T VALUES (@P1)");
    const auto &sent = requests.back().parameters[0], &expected = row.expected;
    EXPECT_EQ(std::tuple(sent.token, sent.size, sent.scale),
              std::tuple(expected.token, expected.size, expected.scale));
    EXPECT_TRUE(sent.bytes == expected.bytes);
  }
}

TEST_F(FreeTdsTest, TheServerTellsWhoseColumnsTheyAre) {
  const std::string query = "SELECT A, B AS C, 1 AS D FROM T WHERE B > 'x'";
  const std::vector<Column> told = {{"h", kBit, 1},      {"s", kVarChar, 60}, {"t", kVarChar, 60},
                                    {"c", kVarChar, 60}, {"n", kBit, 1},      {"k", kBit, 1},
                                    {"u", kBit, 1}};
  const auto origin = [](bool hidden, const char* table, const char* column, bool key) {
    return std::vector<std::optional<std::string>>{le(hidden, 1), "dbo",      table,   column,
                                                   le(key, 1),    le(key, 1), le(1, 1)};
  };
  for (const bool hides_key : {false, true}) {
    std::vector<std::vector<std::optional<std::string>>> origins = {
        origin(false, "T", "A", true), origin(false, "T", "B", false), origin(false, "", "", false)};
    if (hides_key) origins.push_back(origin(true, "T", "K", true));
    peer.answer("dm_exec_describe_first_result_set(N'" + text::replace_all(query, "'", "''") + "'",
                rows(told, origins));
    peer.answer("SELECT SCHEMA_NAME()", rows({{"", kVarChar, 60}}, {{"dbo"}}));
    peer.answer(query,
                rows({{"A", kInt, 4}, {"C", kVarChar, 9}, {"D", kInt, 4}}, {{le(5, 4), "y", le(1, 4)}}));
    auto result = make<ado::Recordset>();
    result->set_CursorLocation(ado::adUseClient);
    result->Open(query, Variant(connection), ado::adOpenStatic, ado::adLockOptimistic);
    std::string seen;
    for (const ado::Column& each : result->columns()) {
      seen += each.base_table + "." + each.base_column + (each.key ? "*" : "") +
              (each.auto_increment ? "+ " : " ");
    }
    EXPECT_EQ(seen, hides_key ? "T.A+ T.B . " : "T.A*+ T.B . ") << "a key counts when all of it is here";
    if (hides_key) continue;
    peer.answer("UPDATE [T] SET [B] = ", done(1));
    peer.take_requests();
    result->set_value(1, "z");
    result->Update();
    const auto requests = peer.take_requests();
    ASSERT_FALSE(requests.empty());
    EXPECT_NE(requests.front().text.find("UPDATE [T] SET [B] = @P1 WHERE [A] = @P2 AND [B] = @P3"),
              std::string::npos)
        << requests.front().text;
  }
}

TEST_F(FreeTdsTest, WorkIsCommittedBeforeAutocommitIsOn) {
  const std::string update = "UPDATE T SET A = 1";
  peer.answer(update, done(2));
  peer.answer("TRANSACTION", done());
  peer.answer("DEADLOCK", failure(1205, "was deadlocked and has been chosen as the victim", 13));
  peer.answer("SELECT @@IDENTITY", rows({{"", kNumeric, 17, 38, 0}}, {{le(1, 1) + le(42, 16)}}));
  const auto own = session();
  const auto texts_of = [&](const std::function<void()>& work) {
    peer.take_requests();
    work();
    Texts texts;
    for (const auto& request : peer.take_requests()) {
      if (request.procedure != "sp_unprepare") texts.push_back(request.text);
    }
    return texts;
  };
  const auto write = [&](std::int64_t most) { return own->write(update, {}, most); };
  // Switching autocommit makes the driver begin one more, and undo it.
  const auto committed = [&] { own->begin(), write(-1), own->commit(); };
  EXPECT_EQ(texts_of(committed), (Texts{"<begin>", update, "<commit>", "<begin>", "<rollback>"}));
  for (const int most : {1, 2}) {
    const char* const end = most == 1 ? "<rollback>" : "<commit>";
    EXPECT_EQ(texts_of([&] { EXPECT_EQ(write(most), 2); }),
              (Texts{"<begin>", update, end, "<begin>", "<rollback>"}));
  }
  own->begin();
  EXPECT_EQ(texts_of([&] { EXPECT_EQ(write(1), 2); }),
            (Texts{"SAVE TRANSACTION quarnofwk_1", update, "ROLLBACK TRANSACTION quarnofwk_1"}));
  EXPECT_EQ(to_int32(own->last_identity("T", "ID"), {}), 42);
  connection->BeginTrans();
  EXPECT_NE(error_of("DEADLOCK"), 0);
  EXPECT_EQ(error_of(update), ado::kNoTransaction) << "the server undid it";
  EXPECT_EQ(test::error_of([&] { return connection->CommitTrans(), 0; }), ado::kNoTransaction);
  connection->RollbackTrans();
  EXPECT_EQ(error_of(update), 0);
}

}  // namespace

}  // namespace quarno::odbc

// Everything goes to ODBC: stands in for the choice of a provider.
const quarno::ado::Provider* quarno::ado::find_provider(const ConnectionString&) {
  return &odbc::odbc_provider();
}
