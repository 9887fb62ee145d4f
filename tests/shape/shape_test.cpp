// Hierarchies over a database file, through the object model and through the class that hosts use.
#include <gtest/gtest.h>

#include <functional>

#include "ado/Connection.h"
#include "ado/Fields.h"
#include "ado/Recordset.h"
#include "ado/ado_error.h"
#include "common/convert.h"
#include "data/CData.h"
#include "support/outcome.h"
#include "support/temp_folder.h"

namespace quarno::ado {
namespace {

Ptr<Recordset> child_of(Recordset& rows, std::size_t column) {
  const Variant value = rows.value(column);
  const auto* const object = value.get_if<Variant::Object>();
  return object == nullptr ? nullptr : Ptr<Recordset>(dynamic_cast<Recordset*>(object->get()));
}

// "1 a [10 x; 11 y]; 2 b []"
std::string dump(Recordset& rows) {
  std::string result;
  if (rows.at_bof() && rows.at_eof()) return result;
  for (rows.MoveFirst(); !rows.at_eof(); rows.MoveNext()) {
    if (!result.empty()) result += "; ";
    for (std::size_t i = 0; i < rows.columns().size(); ++i) {
      if (i > 0) result += " ";
      if (rows.columns()[i].type == DataType::chapter) {
        result += "[" + dump(*child_of(rows, i)) + "]";
      } else {
        const Variant value = rows.value(i);
        result += value.is_null() ? "-" : to_text(value, LocaleInfo{});
      }
    }
  }
  return result;
}

class ShapeTest : public ::testing::Test {
 protected:
  void SetUp() override {
    connection->Open("Provider=MSDataShape;Data Provider=Microsoft.Jet.OLEDB.4.0;Data Source=" + path);
    for (const char* statement :
         {"CREATE TABLE P (ID INTEGER PRIMARY KEY, N VARCHAR(9), G INTEGER)",
          "CREATE TABLE C (K INTEGER PRIMARY KEY, P INTEGER, V CURRENCY, T VARCHAR(9))",
          "CREATE TABLE G (C INTEGER, X VARCHAR(9))", "INSERT INTO P VALUES (1,'a',1),(2,'b',1),(3,'c',NULL)",
          "INSERT INTO C VALUES (10,1,1.5,'x'),(11,2,2,'y'),(12,1,NULL,'z'),(13,NULL,4,'w'),(14,9,5,'v')",
          "INSERT INTO G VALUES (10,'i'),(12,'j'),(10,'k')"}) {
      connection->Execute(statement);
    }
  }
  Ptr<Recordset> opened(const std::string& statement, std::int32_t lock = adLockOptimistic) {
    auto rows = make<Recordset>();
    rows->Open(statement, Variant(connection), adOpenStatic, lock);
    return rows;
  }
  std::string dumped(const std::string& statement) {
    return test::outcome([&] { return dump(*opened(statement)); });
  }

  test::TempFolder folder;
  std::string path = folder.put("a.db", "");
  test::ScopedVariable no_settings{"QUARNOFWK_PROVIDERS", folder.put("providers.ini", "")};
  Ptr<Connection> connection = make<Connection>();
};

const std::string kPairs = "SHAPE {SELECT ID, N FROM P}APPEND ({SELECT K, P, T FROM C}RELATE ID TO P)";
const std::string kWrong = "!" + std::to_string(kErrorsInCommand);

TEST_F(ShapeTest, RowsStandUnderTheirParents) {
  const std::pair<std::string, std::string> rows[] = {
      {kPairs, "1 a [10 1 x; 12 1 z]; 2 b [11 2 y]; 3 c []"},
      {"SELECT COUNT(*) FROM C", "5"},
      // Nested; the grandchildren by way of a name.
      {"SHAPE {SELECT ID FROM P WHERE ID < 3} APPEND ((SHAPE {SELECT K, P FROM C} APPEND ({SELECT * FROM G} "
       "AS g RELATE "
       "K TO C) AS gs, COUNT(gs) AS n) AS c RELATE ID TO P) AS cs, SUM(cs.n) AS all_g, MAX(c.gs.X) AS x, "
       "COUNT(cs.gs)",
       "1 [10 1 [10 i; 10 k] 2; 12 1 [12 j] 1] 3 k 3; 2 [11 2 [] 0] 0 - 0"},
      // Several items; the same rows twice; several columns; nothing equals null.
      {"SHAPE {SELECT ID, G FROM P} APPEND (TABLE G AS g RELATE ID TO C), ({SELECT K, P FROM C} AS c RELATE "
       "ID TO P, G TO "
       "P) AS two, (c RELATE G TO P) AS three, SUM(three.K) s",
       "1 1 [] [10 1; 12 1] [10 1; 12 1] 22; 2 1 [] [] [10 1; 12 1] 22; 3 - [] [] [] -"},
      // A parent within goes on under its own name, with its chapters.
      {"SHAPE {SELECT ID FROM P WHERE ID < 3} APPEND ((SHAPE {SELECT K, P FROM C} AS c APPEND ({SELECT X, C "
       "FROM "
       "G} RELATE K TO C) AS gs) RELATE ID TO P) AS one, (c RELATE ID TO P) AS two, COUNT(two.gs)",
       "1 [10 1 [i 10; k 10]; 12 1 [j 12]] [10 1 [i 10; k 10]; 12 1 [j 12]] 3; 2 [11 2 []] [11 2 []] 0"},
      {"SHAPE {SELECT ID FROM P WHERE 1=0} APPEND ({SELECT T FROM C} RELATE ID TO T)", ""},
      // Groups in the child's order, null being one of them.
      {"SHAPE {SELECT P, V, T FROM C ORDER BY K DESC} AS c COMPUTE c, COUNT(c) n, SUM(c.V) v, ANY(c.T) BY P",
       "[9 5 v] 1 5 v 9; [- 4 w] 1 4 w -; [1 - z; 1 1.5 x] 2 1.5 z 1; [2 2 y] 1 2 y 2"},
      {"SHAPE {SELECT * FROM C} c COMPUTE COUNT(c) n, MIN(c.V), STDEV(c.K)", "5 1.5 1.5811388300841898"},
      {"SHAPE {SELECT * FROM C WHERE 1=0} c COMPUTE COUNT(c) n, MIN(c.V) BY T", ""},
      {"SHAPE {SELECT * FROM C WHERE 1=0} c COMPUTE COUNT(c) n, MIN(c.V)", "0 -"},
      {"SHAPE (SHAPE {SELECT P, K FROM C WHERE P < 9} AS c COMPUTE c, COUNT(c) AS n BY P) AS p COMPUTE p, "
       "SUM(p.n) AS n, "
       "MAX(p.c.K)",
       "[[1 10; 1 12] 2 1; [2 11] 1 2] 3 12"},
      {"SHAPE APPEND NEW adInteger AS n, NEW adVarChar(5) s", ""},
      {"SHAPE {SELECT ID FROM P WHERE ID=1} APPEND NEW adCurrency AS n", "1 -"},
      // What cannot be had.
      {"SHAPE {SELECT ID FROM P} APPEND ({SELECT * FROM C} RELATE ID TO Q)", kWrong},
      {"SHAPE {SELECT ID FROM P} APPEND ({SELECT * FROM C} RELATE Q TO P)", kWrong},
      {"SHAPE {SELECT N FROM P} APPEND ({SELECT * FROM C} RELATE N TO P)", kWrong},
      {"SHAPE {SELECT ID FROM P} APPEND (c RELATE ID TO P)", kWrong},
      {"SHAPE {SELECT ID FROM P} APPEND ({SELECT * FROM C} AS c RELATE ID TO P), SUM(c.T)", kWrong},
      {"SHAPE {SELECT ID FROM P} APPEND ({SELECT * FROM C} AS c RELATE ID TO P), SUM(d.V)", kWrong},
      {"SHAPE {SELECT ID FROM P} APPEND ({SELECT ?} AS c RELATE ID TO PARAMETER 0), COUNT(c)", kWrong},
      {"SHAPE {SELECT ID FROM P} APPEND ({SELECT ?} RELATE ID TO PARAMETER 1)", kWrong},
      {"SHAPE {SELECT ID FROM P} APPEND ({SELECT ?} RELATE ID TO P, ID TO PARAMETER 0)", kWrong},
      {"SHAPE {SELECT * FROM C} c COMPUTE d", kWrong},
      {"SHAPE (SHAPE {SELECT * FROM C} c COMPUTE c BY P) AS p COMPUTE p BY c", kWrong},
      {"SHAPE {SELECT ID FROM P} APPEND ((SHAPE {SELECT * FROM C} APPEND ({SELECT * FROM G} RELATE K TO C) "
       "AS g) "
       "RELATE ID TO g)",
       kWrong},
      {"SHAPE (SHAPE {SELECT * FROM C} c COMPUTE c BY P) AS p APPEND ({SELECT ?} RELATE c TO PARAMETER 0)",
       kWrong},
      {"SHAPE {SELECT ID FROM P} AS p APPEND (p RELATE ID TO ID)", kWrong},
      {"SHAPE {DELETE FROM G} APPEND ({SELECT * FROM C} RELATE C TO P)", kWrong},
  };
  for (const auto& [statement, expected] : rows) EXPECT_EQ(dumped(statement), expected) << statement;
  EXPECT_EQ(connection->Errors()->Count(), 1);
}

TEST_F(ShapeTest, ColumnsOfAHierarchy) {
  const auto rows = opened(
      "SHAPE {SELECT * FROM P} APPEND ({SELECT * FROM C} RELATE ID TO P), ({SELECT * FROM G} AS g "
      "RELATE ID TO C), ({SELECT * FROM G} RELATE ID TO C), COUNT(g), NEW adNumeric(9,2) d");
  std::string names;
  for (const Column& column : rows->columns()) {
    names += column.name + ":" + std::to_string(static_cast<int>(column.type)) + " ";
  }
  EXPECT_EQ(names, "ID:3 N:202 G:3 Chapter1:136 g:136 Chapter3:136 COUNT(g):3 d:131 ");
  const auto field = rows->Fields()->Item("chapter1");
  EXPECT_EQ(field->Attributes() & adFldIsChapter, adFldIsChapter);
  EXPECT_EQ(test::error_of([&] { return rows->set_value(3, "x"), 0; }), kMultipleStep);
  // Held whole, whatever was asked; its rows go with the connection.
  const auto walked = make<Recordset>();
  walked->Open(kPairs, Variant(connection), adOpenForwardOnly, adLockReadOnly);
  EXPECT_EQ(walked->RecordCount(), 3);
  const auto child = child_of(*walked, 2);
  EXPECT_EQ(test::error_of([&] { return child->Requery(), 0; }), full_number(Model::feature_not_available));
  walked->MoveLast();
  walked->MoveNext();
  EXPECT_EQ(test::error_of([&] { return walked->value(2); }), full_number(Model::no_current_record));
  EXPECT_EQ(dump(*child), "10 1 x; 12 1 z");  // of the row it was taken at
  connection->Close();
  EXPECT_FALSE(child->is_open());
}

TEST_F(ShapeTest, AChapterIsARecordsetOfItsOwn) {
  const auto rows = opened(kPairs);
  const auto child = child_of(*rows, 2);
  const auto step = [&](const std::string& what) {
    return test::outcome([&]() -> std::string {
      if (what == "last") child->MoveLast();
      if (what == "find") child->Find("T = 'x'", 0, -1);
      if (what == "find none") child->Find("T = 'y'");
      if (what == "filter") child->set_Filter("T > 'x'");
      if (what == "all") child->set_Filter("");
      if (what == "sort") child->set_Sort("K DESC");
      if (what == "mark of another") child->set_Bookmark(2.0);
      if (what == "position") child->set_AbsolutePosition(2);
      const auto clone = child->Clone();
      return std::to_string(child->RecordCount()) + " " + std::to_string(child->AbsolutePosition()) + " " +
             (child->at_eof() ? "end" : to_text(child->value(0), LocaleInfo{})) + " of " +
             std::to_string(clone->RecordCount());
    });
  };
  const std::pair<const char*, std::string> steps[] = {
      {"first", "2 1 10 of 2"},
      {"last", "2 2 12 of 2"},
      {"find", "2 1 10 of 2"},
      {"find none", "2 -3 end of 2"},
      {"filter", "1 1 12 of 2"},
      {"sort", "1 1 12 of 2"},
      {"all", "2 1 12 of 2"},
      {"position", "2 2 10 of 2"},
      {"mark of another", "!" + std::to_string(full_number(Model::no_current_record))},
  };
  for (const auto& [what, expected] : steps) EXPECT_EQ(step(what), expected) << what;
  EXPECT_EQ(rows->AbsolutePosition(), 1);
}

TEST_F(ShapeTest, EditsOfAChapterAreEditsOfItsTable) {
  const auto rows = opened(kPairs);
  const auto other = child_of(*rows, 2);
  const auto child = child_of(*rows, 2);
  child->set_value(2, "new");
  child->Update();
  child->AddNew();
  EXPECT_EQ(child->value(1), std::int32_t{1});  // the parent's
  child->set_value(0, std::int32_t{20});
  child->Update();
  EXPECT_EQ(dump(*child), "10 1 new; 12 1 z; 20 1 -");
  EXPECT_EQ(dump(*child_of(*rows, 2)), "10 1 new; 12 1 z; 20 1 -");
  child->MoveFirst();
  child->Delete();
  EXPECT_EQ(dump(*other), "12 1 z");
  // A parent without children gets its first, one that is new as well.
  for (const std::int32_t id : {3, 4}) {
    if (id == 4) {
      rows->AddNew();
      rows->set_value(0, id);
      rows->Update();
    } else {
      rows->MoveLast();
    }
    const auto empty = child_of(*rows, 2);
    EXPECT_EQ(empty->RecordCount(), 0);
    empty->AddNew();
    empty->set_value(0, std::int32_t{30} + id);
    empty->Update();
    EXPECT_EQ(dump(*child_of(*rows, 2)), std::to_string(30 + id) + " " + std::to_string(id) + " -");
  }
  const std::string expected = "1 a [12 1 z; 20 1 -]; 2 b [11 2 y]; 3 c [33 3 -]; 4 - [34 4 -]";
  EXPECT_EQ(dump(*rows), expected);
  EXPECT_EQ(dumped(kPairs), expected);
  // A batch sends what is its own.
  const auto batch = opened(kPairs, adLockBatchOptimistic);
  const auto first = child_of(*batch, 2);
  first->set_value(2, "one");
  first->Update();
  batch->MoveNext();
  const auto second = child_of(*batch, 2);
  second->set_value(2, "two");
  second->Update();
  second->UpdateBatch();
  EXPECT_EQ(dumped(kPairs), "1 a [12 1 z; 20 1 -]; 2 b [11 2 two]; 3 c [33 3 -]; 4 - [34 4 -]");
  EXPECT_EQ(first->Status(), adRecModified);
}

// The values go as parameters, whatever they hold.
TEST_F(ShapeTest, AChildCanBeReadForEachRow) {
  connection->Execute("UPDATE P SET N = 'b''?' WHERE ID = 2");
  Ptr<Recordset> rows;
  for (const char* source : {"Microsoft.Jet.OLEDB.4.0;Data Source=", "MSDASQL;DRIVER=SQLite3;Database="}) {
    connection->Close();
    connection->Open("Provider=MSDataShape;Data Provider=" + (source + path));
    rows = opened(
        "SHAPE {SELECT ID, N FROM P} APPEND ({SELECT K, T, ? || T FROM C WHERE P = ?} RELATE N TO PARAMETER "
        "0, "
        "ID TO PARAMETER 1)");
    EXPECT_EQ(dump(*rows), "1 a [10 x ax; 12 z az]; 2 b'? [11 y b'?y]; 3 c []") << source;
  }
  // Once for each row: what was edited there stays.
  rows->MoveFirst();
  const auto child = child_of(*rows, 2);
  child->set_value(1, "new");
  child->Update();
  connection->Execute("DELETE FROM C WHERE K = 12");
  EXPECT_EQ(dump(*child_of(*rows, 2)), "10 new ax; 12 z az");
  EXPECT_EQ(dumped("SELECT T FROM C WHERE P = 1"), "new");
  EXPECT_EQ(dumped("SHAPE {SELECT ID FROM P} APPEND ({DELETE FROM C WHERE P = ?} RELATE ID TO PARAMETER 0)"),
            kWrong);
}

class ShapeDataTest : public ShapeTest {};

TEST_F(ShapeDataTest, HostsWalkParentsAndChildren) {
  const auto data = make<CData>();
  data->m_LogPath = folder.path();
  data->SetMessages(false);
  data->SetDBType(data::Conn_Jet);
  data->SetDatabase(path);
  EXPECT_TRUE(data->IsEofShape());
  EXPECT_FALSE(data->MoveNextShape());
  EXPECT_TRUE(data->GetPoundShape("T").is_empty());
  // The connection may be open already.
  ASSERT_TRUE(data->ExecuteSQL("DELETE FROM C WHERE K > 13"));
  ASSERT_TRUE(data->SelectionShape("SELECT ID FROM P", "SELECT * FROM C", "ID TO P"))
      << data->Err_Description();
  EXPECT_EQ(data->FieldsCount(), 2);
  std::string walked;
  do {
    walked += to_text(data->GetPound("ID"), LocaleInfo{}) + ":";
    while (!data->IsEofShape()) {
      walked += to_text(data->GetPoundShape(" T "), LocaleInfo{}) +
                to_text(data->GetValueShape("V"), LocaleInfo{}) + ",";
      if (!data->MoveNextShape()) break;
    }
  } while (data->MoveNext());
  EXPECT_EQ(walked, "1:x1.5,z,2:y2,3:");
  // The child is the current row's, whoever moved: the host, or a row that was added.
  const auto seen = [&] {
    return std::to_string(data->IsEofShape()) + to_text(data->GetPoundShape("T"), LocaleInfo{}) +
           to_text(data->GetValueShape("K"), LocaleInfo{});
  };
  const Ptr<Recordset> held = data->GetRecordSet();
  held->MoveFirst();
  EXPECT_EQ(seen(), "0x10");
  EXPECT_TRUE(data->MoveNextShape());
  EXPECT_EQ(seen(), "0z12") << "the place among them is kept";
  held->MoveNext();
  EXPECT_EQ(seen(), "0y11");
  data->AddNew();
  EXPECT_EQ(seen(), "1");
  data->SetPound("ID", Variant(std::int32_t{7}));
  ASSERT_TRUE(data->Save()) << data->Err_Description();
  EXPECT_EQ(seen(), "1");
  EXPECT_FALSE(data->MoveNextShape());
  held->MoveFirst();
  EXPECT_EQ(seen(), "0x10");
  held->MovePrevious();
  EXPECT_EQ(seen(), "1");
  data->MoveLast();
  ASSERT_TRUE(data->Delete());
  data->MoveLast();
  EXPECT_TRUE(data->IsEof());
  EXPECT_TRUE(data->GetPoundShape("T").is_empty());
  data->MoveFirst();
  EXPECT_FALSE(data->MovePrevShape());
  data->MoveLastShape();
  EXPECT_EQ(data->GetPoundShape("T"), Variant("z"));
  EXPECT_FALSE(data->MoveNextShape());
  EXPECT_TRUE(data->IsEofShape());
  EXPECT_EQ(data->GetPoundShape("T"), Variant("z"));
  EXPECT_TRUE(data->MovePrevShape());
  data->MoveFirstShape();
  EXPECT_EQ(data->GetValueShape("K"), Variant(std::int32_t{10}));
  EXPECT_TRUE(data->GetValueShape("none").is_empty());
  EXPECT_EQ(data->Err_Description(), "Field not found !");
  EXPECT_FALSE(data->SelectionShape("SELECT ID FROM P", "SELECT * FROM C", "ID = P"));
  EXPECT_EQ(data->Err_Number(), kErrorsInCommand);
  EXPECT_TRUE(data->IsEofShape());
  EXPECT_TRUE(data->SelectionFast("SELECT * FROM P"));
  data->CloseConnection();
  ASSERT_TRUE(data->SelectionShape("SELECT ID FROM P", "SELECT * FROM C", "ID TO P"));
  EXPECT_EQ(data->GetPoundShape("T"), Variant("x"));
}

}  // namespace
}  // namespace quarno::ado
