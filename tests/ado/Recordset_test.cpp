// The object model over a scripted source: what a real engine does rarely, on demand.
#include "ado/Recordset.h"

#include <gtest/gtest.h>

#include <functional>

#include "ado/Connection.h"
#include "ado/Fields.h"
#include "ado/ado_error.h"
#include "support/outcome.h"

namespace quarno::ado {
namespace {

struct Script {
  int rows = 3;
  int fail_at_row = -1;
  std::int64_t affected = 1;
  std::vector<std::string> written;
  std::vector<std::size_t> parameter_counts;
  bool fail_write = false;
  int level = 0;
  bool alive = true;
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
    g_script->written.push_back(statement);
    g_script->parameter_counts.push_back(parameters.size());
    return g_script->affected;
  }
  std::int64_t last_identity() override { return 77; }
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

class RecordsetTest : public ::testing::Test {
 protected:
  void SetUp() override { g_script = &script; }

  Ptr<Recordset> opened(std::int32_t lock = adLockOptimistic) {
    if (!connection->is_open()) connection->Open("Provider=Scripted");
    auto rows = make<Recordset>();
    rows->Open("SELECT * FROM T", Variant(connection), adOpenDynamic, lock);
    return rows;
  }
  static int error(const std::function<void()>& work) {
    return test::error_of([&] {
      work();
      return 0;
    });
  }
  static constexpr int number(Model model) { return full_number(model); }

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
}

TEST_F(RecordsetTest, ALostSessionIsDroppedWithItsRecordsets) {
  const auto rows = opened();
  connection->BeginTrans();
  EXPECT_TRUE(connection->is_alive());
  script.alive = false;
  EXPECT_FALSE(connection->is_alive());
  EXPECT_TRUE(connection->drop_lost_session()) << "a transaction went with it";
  EXPECT_EQ(rows->State(), 0);
  script = {};
  connection->Open();
  EXPECT_FALSE(connection->drop_lost_session());
}

TEST_F(RecordsetTest, MovesKeepTheRulesAtBothEnds) {
  const auto rows = opened();
  EXPECT_EQ(rows->RecordCount(), 3);
  EXPECT_EQ(rows->CursorType(), adOpenStatic) << "a client cursor is static, whatever was asked";
  rows->MovePrevious();
  EXPECT_TRUE(rows->at_bof());
  EXPECT_EQ(rows->AbsolutePosition(), adPosBOF);
  EXPECT_EQ(error([&] { rows->MovePrevious(); }), number(Model::no_current_record));
  EXPECT_EQ(error([&] { rows->value(0); }), number(Model::no_current_record));
  rows->Move(2);
  EXPECT_EQ(rows->value(0), Variant(std::int32_t{2}));
  rows->Move(10);
  EXPECT_TRUE(rows->at_eof());
  EXPECT_EQ(error([&] { rows->MoveNext(); }), number(Model::no_current_record));
  rows->MoveLast();
  EXPECT_EQ(rows->value(rows->column_index("NAME")), Variant("n3"));
  script.rows = 0;
  const auto empty = opened();
  EXPECT_TRUE(empty->at_bof() && empty->at_eof());
  for (const auto move :
       {&Recordset::MoveFirst, &Recordset::MoveLast, &Recordset::MoveNext, &Recordset::MovePrevious}) {
    EXPECT_EQ(error([&] { ((*empty).*move)(); }), number(Model::no_current_record));
  }
}

TEST_F(RecordsetTest, EditsStayOpenUntilTheSourceTookThem) {
  const auto rows = opened();
  rows->set_value(1, "x");
  EXPECT_EQ(rows->EditMode(), adEditInProgress);
  EXPECT_EQ(rows->value(1), Variant("x"));
  EXPECT_EQ(rows->original_value(1), Variant("n1"));
  EXPECT_EQ(error([&] { rows->Close(); }), number(Model::illegal_operation));
  script.fail_write = true;
  EXPECT_EQ(error([&] { rows->MoveNext(); }), kUnspecified);
  EXPECT_EQ(rows->EditMode(), adEditInProgress) << "a move that cannot update does not move";
  EXPECT_EQ(rows->AbsolutePosition(), 1);
  EXPECT_EQ(connection->Errors()->Item(0)->Description(), "connection lost");
  script.fail_write = false;
  script.affected = 0;
  EXPECT_EQ(error([&] { rows->Update(); }), kConflict);
  script.affected = 1;
  rows->Update();
  EXPECT_EQ(script.written.back(), "UPDATE \"T\" SET \"Name\" = ? WHERE \"ID\" = ? AND \"Name\" = ?");
  EXPECT_EQ(script.parameter_counts.back(), 3u);
  EXPECT_EQ(rows->original_value(1), Variant("x"));

  rows->AddNew();
  EXPECT_TRUE(rows->value(0).is_empty());
  EXPECT_EQ(rows->RecordCount(), 4);
  rows->CancelUpdate();
  EXPECT_EQ(rows->RecordCount(), 3);
  EXPECT_EQ(rows->value(0), Variant(std::int32_t{1})) << "the row of before is current again";
  rows->AddNew();
  rows->set_value(0, std::int16_t{9});
  rows->Update();
  EXPECT_EQ(script.written.back(), "INSERT INTO \"T\" (\"ID\") VALUES (?)");
  EXPECT_EQ(rows->AbsolutePosition(), 4);

  rows->Delete();
  EXPECT_EQ(error([&] { rows->value(0); }), kDeletedRow);
  EXPECT_EQ(error([&] { rows->Delete(); }), kDeletedRow);
  rows->MovePrevious();
  EXPECT_EQ(rows->RecordCount(), 3);
  EXPECT_EQ(rows->value(0), Variant(std::int32_t{3}));

  const auto read_only = opened(adLockReadOnly);
  EXPECT_EQ(error([&] { read_only->AddNew(); }), number(Model::feature_not_available));
  EXPECT_EQ(error([&] { read_only->set_value(0, 1); }), number(Model::feature_not_available));
}

TEST_F(RecordsetTest, FindsFiltersSortsAndClones) {
  script.rows = 6;
  const auto rows = opened();
  const auto id = [&] { return *rows->value(0).get_if<std::int32_t>(); };
  rows->Find("ID > 3");
  EXPECT_EQ(id(), 4);
  rows->Find("Name = 'N4'");
  EXPECT_EQ(id(), 4) << "the current row counts";
  rows->Find("ID < 4", 0, -1);
  EXPECT_EQ(id(), 3);
  const Variant mark = rows->Bookmark();
  rows->Find("ID = 99");
  EXPECT_TRUE(rows->at_eof());
  EXPECT_EQ(error([&] { rows->Find("ID = 1"); }), number(Model::no_current_record));

  const auto clone = rows->Clone();
  EXPECT_EQ(clone->AbsolutePosition(), 1) << "a current row of its own";
  clone->set_Bookmark(mark);
  EXPECT_EQ(clone->value(0), Variant(std::int32_t{3}));
  clone->set_value(1, "zz");
  clone->Update();
  rows->set_Bookmark(mark);
  EXPECT_EQ(rows->value(1), Variant("zz")) << "the rows are shared";

  rows->set_Sort("Name DESC");
  EXPECT_EQ(id(), 3);
  rows->set_Filter("ID >= 2 AND ID <= 4");
  EXPECT_EQ(rows->RecordCount(), 3);
  EXPECT_EQ(clone->RecordCount(), 6) << "the filter is not";
  EXPECT_EQ(id(), 3);
  rows->MoveNext();
  EXPECT_EQ(id(), 4);
  rows->Delete();
  EXPECT_EQ(rows->RecordCount(), 2);
  EXPECT_EQ(clone->RecordCount(), 5);
  rows->set_AbsolutePosition(2);
  EXPECT_EQ(id(), 2);
  EXPECT_EQ(error([&] { rows->set_AbsolutePosition(3); }), number(Model::invalid_argument));
  EXPECT_EQ(error([&] { rows->set_Filter("NONE = 1"); }), number(Model::item_not_found));
  EXPECT_EQ(rows->Filter(), Variant("ID >= 2 AND ID <= 4")) << "a bad filter changes nothing";
  rows->AddNew();
  rows->set_value(0, 100);
  rows->Update();
  EXPECT_EQ(rows->AbsolutePosition(), 3) << "a new row shows until the rows are chosen again";
  rows->set_Filter("");
  rows->set_Sort("");
  EXPECT_EQ(rows->RecordCount(), 6);
  EXPECT_EQ(id(), 1);
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
  connection->Open("Provider=Scripted");
  const auto rows = make<Recordset>();
  rows->Open("SELECT 1", Variant(connection));
  EXPECT_EQ(rows->CursorType(), adOpenForwardOnly);
  EXPECT_EQ(rows->RecordCount(), -1);
  EXPECT_FALSE(rows->Supports(adBookmark));
  for (const auto move : {&Recordset::MovePrevious, &Recordset::MoveLast}) {
    EXPECT_EQ(error([&] { ((*rows).*move)(); }), kNoBackwardFetch);
  }
  EXPECT_EQ(error([&] { rows->Clone(); }), number(Model::feature_not_available));
  EXPECT_EQ(error([&] { rows->set_Sort("ID"); }), number(Model::feature_not_available));
  EXPECT_TRUE(rows->try_move_next());
  rows->Find("ID = 3");
  EXPECT_EQ(rows->value(0), Variant(std::int32_t{3}));
  EXPECT_FALSE(rows->try_move_next());
  EXPECT_EQ(rows->value(1), Variant("n3")) << "the last row stays";
  rows->MoveNext();
  EXPECT_TRUE(rows->at_eof());
  rows->MoveFirst();
  EXPECT_EQ(rows->value(0), Variant(std::int32_t{1})) << "the query ran again";
  script.fail_at_row = 1;
  rows->MoveFirst();
  rows->Requery();
  EXPECT_EQ(error([&] { rows->MoveNext(); }), kUnspecified);
  EXPECT_EQ(rows->value(0), Variant(std::int32_t{1})) << "a move that fails does not move";
  connection->Close();
  EXPECT_EQ(rows->State(), 0);
}

TEST_F(RecordsetTest, AsynchronousFetchingBringsRowsAsTheyAreNeeded) {
  const auto fetching = [&] {
    auto rows = make<Recordset>();
    if (!connection->is_open()) connection->Open("Provider=Scripted");
    rows->set_CursorLocation(adUseClient);
    rows->Open("SELECT * FROM T", Variant(connection), adOpenStatic, adLockOptimistic, adAsyncFetch);
    EXPECT_EQ(rows->State(), adStateOpen | adStateFetching);
    EXPECT_EQ(rows->AbsolutePosition(), 1);
    return rows;
  };
  // What needs all rows completes them; each has to give what a whole fetch gives.
  const std::pair<const char*, std::function<std::string(Recordset&)>> needs[] = {
      {"3", [](Recordset& r) { return std::to_string(r.RecordCount()); }},
      {"n3", [](Recordset& r) { return r.MoveLast(), *r.value(1).get_if<std::string>(); }},
      {"n3", [](Recordset& r) { return r.set_Sort("ID DESC"), *r.value(1).get_if<std::string>(); }},
      {"n2", [](Recordset& r) { return r.set_Filter("ID > 1"), *r.value(1).get_if<std::string>(); }},
      {"n3", [](Recordset& r) { return r.set_AbsolutePosition(3), *r.value(1).get_if<std::string>(); }},
      {"4", [](Recordset& r) { return r.AddNew(), std::to_string(r.RecordCount()); }},
  };
  for (const auto& [expected, need] : needs) {
    const auto rows = fetching();
    EXPECT_EQ(need(*rows), expected);
    EXPECT_EQ(rows->State(), adStateOpen);
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
