// Rows that are written through CData and the recordset it hands out, each at once or in batches: the same
// suite over every engine, and over those that keep rules.
#include <thread>

#include "common/text.h"
#include "engines/write_test.h"

namespace quarno::test {
namespace {

constexpr int kNotUpdatable = ado::full_number(ado::Model::feature_not_available);

class RulesTest : public WriteTest {};

TEST_P(WriteTest, EveryTypeIsWrittenAloneAndInABatch) {
  const std::vector<ColumnRow>& types = database().columns;
  std::string columns = "ID INTEGER PRIMARY KEY";
  std::size_t most = 0;
  for (std::size_t i = 0; i < types.size(); ++i) {
    columns += ", C" + std::to_string(i) + " " + types[i].declaration;
    most = std::max(most, types[i].values.size() + 1);
  }
  data->m_SelectOrder = "ID";
  for (const std::int32_t lock : {ado::adLockOptimistic, ado::adLockBatchOptimistic}) {
    // Rows with long values are too long to be sent together.
    for (const bool with_long : {true, false}) {
      SCOPED_TRACE(::testing::Message() << "lock " << lock << (with_long ? " long" : ""));
      make_table(columns);
      data->SetLock(lock);
      const auto expected = [&](std::size_t row, std::size_t i) {
        const bool given = row < types[i].values.size() && (with_long || !ado::is_long(types[i].type));
        return given ? types[i].values[row] : Variant::null();
      };
      // First added, then each row gets the values of the next one, the last those of the first.
      for (std::size_t moved = 0; moved < 2; ++moved) {
        ASSERT_TRUE(data->Selection());
        for (std::size_t row = 0; row < most; ++row) {
          if (moved == 0) data->AddNew();
          if (moved == 0) data->SetPound("ID", static_cast<std::int32_t>(row));
          for (std::size_t i = 0; i < types.size(); ++i) {
            rows().set_value(i + 1, expected((row + moved) % most, i));
          }
          expect_saved();
          data->MoveNext();
        }
        if (lock == ado::adLockBatchOptimistic) {
          ASSERT_EQ(send(), 0) << connection->Errors()->Item(std::int16_t{0})->Description();
        }
        ASSERT_TRUE(data->Selection());
        ASSERT_EQ(data->RecordCount(), static_cast<std::int32_t>(most));
        for (std::size_t row = 0; row < most; ++row, data->MoveNext()) {
          for (std::size_t i = 0; i < types.size(); ++i) {
            EXPECT_EQ(rows().value(i + 1), expected((row + moved) % most, i))
                << types[i].declaration << " of row " << row << (moved == 0 ? " added" : " changed");
          }
        }
      }
    }
  }
}

TEST_P(RulesTest, RowsAreToldByTheirKey) {
  make_table(std::string("ID ") + database().identity + ", V VARCHAR(10), W INTEGER");
  EXPECT_LE(data->GetLastRowID(), 0) << "nothing was numbered yet";
  ASSERT_TRUE(data->Selection());
  EXPECT_FALSE(data->Delete()) << "no row, and no failure";
  for (const char* value : {"a", "b", "c"}) {
    data->AddNew();
    EXPECT_EQ(rows().EditMode(), ado::adEditAdd);
    set({{"ID", 77}, {"V", value}});
    EXPECT_EQ(data->GetPound("V"), Variant(value));
    expect_saved();
    EXPECT_EQ(rows().EditMode(), ado::adEditNone);
  }
  EXPECT_EQ(rows().value(0), Variant(std::int32_t{3})) << "the number the source gave";
  EXPECT_EQ(data->GetLastRowID(), 3);
  data->MoveFirst();
  for (const char* value : {"a", "d"}) {
    data->SetPound("V", value);
    EXPECT_EQ(rows().EditMode(), ado::adEditInProgress);
    EXPECT_TRUE(data->MoveNext()) << "leaving the row sends it";
    EXPECT_TRUE(data->MovePrev());
  }
  data->MoveNext();
  EXPECT_TRUE(data->Delete());
  EXPECT_FALSE(data->Delete()) << "it is gone";
  EXPECT_EQ(data->Err_Description(), "Can't delete the record!");
  EXPECT_EQ(seen(table + " WHERE V = 'd' AND ID = 1") + seen(table), "12");
  // A column under another table is not the column of that table; half a key is none; an alias may hide what
  // it is.
  make_table("A INTEGER, B INTEGER, V VARCHAR(10), PRIMARY KEY (B, A)", database().quote);
  run("INSERT INTO " + table + " VALUES (1, 1, 'x')");
  run("INSERT INTO " + table + " VALUES (1, 2, 'x')");
  open("SELECT A, V, B, A + B AS S FROM " + table + " ORDER BY B");
  const auto has = [&](std::int16_t column, std::int32_t attribute) {
    return (rows().Fields()->Item(column)->Attributes() & attribute) != 0;
  };
  EXPECT_TRUE(has(0, ado::adFldKeyColumn) && has(2, ado::adFldKeyColumn));
  EXPECT_FALSE(has(1, ado::adFldKeyColumn) || has(3, ado::adFldUpdatable));
  data->SetPound("S", 5);
  EXPECT_EQ(data->Err_Number(), ado::kMultipleStep) << "computed";
  set({{"V", "y"}, {"B", 3}});
  expect_saved();
  data->SetPound("V", "z");
  expect_saved();
  EXPECT_EQ(seen(table + " WHERE V = 'z' AND B = 3") + seen(table + " WHERE V = 'x'"), "11");
  open("SELECT A, V FROM " + table + " WHERE B = 2");
  data->SetPound("V", "half");
  const bool half = data->Save();
  EXPECT_EQ(seen(table + " WHERE V = 'half'"), half ? "1" : "0");
  EXPECT_EQ(seen(table + " WHERE V = 'z'"), "1");
  open("SELECT A AS B, B AS A, V FROM " + table);
  if (has(0, ado::adFldUpdatable)) {
    data->SetPoundPos(0, 7);
    expect_saved();
  }
  EXPECT_EQ(seen(table + " WHERE B = 7"), "0") << "written to the column itself, or not at all";
}

TEST_P(WriteTest, WithoutAKeyRowsAreToldByAllTheyHold) {
  // Nothing is changed when more than one row is hit, in a transaction or not.
  make_table("A INTEGER, V VARCHAR(10)");
  for (const char* values : {"(1, 'x')", "(1, 'x')", "(NULL, 'x')"})
    run("INSERT INTO " + table + " VALUES " + values);
  for (const bool in_transaction : {false, true}) {
    if (in_transaction) data->TransBegin();
    open("SELECT * FROM " + table + " ORDER BY CASE WHEN A = 1 THEN 0 ELSE 1 END");
    data->SetPound("V", "y");
    EXPECT_FALSE(data->Save());
    EXPECT_EQ(data->Err_Number(), ado::kUnspecified);
    rows().CancelUpdate();
    EXPECT_FALSE(data->Delete());
    data->MoveLast();
    data->SetPound("V", in_transaction ? "one" : "other");
    expect_saved();
    if (in_transaction) data->TransCommit();
    EXPECT_EQ(seen(table + " WHERE V = 'x'"), "2");
  }
  EXPECT_TRUE(data->Delete());
  EXPECT_EQ(seen(table), "2");
}

TEST_P(RulesTest, AQueryThatDoesNotTellOneRowChangesNone) {
  const auto make = [&] {
    make_table("A INTEGER, B INTEGER, V VARCHAR(10), PRIMARY KEY (A, B)");
    for (const char* b : {"1", "2", "3"}) run("INSERT INTO " + table + " VALUES (1, " + b + ", 'x')");
    return table;
  };
  const std::string one = make();
  const std::string other_one = make();
  const std::string both =
      "SELECT A, B, V FROM {1} WHERE B = 9 UNION ALL SELECT A, B, V FROM {2} WHERE B = 2";
  run("CREATE VIEW " + one + "v AS SELECT A, B, V FROM " + one +
      " WHERE B < 2 UNION ALL SELECT A, B, V FROM " + other_one + " WHERE B > 1");
  const std::string queries[] = {
      "SELECT A, A AS A2, V FROM {1}",
      "SELECT m.A, m.B, p.V FROM {1} m, {1} p WHERE p.A = m.A AND p.B = m.B + 1",
      "SELECT m.A, m.B, p.V FROM {1} m JOIN (SELECT * FROM {1}) p ON p.B = m.B + 1",
      "SELECT A, B, (SELECT V FROM {1} p WHERE p.B = m.B + 1) AS V FROM {1} m WHERE B = 1",
      both,
      "SELECT * FROM (" + both + ") s",
      "SELECT * FROM {1}v WHERE B = 2",
  };
  const auto untouched = [&](const std::string& each) { return seen(each + " WHERE V = 'x'"); };
  for (const std::string& query : queries) {
    SCOPED_TRACE(query);
    open(text::replace_all(text::replace_all(query, "{1}", one), "{2}", other_one));
    const bool edits = error_of([&] { return rows().set_value(rows().column_index("V"), "y"), 0; }) == 0;
    EXPECT_FALSE(edits && data->Save());
    rows().CancelUpdate();
    EXPECT_FALSE(data->Delete());
    EXPECT_EQ(untouched(one) + untouched(other_one), "33");
  }
  run("DROP VIEW " + one + "v");
  // Where a table is only compared with, the rows are still its own.
  open("SELECT A, B, V FROM " + one + " WHERE B = (SELECT max(B) FROM " + one + ")");
  data->SetPound("V", "y");
  expect_saved();
  EXPECT_EQ(seen(one + " WHERE V = 'y' AND B = 3") + untouched(one), "12");
}

TEST_P(RulesTest, NumbersThatAreRareOrUnknownFindTheirRow) {
  make_table(std::string("ID ") + database().identity + ", V VARCHAR(10)");
  for (const auto& [numbering, number] : database().numberings) {
    SCOPED_TRACE(numbering);
    run(text::replace_all(numbering, "{t}", table));
    ASSERT_TRUE(data->Selection());
    expect_added({{"V", "one"}});
    const Variant id = rows().value(0);
    EXPECT_EQ(id.is_null() ? "" : shown(id), number);
    data->SetPound("V", "changed");
    EXPECT_EQ(data->Save(), *number != '\0') << data->Err_Description();
    rows().CancelUpdate();
    const std::string there = *number != '\0' ? std::string(" AND ID = ") + number : "";
    EXPECT_EQ(seen(table + " WHERE V = 'changed'" + there), *number != '\0' ? "1" : "0");
  }
}

TEST_P(RulesTest, WhatTheSourceRefusesStaysInEdit) {
  if (!database().server) run("PRAGMA foreign_keys = ON");
  make_table("ID INTEGER PRIMARY KEY");
  run("INSERT INTO " + table + " VALUES (1)");
  const std::string parent = table;
  make_table(
      "ID INTEGER PRIMARY KEY, U INTEGER UNIQUE, N VARCHAR(5) NOT NULL, C INTEGER CHECK (C > 0), "
      "F INTEGER, G INTEGER GENERATED ALWAYS AS (U * 2) STORED, FOREIGN KEY (F) REFERENCES " +
      parent + " (ID)");
  ASSERT_TRUE(data->Selection());
  expect_added({{"ID", 1}, {"U", 5}, {"N", "a"}});
  const struct {
    Values values;
    bool duplicate = false;
  } refused[] = {
      {{{"ID", 1}, {"U", 6}, {"N", "b"}}, true},       {{{"ID", 2}, {"U", 5}, {"N", "b"}}, true},
      {{{"ID", 2}, {"U", 6}, {"N", Variant::null()}}}, {{{"ID", 2}, {"U", 6}, {"N", "b"}, {"C", 0}}},
      {{{"ID", 2}, {"U", 6}, {"N", "b"}, {"F", 99}}},
  };
  for (const auto& [values, duplicate] : refused) {
    const auto& [name, value] = values.back();
    SCOPED_TRACE(name);
    EXPECT_FALSE(add(values));
    EXPECT_EQ(data->Err_Description() == "Duplicated Key!", duplicate) << data->Err_Description();
    EXPECT_EQ(data->Err_Number(), ado::kIntegrityViolation);
    EXPECT_EQ(rows().EditMode(), ado::adEditAdd);
    EXPECT_EQ(rows().value(rows().column_index(name)), value) << "what was set";
    EXPECT_FALSE(data->MoveNext()) << "it would be sent again";
    EXPECT_EQ(seen(table), "1");
    rows().CancelUpdate();
    EXPECT_EQ(shown(data->GetPound("ID")), "1") << "the row that was current";
  }
  data->AddNew();
  set({{"ID", 2}, {"N", "b"}, {"G", 3}});
  const bool told = data->Err_Number() == ado::kMultipleStep;
  EXPECT_TRUE(told || !data->Save()) << "computed";
  rows().CancelUpdate();
  EXPECT_FALSE(add({{"ID", 1}, {"N", "b"}}));
  data->SetPound("ID", 2);
  expect_saved();
  data->SetPound("ID", 1);
  EXPECT_FALSE(data->Save());
  EXPECT_EQ(data->Err_Description(), "Duplicated Key!");
  EXPECT_EQ(rows().EditMode(), ado::adEditInProgress);
  rows().CancelUpdate();
  EXPECT_EQ(shown(data->GetPound("ID")), "2");
  EXPECT_EQ(seen(table), "2");
  // A row that others point to cannot be deleted.
  run("UPDATE " + table + " SET F = 1");
  data->m_Tabella = parent;
  ASSERT_TRUE(data->Selection());
  EXPECT_FALSE(data->Delete());
  EXPECT_EQ(data->Err_Description(), "Can't delete the record!");
  EXPECT_EQ(data->Err_Number(), ado::kIntegrityViolation);
  EXPECT_EQ(shown(data->GetPound("ID")), "1");

  const bool is_own = database().driver == nullptr;
  const struct {
    std::string statement;
    int number;
    const char* state;
  } statements[] = {
      {"INSERT INTO " + parent + " VALUES (1)", ado::kIntegrityViolation, "23505"},
      {"INSERT INTO " + table + " (ID, N) VALUES (9, NULL)", ado::kIntegrityViolation, "23502"},
      {"SELECT * FROM NOWHERE", ado::kTableNotFound, "42"},
      {"SELECT MISSPELT FROM " + table, is_own ? ado::kParameterMissing : ado::kErrorsInCommand, "42"},
      {"SELEC 1", ado::kErrorsInCommand, "42"},
      {std::string("SELECT 1\0 ", 10), ado::kErrorsInCommand, ""},
  };
  for (const auto& row : statements) {
    SCOPED_TRACE(row.statement);
    EXPECT_FALSE(data->ExecuteSQL(row.statement));
    EXPECT_EQ(data->Err_Number(), row.number);
    ASSERT_GE(connection->Errors()->Count(), 1);
    const std::string state = connection->Errors()->Item(std::int16_t{0})->SQLState();
    EXPECT_TRUE(state.starts_with(row.state)) << state;
  }
  std::int32_t affected = -2;
  EXPECT_TRUE(data->ExecuteSQL("UPDATE " + table + " SET U = NULL WHERE ID = 77", 30, affected));
  EXPECT_EQ(affected, 0);
  EXPECT_TRUE(data->ExecuteSQL("UPDATE " + table + " SET C = 8", 30, affected));
  EXPECT_EQ(affected, 2);
  EXPECT_FALSE(data->ExecuteSQL(database().slow, 1, affected));
  EXPECT_EQ(data->Err_Number(), ado::kTimeoutExpired);
  EXPECT_TRUE(data->ExecuteSQL("DELETE FROM " + table + " WHERE ID = 1", 1, affected));
  EXPECT_EQ(affected, 1);
}

TEST_P(WriteTest, NothingIsWrittenOverAnothersChange) {
  make_table("ID INTEGER PRIMARY KEY, V VARCHAR(10), W INTEGER");
  for (const char* id : {"1", "2"}) run("INSERT INTO " + table + " VALUES (" + id + ", 'old', 0)");
  data->m_SelectOrder = "ID";
  ASSERT_TRUE(data->Selection());
  const auto theirs = other_connection();
  theirs->Execute("UPDATE " + table + " SET V = 'theirs' WHERE ID = 1");
  data->SetPound("W", 4);
  // Where there is a key, another column is no conflict.
  ASSERT_EQ(data->Save(), database().keeps_rules) << data->Err_Description();
  if (!database().keeps_rules) {
    EXPECT_EQ(data->Err_Number(), ado::kConflict);
    theirs->Execute("UPDATE " + table + " SET W = 4 WHERE ID = 1");
  }
  data->SetPound("V", "mine");
  for (const bool by_move : {false, true}) {
    EXPECT_FALSE(by_move ? data->MoveNext() : data->Save());
    EXPECT_EQ(data->Err_Number(), ado::kConflict);
    EXPECT_EQ(rows().EditMode(), ado::adEditInProgress);
    EXPECT_EQ(data->GetPound("V"), Variant("mine"));
    EXPECT_EQ(rows().AbsolutePosition(), 1);
  }
  EXPECT_EQ(seen(table + " WHERE V = 'theirs' AND W = 4"), "1");
  theirs->Execute("UPDATE " + table + " SET V = 'OLD' WHERE ID = 1");
  EXPECT_FALSE(data->Save()) << "another letter case is another value";
  theirs->Execute("UPDATE " + table + " SET V = 'theirs' WHERE ID = 1");
  rows().CancelUpdate();
  EXPECT_EQ(data->GetPound("V"), Variant("old"));
  data->RefreshADO();
  EXPECT_EQ(data->GetPound("V"), Variant("theirs"));
  data->SetPound("V", "mine");
  expect_saved();
  theirs->Execute("DELETE FROM " + table + " WHERE ID = 1");
  EXPECT_FALSE(data->Delete());
  EXPECT_EQ(data->Err_Number(), ado::kConflict);
  EXPECT_TRUE(data->MoveNext());
  EXPECT_TRUE(data->Delete());
  EXPECT_EQ(seen(table), "0");
}

TEST_P(WriteTest, SqlInAValueIsText) {
  make_table("ID VARCHAR(60) PRIMARY KEY, V VARCHAR(60)");
  ASSERT_TRUE(data->Selection());
  const std::vector<std::string> texts = {"'; DELETE FROM " + table + "; --",
                                          "a' OR '1'='1",
                                          "\\'; --",
                                          "?",
                                          "\"`]",
                                          "{d '2024-01-01'}",
                                          "{fn NOW()}",
                                          "%s\\0",
                                          "$1",
                                          ":a"};
  for (const std::string& text : texts) expect_added({{"ID", text}, {"V", text}});
  const std::string nul("a\0b", 3);
  if (add({{"ID", nul}})) {
    open("SELECT ID FROM " + table + " WHERE V IS NULL");
    EXPECT_EQ(rows().value(0), Variant(nul));
    run("DELETE FROM " + table + " WHERE V IS NULL");
  } else {
    EXPECT_EQ(data->Err_Number(), ado::kMultipleStep) << "or stored whole";
    rows().CancelUpdate();
  }
  ASSERT_TRUE(data->Selection());
  std::size_t left = texts.size();
  for (const std::string& text : texts) {
    EXPECT_TRUE(data->Find("ID = '" + text::replace_all(text, "'", "''") + "'", 1)) << text;
    EXPECT_EQ(rows().value(1), Variant(text));
    data->SetPound("V", "changed");
    expect_saved();
    EXPECT_TRUE(data->Delete());
    EXPECT_EQ(seen(table), std::to_string(--left));
    if (left > 0) data->MoveFirst();
  }
}

TEST_P(RulesTest, ViewsJoinsAndTriggersAreWrittenThrough) {
  make_table("V VARCHAR(10)");
  const std::string log = table;
  make_table(std::string("ID ") + database().identity + ", V VARCHAR(10), W INTEGER");
  const std::string main = table;
  for (const std::string each : database().triggers) {
    run(text::replace_all(text::replace_all(each, "{t}", table), "{l}", log));
  }
  ASSERT_TRUE(data->Selection());
  expect_added({{"V", "a"}});
  data->SetPound("V", "b");
  expect_saved();
  EXPECT_EQ(seen(main + " WHERE V = 'b' AND W = 7 AND ID = 1") + seen(log), "12");
  ASSERT_TRUE(data->Selection());
  set({{"V", "c"}, {"W", 8}});
  expect_saved();
  EXPECT_EQ(seen(main + " WHERE V = 'c' AND W = 8"), "1");

  // A view is its table to some drivers, and nothing that can be changed to the others.
  run("CREATE VIEW " + main + "v AS SELECT ID, V, W + 1 AS X FROM " + main);
  open("SELECT * FROM " + main + "v");
  const bool updates = rows().Supports(ado::adUpdate);
  data->SetPound("X", 1);
  const bool at_once = data->Err_Number() == (updates ? ado::kMultipleStep : kNotUpdatable);
  EXPECT_TRUE(at_once || !data->Save()) << "computed";
  rows().CancelUpdate();
  data->SetPound("V", "view");
  EXPECT_TRUE(data->Save()) << data->Err_Description();
  EXPECT_EQ(seen(main + " WHERE V = 'view'"), updates ? "1" : "0");
  run("DROP VIEW " + main + "v");

  run("INSERT INTO " + main + " (V) VALUES ('x')");
  make_table("KEY1 INTEGER PRIMARY KEY, F INTEGER, N VARCHAR(5) NOT NULL");
  const std::string from = " FROM " + main + " a, " + table + " b WHERE a.ID = b.F ORDER BY b.KEY1";
  for (const char* values : {"(1, 1, 'n')", "(2, 2, 'n')"}) run("INSERT INTO " + table + " VALUES " + values);
  open("SELECT a.ID, a.V, b.KEY1, b.N" + from);
  set({{"V", "joined"}, {"N", "m"}});
  expect_saved();
  EXPECT_EQ(seen(main + " WHERE V = 'joined' AND ID = 1") + seen(table + " WHERE N = 'm' AND KEY1 = 1"),
            "11");
  data->MoveNext();
  set({{"V", "half"}, {"N", Variant::null()}});
  EXPECT_FALSE(data->Save());
  EXPECT_EQ(seen(main + " WHERE V = 'half'") + seen(main + " WHERE V = 'x'"), "01") << "both tables or none";
  rows().CancelUpdate();
  // The same as a part of the host's transaction, which it leaves as it was.
  data->TransBegin();
  set({{"V", "half"}, {"N", Variant::null()}});
  EXPECT_FALSE(data->Save());
  data->SetPound("N", "k");
  expect_saved();
  data->TransCommit();
  EXPECT_EQ(seen(main + " WHERE V = 'half'") + seen(table + " WHERE N = 'k'"), "11");
  run("UPDATE " + main + " SET V = 'x' WHERE V = 'half'");
  data->AddNew();
  EXPECT_EQ(data->Err_Number(), kNotUpdatable);
  EXPECT_FALSE(data->Delete());
  EXPECT_EQ(data->Err_Number(), kNotUpdatable);
  open("SELECT a.ID, a.V, b.N" + from);
  data->SetPound("N", "x");
  EXPECT_FALSE(data->Save()) << "its key is missing";
  rows().CancelUpdate();
  data->SetPound("V", "again");
  expect_saved();
  EXPECT_EQ(seen(main + " WHERE V = 'again'") + seen(table + " WHERE N = 'x'"), "10");
}

TEST_P(WriteTest, TransactionsHoldTogether) {
  make_table("ID INTEGER PRIMARY KEY");
  const auto insert = [&](const char* id) {
    return data->ExecuteSQL("INSERT INTO " + table + " VALUES (" + id + ")");
  };
  data->TransCommit();
  EXPECT_EQ(data->Err_Number(), ado::kNoTransaction);
  EXPECT_EQ(connection->BeginTrans(), 1);
  const bool nests = database().driver == nullptr;
  EXPECT_EQ(error_of([&] { return connection->BeginTrans(); }), nests ? 0 : ado::kTransactionActive);
  if (nests) data->TransRollBack();
  EXPECT_TRUE(insert("1"));
  data->TransRollBack();
  EXPECT_EQ(count(table), "0");
  data->TransBegin();
  ASSERT_TRUE(data->Selection());
  expect_added({{"ID", 1}});
  EXPECT_FALSE(add({{"ID", database().refused_id}}));
  data->SetPound("ID", 2);
  expect_saved();
  EXPECT_FALSE(insert(database().refused_id));
  EXPECT_TRUE(insert("3"));
  EXPECT_EQ(error_of([&] { return connection->Close(), 0; }), ado::full_number(ado::Model::in_transaction));
  data->CloseConnection();
  EXPECT_TRUE(data->IsConnectionOpen());
  EXPECT_EQ(seen(table), "0");
  data->TransCommit();
  EXPECT_EQ(seen(table), "3");
  EXPECT_TRUE(insert("4"));
  EXPECT_EQ(seen(table), "4");
}

TEST_P(RulesTest, ACommitThatFailsLeavesNothingBehind) {
  const bool checks_late = !database().loses_on_deadlock;
  if (!checks_late) GTEST_SKIP() << "nothing is checked at the commit";
  if (!database().server) run("PRAGMA foreign_keys = ON");
  make_table("ID INTEGER PRIMARY KEY");
  const std::string parent = table;
  make_table("ID INTEGER PRIMARY KEY, F INTEGER REFERENCES " + parent +
             " (ID) DEFERRABLE INITIALLY DEFERRED");
  data->TransBegin();
  run("INSERT INTO " + table + " VALUES (1, 99)");
  data->TransCommit();
  EXPECT_EQ(data->Err_Number(), ado::kIntegrityViolation) << data->Err_Description();
  // Where the transaction is gone, this must not look stored.
  const bool goes_on = data->ExecuteSQL("INSERT INTO " + table + " VALUES (2, NULL)");
  EXPECT_EQ(goes_on, !database().server);
  EXPECT_EQ(error_of([&] { return connection->Close(), 0; }), ado::full_number(ado::Model::in_transaction));
  data->TransRollBack();
  EXPECT_EQ(seen(table), "0");
  run("INSERT INTO " + table + " VALUES (3, NULL)");
  EXPECT_EQ(seen(table), "1");
}

TEST_P(WriteTest, NothingOfALostTransactionIsStored) {
  if (!database().loses_on_deadlock) GTEST_SKIP() << "a deadlock undoes no transaction";
  make_table("ID INTEGER PRIMARY KEY, V INTEGER");
  for (const char* id : {"1", "2", "3"}) run("INSERT INTO " + table + " VALUES (" + id + ", 0)");
  const auto mine = other_connection();
  const auto theirs = other_connection();
  const auto update = [&](const Ptr<ado::Connection>& by, const std::string& rest) {
    return error_of([&] { return by->Execute("UPDATE " + table + " SET V = " + rest); });
  };
  mine->BeginTrans();
  theirs->BeginTrans();
  EXPECT_EQ(update(mine, "1 WHERE ID = 1"), 0);
  // The one that changed less is the victim.
  EXPECT_EQ(update(theirs, "2 WHERE ID >= 2"), 0);
  int went_on = -1;
  std::thread waiting([&] { went_on = update(theirs, "2 WHERE ID = 1"); });
  std::this_thread::sleep_for(std::chrono::milliseconds(300));
  const int failure = update(mine, "1 WHERE ID = 2");
  waiting.join();
  ASSERT_NE(failure, 0) << "no deadlock, or another victim";
  EXPECT_EQ(went_on, 0);
  EXPECT_EQ(update(mine, "1 WHERE ID = 3"), ado::kNoTransaction);
  EXPECT_EQ(error_of([&] { return mine->CommitTrans(), 0; }), ado::kNoTransaction);
  mine->RollbackTrans();
  theirs->CommitTrans();
  EXPECT_EQ(count(table + " WHERE V = 2"), "3");
}

INSTANTIATE_TEST_SUITE_P(Engines, WriteTest, ::testing::ValuesIn(engines(Choose::one_of_ours)), engine_name);
INSTANTIATE_TEST_SUITE_P(Engines, RulesTest, ::testing::ValuesIn(engines(Choose::ours_with_rules)),
                         engine_name);

}  // namespace
}  // namespace quarno::test
