// Rows that are written in batches: the same suite over every engine.
#include <thread>

#include "engines/write_test.h"

namespace quarno::test {
namespace {

using namespace std::chrono_literals;

class BatchTest : public WriteTest {};
class KilledServerBatchTest : public WriteTest {};

TEST_P(BatchTest, ABatchWaitsForALockOnce) {
  if (database().driver == nullptr) GTEST_SKIP() << "the batch itself waits for the file, once";
  constexpr int kRows = 6;
  make_table("ID INTEGER PRIMARY KEY, V INTEGER");
  for (int id = 1; id <= kRows; ++id) run("INSERT INTO " + table + " VALUES (" + std::to_string(id) + ", 0)");
  const auto theirs = other_connection();
  theirs->BeginTrans();
  theirs->Execute("UPDATE " + table + " SET V = 1");
  connection->set_CommandTimeout(1);
  data->SetLock(ado::adLockBatchOptimistic);
  ASSERT_TRUE(data->Selection());
  for (int id = 1; id <= kRows; ++id, data->MoveNext()) {
    data->SetPound("V", 2);
    expect_saved();
  }
  const auto begin = std::chrono::steady_clock::now();
  EXPECT_NE(send(), 0);
  EXPECT_LT(std::chrono::steady_clock::now() - begin, 5900ms) << "not once for each row";
  theirs->RollbackTrans();
  EXPECT_EQ(in_group(ado::adFilterPendingRecords), kRows);
  EXPECT_EQ(send(), 0);
  EXPECT_EQ(seen(table + " WHERE V = 2"), std::to_string(kRows));
}

TEST_P(BatchTest, ManyRowsAreAddedInABatch) {
  constexpr int kRows = 2'500;
  data->SetLock(ado::adLockBatchOptimistic);
  for (const bool refused : {false, true}) {
    SCOPED_TRACE(refused ? "one that is refused in the middle" : "all well");
    make_table(std::string("N ") + database().identity + ", ID INTEGER UNIQUE, V VARCHAR(80)");
    open("SELECT ID, V FROM " + table);
    const auto text = [](int i) {
      std::string value(static_cast<std::size_t>(i % 60), 'x');
      return i % 7 == 0 ? Variant::null() : Variant(value + "€");
    };
    for (int i = 1; i <= kRows; ++i) {
      expect_added(
          {{"ID", refused && i == 1'500 ? Variant(database().refused_id) : Variant(i)}, {"V", text(i)}});
    }
    EXPECT_EQ(rows().Status(), ado::adRecNew);
    EXPECT_EQ(in_group(ado::adFilterPendingRecords), kRows);
    EXPECT_EQ(seen(table), "0");
    EXPECT_EQ(send(), refused ? database().refused_error : 0);
    EXPECT_EQ(in_group(ado::adFilterAffectedRecords), kRows);
    EXPECT_EQ(in_group(ado::adFilterPendingRecords), refused ? 1 : 0);
    if (refused) {
      EXPECT_EQ(connection->Errors()->Count(), 1);
      EXPECT_EQ(seen(table), std::to_string(kRows - 1));
      EXPECT_EQ(in_group(ado::adFilterConflictingRecords), 1);
      EXPECT_EQ(rows().Status(), ado::adRecNew | database().refused_status);
      data->SetPound("ID", 1'500);
      EXPECT_EQ(send(), 0);
    }
    EXPECT_EQ(in_group(ado::adFilterNone), kRows);
    EXPECT_EQ(rows().Status(), ado::adRecUnmodified);
    ASSERT_TRUE(
        other->AccessQuery("SELECT ID, V FROM " + table + (refused ? " ORDER BY ID" : " ORDER BY N, ID")));
    ASSERT_EQ(other->RecordCount(), kRows);
    int wrong = 0;
    for (int i = 1; i <= kRows; ++i, other->MoveNext()) {
      wrong += shown(other->GetPoundPos(0)) != std::to_string(i);
      wrong += other->GetRecordSet()->value(1) != text(i);
    }
    EXPECT_EQ(wrong, 0);
  }
}

TEST_P(BatchTest, ABatchSendsWhatWasChangedAndDeleted) {
  make_table("ID INTEGER PRIMARY KEY, V VARCHAR(10)");
  for (int id = 1; id <= 5; ++id) run("INSERT INTO " + table + " VALUES (" + std::to_string(id) + ", 'v')");
  data->SetLock(ado::adLockBatchOptimistic);
  data->m_SelectOrder = "ID";
  ASSERT_TRUE(data->Selection());
  const auto change = [&](int id, const char* value) {
    find(id);
    data->SetPound("V", value);
    expect_saved();
  };
  const auto change_all = [&] {
    change(1, "a");
    change(1, "b");
    EXPECT_EQ(rows().Status(), ado::adRecModified);
    EXPECT_EQ(rows().Fields()->Item("V")->OriginalValue(), Variant("v"));
    EXPECT_EQ(data->GetPound("V"), Variant("b"));
    for (const int id : {2, 4}) {
      find(id);
      EXPECT_TRUE(data->Delete());
      EXPECT_EQ(rows().Status(), ado::adRecDeleted);
    }
    change(3, "mine");
    for (const int id : {7, 8}) expect_added({{"ID", id}, {"V", "new"}});
    EXPECT_TRUE(data->Delete());
    EXPECT_EQ(data->RecordCount(), 4);
    EXPECT_EQ(in_group(ado::adFilterPendingRecords), 5) << "what is to be deleted among them";
    EXPECT_EQ(in_group(ado::adFilterNone), 4);
    EXPECT_EQ(seen(table + " WHERE V = 'v'"), "5");
  };
  change_all();
  rows().CancelBatch();
  EXPECT_EQ(in_group(ado::adFilterPendingRecords), 0);
  EXPECT_EQ(in_group(ado::adFilterNone), 5);
  for (int id = 1; id <= 5; ++id) {
    find(id);
    EXPECT_EQ(data->GetPound("V"), Variant("v")) << id;
  }
  EXPECT_EQ(send(), 0) << "nothing to send";
  change_all();
  const auto theirs = other_connection();
  theirs->Execute("UPDATE " + table + " SET V = 'theirs' WHERE ID = 3");
  theirs->Execute("DELETE FROM " + table + " WHERE ID = 4");
  EXPECT_EQ(send(), ado::kConflict);
  EXPECT_EQ(connection->Errors()->Count(), 1) << "said once";
  EXPECT_EQ(in_group(ado::adFilterConflictingRecords), 2);
  EXPECT_EQ(rows().Status(), ado::adRecModified | ado::adRecConcurrencyViolation);
  rows().MoveNext();
  EXPECT_EQ(rows().Status(), ado::adRecDeleted | ado::adRecConcurrencyViolation);
  EXPECT_EQ(shown(rows().Fields()->Item("ID")->OriginalValue()), "4");
  for (const char* row : {"ID = 1 AND V = 'b'", "ID = 3 AND V = 'theirs'", "ID = 5 AND V = 'v'", "ID = 7"}) {
    EXPECT_EQ(seen(table + " WHERE " + row), "1") << row;
  }
  EXPECT_EQ(seen(table), "4");
  EXPECT_FALSE(data->Save() && send() == 0) << "it is tried again";
  rows().CancelBatch();
  EXPECT_EQ(in_group(ado::adFilterNone), 5) << "as they were read, the one they deleted too";
  ASSERT_TRUE(data->Selection());
  change(3, "mine");
  EXPECT_EQ(send(), 0);
  EXPECT_EQ(seen(table + " WHERE V = 'mine'"), "1");
}

TEST_P(BatchTest, ABatchKeepsToTheHostsTransaction) {
  make_table(std::string("ID ") + database().identity + ", V VARCHAR(10)");
  data->SetLock(ado::adLockBatchOptimistic);
  ASSERT_TRUE(data->Selection());
  for (const bool commits : {false, true}) {
    for (const char* value : {"a", "b", "c"}) expect_added({{"V", value}});
    data->TransBegin();
    EXPECT_EQ(send(), 0);
    EXPECT_EQ(count(table) + seen(table), "30");
    commits ? data->TransCommit() : data->TransRollBack();
    EXPECT_EQ(seen(table), commits ? "3" : "0");
    if (!commits) data->RefreshADO();
  }
  // One that a statement began is the host's as well.
  if (database().driver != nullptr) {
    run("BEGIN");
    for (const char* value : {"d", "e"}) expect_added({{"V", value}});
    EXPECT_EQ(send(), 0);
    EXPECT_EQ(count(table) + seen(table), "53");
    run("ROLLBACK");
    EXPECT_EQ(count(table), "3");
    data->RefreshADO();
  }
  // Each row learned its number: a change goes to the right one.
  data->MoveFirst();
  data->MoveNext();
  data->SetPound("V", "B");
  EXPECT_EQ(send(), 0);
  const auto all = opened("SELECT ID, V FROM " + table + " ORDER BY ID, V");
  for (const char* value : {"a", "B", "c"}) {
    EXPECT_EQ(all->value(1), Variant(value));
    all->MoveNext();
  }
}

TEST_P(KilledServerBatchTest, NothingIsStoredByHalvesAndALossIsToldOnce) {
  data->SetLock(ado::adLockBatchOptimistic);
  data->SetMessages(true);
  for (const bool batch : {false, true}) {
    SCOPED_TRACE(batch ? "in a batch" : "while a row is added");
    make_table("ID INTEGER PRIMARY KEY, V VARCHAR(10)");
    data->SetLock(batch ? ado::adLockBatchOptimistic : ado::adLockOptimistic);
    ASSERT_TRUE(data->Selection());
    constexpr int kRows = 20'000;
    for (int i = 1; batch && i < kRows; ++i) expect_added({{"ID", i}, {"V", "x"}});
    data->AddNew();
    set({{"ID", kRows}, {"V", "x"}});
    std::thread killing([&] {
      if (batch) std::this_thread::sleep_for(30ms);
      server().kill();
    });
    if (!batch) killing.join();
    const std::size_t told = dialogs.boxes.size();
    const bool saved = data->Save();
    const int failure = batch ? send() : data->Err_Number();
    if (batch) killing.join();
    EXPECT_EQ(saved, batch);
    EXPECT_EQ(dialogs.boxes.size(), told + (batch ? 0 : 1));
    EXPECT_TRUE(failure == 0 || failure == ado::kUnspecified) << failure;
    ASSERT_EQ(server().ensure_running(), "");
    for (const auto end = std::chrono::steady_clock::now() + 10s; !data->Selection();
         std::this_thread::sleep_for(20ms)) {
      ASSERT_LT(std::chrono::steady_clock::now(), end) << data->Err_Description();
    }
    EXPECT_EQ(data->RecordCount(), failure == 0 ? kRows : 0);
    expect_added({{"ID", kRows + 1}, {"V", "y"}});
  }
}

INSTANTIATE_TEST_SUITE_P(Engines, BatchTest, ::testing::ValuesIn(engines(Choose::one_of_ours)), engine_name);
INSTANTIATE_TEST_SUITE_P(Engines, KilledServerBatchTest, ::testing::ValuesIn(engines(Choose::one_a_server)),
                         engine_name);

}  // namespace
}  // namespace quarno::test
