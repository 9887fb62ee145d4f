// The object model over a scripted source: what a real engine does rarely, on demand.
#include "ado/Recordset.h"

#include <gtest/gtest.h>

#include <functional>

#include "ado/Connection.h"
#include "ado/Fields.h"
#include "ado/ado_error.h"
#include "common/convert.h"
#include "support/outcome.h"
#include "support/temp_folder.h"

namespace quarno::ado {
namespace {

struct Script {
  int rows = 3, fail_at_row = -1, level = 0;
  int renewals = 0;  // of the time limit
  std::int64_t affected = 1;
  std::vector<std::string> written;  // the statement, and how many parameters it had
  bool fail_write = false, alive = true;
};
Script* g_script = nullptr;

Error lost() { return provider_error(kUnspecified, "connection lost", "Scripted"); }

class ScriptedRows : public Rows {
 public:
  ScriptedRows() {
    for (const char* name : {"ID", "Name"}) {
      Column column;
      column.name = column.base_column = name;
      column.base_table = "T";
      column.type = columns_.empty() ? DataType::integer : DataType::var_wchar;
      column.defined_size = 10;
      column.key = columns_.empty();
      columns_.push_back(column);
    }
  }
  const std::vector<Column>& columns() const override { return columns_; }
  std::size_t fetch(ColumnStore& store, std::size_t) override {
    if (next_ == g_script->fail_at_row) throw lost();
    if (next_ == g_script->rows) return 0;
    store.column(0).append_integer(++next_);
    store.column(1).append_text("n" + std::to_string(next_));
    return 1;
  }
  void renew_time_limit() override { ++g_script->renewals; }

 private:
  std::vector<Column> columns_;
  int next_ = 0;
};

class ScriptedSession : public Session {
 public:
  Outcome execute(const std::string& statement, std::int32_t, Reading) override {
    if (statement.starts_with("SELECT")) return {std::make_unique<ScriptedRows>(), -1};
    return {nullptr, 5};
  }
  std::int64_t write(const std::string& statement, std::span<const Variant> parameters,
                     std::int64_t) override {
    if (g_script->fail_write) throw lost();
    g_script->written.push_back(statement + " " + std::to_string(parameters.size()));
    return g_script->affected;
  }
  Variant last_identity(const std::string&, const std::string&) override { return std::int64_t{77}; }
  void begin() override { ++g_script->level; }
  void commit() override { --g_script->level; }
  void rollback() override { --g_script->level; }
  int transaction_level() const override { return g_script->level; }
  bool is_alive() override { return g_script->alive; }
  const Dialect& dialect() const override { return dialect_; }

 private:
  Dialect dialect_;
};

class ScriptedProvider : public Provider {
 public:
  std::unique_ptr<Session> open(const ConnectionString& text, std::int32_t) const override {
    if (text.find("Refuse")) throw provider_error(kLoginFailed, "Login failed.", "Scripted");
    return std::make_unique<ScriptedSession>();
  }
};

}  // namespace

// This program brings a provider of its own instead of the library's.
const Provider* find_provider(const ConnectionString& text) {
  static const ScriptedProvider provider;
  return text.find("Provider").value_or("") == "Scripted" ? &provider : nullptr;
}

namespace {

using Steps = std::vector<std::pair<std::string, std::function<void()>>>;

std::string failed(std::int32_t number) { return "!" + std::to_string(number); }
constexpr int number(Model model) { return full_number(model); }
constexpr std::int32_t kNoOptions = -1;
const std::string kNoRow = failed(number(Model::no_current_record));
const std::string kInvalid = failed(number(Model::invalid_argument)),
                  kMissing = failed(number(Model::item_not_found));
const std::string kNotThere = failed(number(Model::feature_not_available));
const std::string kGone = failed(kDeletedRow);
const std::string kLost = failed(kUnspecified), kForward = failed(kNoBackwardFetch);

class RecordsetTest : public ::testing::Test {
 protected:
  void SetUp() override { g_script = &script; }

  Ptr<Recordset> opened(std::int32_t lock = adLockOptimistic, std::int32_t location = adUseServer,
                        std::int32_t options = kNoOptions, std::int32_t cursor = adOpenDynamic) {
    if (!connection->is_open()) connection->Open("Provider=Scripted");
    auto rows = make<Recordset>();
    rows->set_CursorLocation(location);
    rows->Open("SELECT * FROM T", Variant(connection), cursor, lock, options);
    return rows;
  }
  static int error(const std::function<void()>& work) {
    return test::error_of([&] { return work(), 0; });
  }
  // Position, count and name; a closed one shows nothing.
  static std::string shown(Recordset& rows) {
    if (!rows.is_open()) return "closed";
    const std::int32_t at = rows.AbsolutePosition();
    const std::string place = at == adPosBOF ? "bof" : at == adPosEOF ? "eof" : std::to_string(at);
    const bool on_row = !rows.at_eof() && !rows.at_bof();
    const auto name = on_row ? rows.value(1) : Variant("-");
    return place + "/" + std::to_string(rows.RecordCount()) + " " + to_text(name, LocaleInfo{});
  }
  // What each step leaves, or the number of its error.
  static void expect_steps(Recordset& rows, const Steps& steps) {
    for (std::size_t i = 0; i < steps.size(); ++i) {
      const auto& [expected, step] = steps[i];
      EXPECT_EQ(test::outcome([&] { return step(), shown(rows); }), expected) << "step " << i;
    }
  }

  Script script;
  Ptr<Connection> connection = make<Connection>();
};

TEST_F(RecordsetTest, ConnectionFollowsItsStates) {
  EXPECT_EQ(error([&] { connection->Close(); }), number(Model::object_closed));
  EXPECT_EQ(error([&] { connection->Execute("X"); }), number(Model::object_closed));
  EXPECT_EQ(error([&] { connection->Open("Provider=Nobody"); }), number(Model::provider_not_found));
  EXPECT_EQ(connection->Errors()->Count(), 0) << "the model's own errors do not stand there";
  EXPECT_EQ(error([&] { connection->Open("Provider=Scripted;Refuse=1"); }), kLoginFailed);
  EXPECT_EQ(connection->Errors()->Item(0)->Number(), kLoginFailed);
  EXPECT_EQ(error([&] { connection->Errors()->Item(1); }), number(Model::item_not_found));
  connection->Open("Provider=Scripted");
  EXPECT_EQ(error([&] { connection->Open(); }), number(Model::object_open));
  std::int32_t affected = 0;
  EXPECT_EQ(connection->Execute("UPDATE", affected)->State(), 0);
  EXPECT_EQ(affected, 5);
  EXPECT_EQ(connection->BeginTrans(), 1);
  EXPECT_EQ(error([&] { connection->Close(); }), number(Model::in_transaction));
  connection->RollbackTrans();
  const auto rows = opened();
  connection->Close();
  EXPECT_EQ(rows->State(), 0) << "recordsets close with their connection";
  const auto dropped = opened();
  connection->BeginTrans();
  EXPECT_TRUE(connection->is_alive());
  script.alive = false;
  EXPECT_FALSE(connection->is_alive());
  EXPECT_TRUE(connection->drop_lost_session()) << "a transaction went with it";
  EXPECT_EQ(dropped->State(), 0);
  script = {};
  connection->Open();
  EXPECT_FALSE(connection->drop_lost_session());
}

TEST_F(RecordsetTest, MovesKeepTheRulesAtBothEnds) {
  auto rows = opened();
  EXPECT_EQ(rows->CursorType(), adOpenStatic) << "a client cursor is static, whatever was asked";
  // clang-format off
  expect_steps(*rows, {
      {"1/3 n1", [] {}}, {"bof/3 -", [&] { rows->MovePrevious(); }}, {kNoRow, [&] { rows->MovePrevious(); }},
      {kNoRow, [&] { rows->value(0); }}, {"2/3 n2", [&] { rows->Move(2); }}, {"eof/3 -", [&] { rows->Move(10); }},
      {kNoRow, [&] { rows->MoveNext(); }}, {"3/3 n3", [&] { rows->MoveLast(); }},
  });
  script.rows = 0;
  rows = opened();
  EXPECT_TRUE(rows->at_bof() && rows->at_eof());
  expect_steps(*rows, {
      {kNoRow, [&] { rows->MoveFirst(); }}, {kNoRow, [&] { rows->MoveLast(); }}, {kNoRow, [&] { rows->MoveNext(); }},
      {kNoRow, [&] { rows->MovePrevious(); }}, {"-1/0 -", [] {}},
  });
  // clang-format on
}

TEST_F(RecordsetTest, EditsStayOpenUntilTheSourceTookThem) {
  const auto rows = opened();
  const auto put = [&](std::size_t column, const Variant& value) { rows->set_value(column, value); };
  // clang-format off
  expect_steps(*rows, {
      {"1/3 x", [&] { put(1, "x"); }}, {failed(number(Model::illegal_operation)), [&] { rows->Close(); }},
      {kLost, [&] { script.fail_write = true, rows->MoveNext(); }}, {"1/3 x", [] {}},  // it does not move
      {failed(kConflict), [&] { script.fail_write = false, script.affected = 0, rows->Update(); }},
  });
  EXPECT_EQ(rows->original_value(1), Variant("n1"));
  EXPECT_EQ(rows->EditMode(), adEditInProgress);
  script.affected = 1;
  rows->Update();
  EXPECT_EQ(script.written.back(), "UPDATE \"T\" SET \"Name\" = ? WHERE \"ID\" = ? AND \"Name\" = ? 3");
  EXPECT_EQ(rows->original_value(1), Variant("x"));
  expect_steps(*rows, {
      {"4/4 ", [&] { rows->AddNew(); }}, {"1/3 x", [&] { rows->CancelUpdate(); }},
      {"eof/3 -", [&] { rows->Move(9), rows->AddNew(), rows->CancelUpdate(); }},
      {"4/4 ", [&] { rows->AddNew(), put(0, std::int16_t{9}); }},
  });
  rows->Update();
  EXPECT_EQ(script.written.back(), "INSERT INTO \"T\" (\"ID\") VALUES (?) 1");
  EXPECT_EQ(rows->AbsolutePosition(), 4);
  EXPECT_EQ(rows->value(0), Variant(std::int32_t{9}));
  rows->Delete();
  expect_steps(*rows, {
      {kGone, [&] { rows->value(0); }}, {kGone, [&] { rows->Delete(); }}, {"3/3 n3", [&] { rows->MovePrevious(); }},
  });
  const auto read_only = opened(adLockReadOnly);
  expect_steps(*read_only, {
      {kNotThere, [&] { read_only->AddNew(); }}, {kNotThere, [&] { read_only->set_value(0, 1); }},
  });
  // clang-format on
}

TEST_F(RecordsetTest, FindsFiltersSortsAndClones) {
  script.rows = 6;
  const auto rows = opened();
  rows->set_AbsolutePosition(3);
  const Variant mark = rows->Bookmark();
  const auto clone = rows->Clone();
  // A bad filter changes nothing, a new row shows until the rows are chosen again, and the filter of one is
  // not that of the other.
  // clang-format off
  expect_steps(*clone, {
      {"1/6 n1", [] {}}, {"3/6 n3", [&] { clone->set_Bookmark(mark); }},
      {"3/6 zz", [&] { clone->set_value(1, "zz"), clone->Update(); }},
  });
  expect_steps(*rows, {
      {"4/6 n4", [&] { rows->Find("ID > 3"); }}, {"4/6 n4", [&] { rows->Find("Name = 'N4'"); }},
      {"3/6 zz", [&] { rows->Find("ID < 4", 0, -1); }}, {"eof/6 -", [&] { rows->Find("ID = 99"); }},
      {kNoRow, [&] { rows->Find("ID = 1"); }}, {"3/6 zz", [&] { rows->set_Bookmark(mark); }},
      {"1/6 zz", [&] { rows->set_Sort("Name DESC"); }}, {"1/3 zz", [&] { rows->set_Filter("ID >= 2 AND ID <= 4"); }},
      {"2/3 n4", [&] { EXPECT_EQ(clone->RecordCount(), 6); rows->MoveNext(); }},
      {kGone, [&] { rows->Delete(), rows->value(0); }},
      {"2/2 n2", [&] { EXPECT_EQ(clone->RecordCount(), 5); rows->set_AbsolutePosition(2); }},
      {kInvalid, [&] { rows->set_AbsolutePosition(3); }}, {kMissing, [&] { rows->set_Filter("NONE = 1"); }},
      {"2/2 n2", [&] { EXPECT_EQ(rows->Filter(), Variant("ID >= 2 AND ID <= 4")); }},
      {"3/3 new", [&] { rows->AddNew(), rows->set_value(1, "new"), rows->Update(); }},
      {"1/6 n1", [&] { rows->set_Filter(""), rows->set_Sort(""); }},
  });
  // clang-format on
  rows->Close();
  EXPECT_EQ(clone->RecordCount(), 6);
}

TEST_F(RecordsetTest, FailureWhileFetchingLeavesItClosed) {
  script.fail_at_row = 2;
  const auto rows = make<Recordset>();
  connection->Open("Provider=Scripted");
  rows->set_CursorLocation(adUseClient);
  EXPECT_EQ(error([&] { rows->Open("SELECT 1", Variant(connection)); }), kUnspecified);
  EXPECT_EQ(rows->State(), 0);
  script.fail_at_row = -1;
  rows->Open("SELECT 1", Variant(connection));
  EXPECT_EQ(rows->RecordCount(), 3);
  EXPECT_EQ(error([&] { make<Recordset>()->Open("SELECT 1", Variant()); }),
            number(Model::invalid_connection));
}

TEST_F(RecordsetTest, ForwardOnlyHoldsOneBlockAndGoesOnlyForward) {
  // The scripted source hands out one row a block.
  const auto rows = opened(adLockReadOnly, adUseServer, kNoOptions, adOpenForwardOnly);
  EXPECT_EQ(rows->CursorType(), adOpenForwardOnly);
  EXPECT_FALSE(rows->Supports(adBookmark));
  // The last row stays when there is none to move to, and when a move fails; back at the first the query ran
  // again.
  // clang-format off
  expect_steps(*rows, {
      {"-1/-1 n1", [] {}}, {kForward, [&] { rows->MovePrevious(); }}, {kForward, [&] { rows->MoveLast(); }},
      {kNotThere, [&] { rows->Clone(); }}, {kNotThere, [&] { rows->set_Sort("ID"); }},
      {"-1/-1 n2", [&] { EXPECT_TRUE(rows->try_move_next()); }}, {"-1/-1 n3", [&] { rows->Find("ID = 3"); }},
      {"-1/-1 n3", [&] { EXPECT_FALSE(rows->try_move_next()); }}, {"-1/-1 -", [&] { rows->MoveNext(); }},
      {"-1/-1 n1", [&] { rows->MoveFirst(); }},
      {"-1/-1 n1", [&] { script.fail_at_row = 1, rows->MoveFirst(), rows->Requery(); }},
      {kLost, [&] { rows->MoveNext(); }}, {"-1/-1 n1", [] {}}, {"closed", [&] { connection->Close(); }},
  });
  // clang-format on
}

TEST_F(RecordsetTest, TimeCountsAnewForWhatIsAskedForLater) {
  opened();
  EXPECT_EQ(script.renewals, 0) << "one limit holds for all rows of a whole fetch";
  const auto walked = opened(adLockReadOnly, adUseServer, kNoOptions, adOpenForwardOnly);
  for (; !walked->at_eof(); walked->MoveNext()) {
  }
  EXPECT_EQ(script.renewals, 3) << "two blocks more, and the end";
  opened(adLockOptimistic, adUseClient, adAsyncFetch)->RecordCount();
  EXPECT_EQ(script.renewals, 4) << "one limit for all that is left";
}

TEST_F(RecordsetTest, AsynchronousFetchingBringsRowsAsTheyAreNeeded) {
  const auto fetching = [&] {
    const auto rows = opened(adLockOptimistic, adUseClient, adAsyncFetch);
    EXPECT_EQ(rows->State(), adStateOpen | adStateFetching);
    EXPECT_EQ(rows->AbsolutePosition(), 1);
    return rows;
  };
  // What needs all rows completes them; each has to give what a whole fetch gives.
  // clang-format off
  const std::pair<const char*, std::function<void(Recordset&)>> needs[] = {
      {"1/3 n1", [](Recordset& r) { r.RecordCount(); }}, {"3/3 n3", [](Recordset& r) { r.MoveLast(); }},
      {"1/3 n3", [](Recordset& r) { r.set_Sort("ID DESC"); }},
      {"1/2 n2", [](Recordset& r) { r.set_Filter("ID > 1"); }},
      {"3/3 n3", [](Recordset& r) { r.set_AbsolutePosition(3); }}, {"4/4 ", [](Recordset& r) { r.AddNew(); }},
  };
  // clang-format on
  for (const auto& [expected, need] : needs) {
    const auto rows = fetching();
    need(*rows);
    EXPECT_EQ(rows->State(), adStateOpen) << expected;
    EXPECT_EQ(shown(*rows), expected);
  }
  const auto rows = fetching();
  const auto clone = rows->Clone();
  rows->Find("ID = 2");
  EXPECT_EQ(rows->value(1), Variant("n2"));
  EXPECT_EQ(rows->State(), adStateOpen | adStateFetching) << "the search went no further";
  rows->Close();
  int seen = 0;
  for (; !clone->at_eof(); clone->MoveNext()) ++seen;
  EXPECT_EQ(seen, 3) << "a clone goes on where the recordset stopped";
  clone->Requery();
  EXPECT_EQ(clone->State(), adStateOpen | adStateFetching);

  script.fail_at_row = 2;
  const auto broken = fetching();
  broken->MoveNext();
  for (int i = 0; i < 2; ++i) {
    EXPECT_EQ(error([&] { broken->MoveNext(); }), kUnspecified) << "missing rows never look like the end";
    EXPECT_EQ(error([&] { broken->RecordCount(); }), kUnspecified);
    EXPECT_EQ(broken->value(1), Variant("n2"));
  }
}

TEST_F(RecordsetTest, AwayFromItsConnectionItKeepsWhatIsToBeSent) {
  const test::TempFolder folder;
  EXPECT_EQ(error([&] { opened()->set_ActiveConnection({}); }), number(Model::object_open));
  const auto rows = opened(adLockOptimistic, adUseClient, adAsyncFetch);
  rows->set_ActiveConnection({});
  connection->Close();
  EXPECT_EQ(rows->RecordCount(), 3) << "all rows came along";
  rows->set_value(1, "x");
  rows->MoveNext();
  rows->Delete();
  EXPECT_EQ(error([&] { rows->UpdateBatch(); }), number(Model::invalid_connection));
  rows->Save(folder / "a.xml", adPersistXML);
  EXPECT_TRUE(script.written.empty());
  const auto file = make<Recordset>();
  file->Open(folder / "a.xml", Variant(), adOpenStatic, adLockBatchOptimistic);
  EXPECT_EQ(file->Status(), adRecModified);
  EXPECT_EQ(error([&] { file->UpdateBatch(); }), number(Model::invalid_connection));
  connection->Open();
  file->set_ActiveConnection(connection);
  file->UpdateBatch();
  EXPECT_EQ(script.written,
            (std::vector<std::string>{"UPDATE \"T\" SET \"Name\" = ? WHERE \"ID\" = ? AND \"Name\" = ? 3",
                                      "DELETE FROM \"T\" WHERE \"ID\" = ? 1"}));
  EXPECT_EQ(file->Status(), adRecUnmodified);
  connection->Close();
  EXPECT_EQ(file->State() + rows->State(), 1) << "it closes with the connection that it has now";
}

TEST_F(RecordsetTest, FieldsAreTheSameObjectAndEndWithTheirColumns) {
  auto rows = opened();
  const auto fields = rows->Fields();
  EXPECT_EQ(fields, rows->Fields());
  const auto name = fields->Item("name");
  EXPECT_EQ(name, fields->Item(std::int16_t{1}));
  EXPECT_EQ(name, fields->Item(0.6)) << "a position with decimals is rounded";
  EXPECT_EQ(name->Value(), Variant("n1"));
  name->set_Value("new");
  EXPECT_EQ(name->OriginalValue(), Variant("n1"));
  EXPECT_EQ(name->ActualSize(), 3);
  rows->CancelUpdate();
  for (const Variant& wrong :
       {Variant(std::int16_t{2}), Variant(std::int16_t{-1}), Variant("none"), Variant()}) {
    EXPECT_EQ(error([&] { fields->Item(wrong); }), number(Model::item_not_found));
  }
  EXPECT_EQ(name->Properties()->Item("keycolumn")->Value, Variant(false));
  rows->Requery();
  EXPECT_EQ(error([&] { name->Value(); }), number(Model::object_not_set));
  rows = nullptr;  // a field keeps its recordset
  EXPECT_EQ(fields->Item("ID")->Value(), Variant(std::int32_t{1}));
}

}  // namespace
}  // namespace quarno::ado
