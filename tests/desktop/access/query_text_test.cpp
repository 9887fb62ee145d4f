// Saved queries as SQL text.
#include "providers/desktop/access/query_text.h"

#include <gtest/gtest.h>

#include "common/text.h"
#include "desktop/access/real_files.h"

namespace quarno::desktop::access {
namespace {

TEST(QueryText, RealQueriesOfAllKinds) {
  const auto path = test::real_files("access") / "jackcess_queryTestV2000.mdb";
  if (!std::filesystem::exists(path)) GTEST_SKIP() << "no real file " << path;
  const auto database = Database::open(path, {});
  std::string all;
  for (const Query& query : database->queries()) {
    all += query.name + (query.is_view() ? ": " : "(): ") +
           text::replace_all(query.definition.text, "\r\n", " ") + "\n";
  }
  const std::string expected =
      R"(AppendQuery(): INSERT INTO Table3 (col2, col2, col3) SELECT [Table1].[col2], [Table2].[col2], \
[Table2].[col3] FROM Table3, Table1 INNER JOIN Table2 ON [Table1].[col1]=[Table2].[col1]
CrosstabQuery(): TRANSFORM Count([Table2].[col2]) AS CountOfcol2 SELECT Table2_1.col1, [Table2].[col3], \
Avg(Table2_1.col2) AS AvgOfcol2 FROM (Table1 INNER JOIN Table2 ON [Table1].[col1]=[Table2].[col1]) \
INNER JOIN Table2 AS Table2_1 ON [Table2].[col1]=Table2_1.col3 WHERE ((([Table1].[col1])>"10") And \
((Table2_1.col1) Is Not Null) And ((Avg(Table2_1.col2))>"10")) GROUP BY Table2_1.col1, [Table2].[col3] \
ORDER BY [Table2].[col3] PIVOT [Table1].[col1]
DataDefinitionQuery(): CREATE TABLE Table5 (col1 CHAR, col2 CHAR)
DeleteQuery(): DELETE Table1.col1, Table1.col2, Table1.col3 FROM Table1 WHERE (((Table1.col1)>"blah"))
MakeTableQuery(): SELECT Max(Table2.col1) AS MaxOfcol1, Table2.col2, Table3.col2 INTO Table4 FROM \
(Table2 INNER JOIN Table1 ON Table2.col1 = Table1.col2) RIGHT JOIN Table3 ON Table1.col2 = Table3.col3 \
GROUP BY Table2.col2, Table3.col2 HAVING (((Max(Table2.col1))="buzz") AND ((Table2.col2)<>"blah"))
PassthroughQuery(): ALTER TABLE Table4 DROP COLUMN col5
SelectQuery: SELECT DISTINCT Table1.*, Table2.col1, Table2.col2, Table3.col3 FROM Table1 LEFT JOIN \
(Table3 INNER JOIN Table2 ON (Table3.col1 = Table2.col1) AND (Table3.col1 = Table2.col2)) \
ON Table1.col1 = Table3.col1 WHERE (((Table2.col2)="foo" Or (Table2.col2) In ("buzz","bazz"))) ORDER BY Table2.col1
UnionQuery(): Select Table1.col1, Table1.col2 where Table1.col1 = "foo" UNION Select Table2.col1, Table2.col2 \
UNION ALL Select Table3.col1, Table3.col2 where Table3.col3 > "blah"
UpdateQuery(): PARAMETERS [User Name] Text(255); UPDATE Table1 SET Table1.col1 = "foo", \
Table1.col2 = [Table2].[col3], [Table2].[col1] = [User Name] WHERE ((([Table2].[col1]) Is Not Null))
)";
  EXPECT_EQ(all, text::replace_all(expected, "\\\n", ""));
}

QueryRow row(int attribute, int flag, const char* expression = "", const char* name1 = "",
             const char* name2 = "", const char* order = "") {
  return {attribute, order, flag, 0, name1, name2, expression};
}

TEST(QueryText, RowsBecomeText) {
  const QueryRow select = row(1, 1);
  const QueryRow all = row(3, 1);
  const QueryRow t = row(5, 0, "", "T");
  const QueryRow u = row(5, 0, "", "My Table", "u");
  const auto join = [](int flag, const char* a, const char* b, const char* condition) {
    return row(7, flag, condition, a, b);
  };
  const std::tuple<const char*, std::uint32_t, std::vector<QueryRow>, std::string> rows[] = {
      {"kind from the object", 0, {all, t}, "SELECT * FROM T"},
      {"names in brackets",
       0,
       {select, row(6, 0, "x", "a b"), row(6, 0, "y", "Order"), u},
       "SELECT x AS [a b], y AS [Order] FROM [My Table] AS u"},
      {"options",
       0,
       {select, row(3, 1 | 2 | 16 | 32 | 4, "", "5"), t},
       "SELECT DISTINCT TOP 5 PERCENT * FROM T WITH OWNERACCESS OPTION"},
      {"order of rows",
       0,
       {row(11, 0, "b", "D", "", "\1"), row(11, 0, "a", "", "", "\2"), select, all, t},
       "SELECT * FROM T ORDER BY b DESC, a"},
      {"grouping",
       0,
       {select, row(6, 0, "a"), t, row(9, 0, "a"), row(10, 0, "Count(*)>1"), row(8, 0, "a>0")},
       "SELECT a FROM T WHERE a>0 GROUP BY a HAVING Count(*)>1"},
      {"inner join first",
       0,
       {select, all, t, u, row(5, 0, "", "V"), join(2, "T", "u", "T.a=u.a"), join(1, "u", "V", "u.b=V.b")},
       "SELECT * FROM T LEFT JOIN ([My Table] AS u INNER JOIN V ON u.b=V.b) ON T.a=u.a"},
      {"joined already",
       0,
       {select, all, t, u, join(1, "T", "u", "T.a=u.a"), join(1, "u", "T", "u.b=T.b"), row(8, 0, "x")},
       "SELECT * FROM T INNER JOIN [My Table] AS u ON T.a=u.a WHERE (x) AND (u.b=T.b)"},
      {"two conditions",
       0,
       {select, all, t, u, join(3, "T", "u", "a=b"), join(3, "T", "u", "c=d")},
       "SELECT * FROM T RIGHT JOIN [My Table] AS u ON (a=b) AND (c=d)"},
      {"values",
       0x40,
       {row(1, 3, "", "T"), row(6, -32768, "1", "", "a"), row(6, -32768, "'x'", "", "b c")},
       "INSERT INTO T (a, [b c]) VALUES (1, 'x')"},
      {"parameters",
       0,
       {select, all, t, row(2, 4, "", "n"), row(2, 8, "", "[d]")},
       "PARAMETERS [n] Long, [d] DateTime; SELECT * FROM T"},
      {"derived table", 0, {select, all, row(5, 0, "SELECT 1;", "", "d")}, "SELECT * FROM (SELECT 1) AS d"},
      {"all rows", 0x20, {row(1, 5), all, t}, "DELETE * FROM T"},
      {"union",
       0x80,
       {row(1, 9), row(3, 2), row(5, 0, "SELECT 1 ;\r\n"), row(5, 0, "SELECT 2"), row(11, 0, "1")},
       "SELECT 1 UNION SELECT 2 ORDER BY 1"},
      // What is not understood gives no text, never half a one.
      {"unknown attribute", 0, {select, all, t, row(99, 0)}, ""},
      {"another database", 0, {select, all, t, row(4, 0, "", "c:\\x.mdb")}, ""},
      {"join of an unknown table", 0, {select, all, t, join(1, "T", "X", "a=b")}, ""},
      {"outer join in a circle",
       0,
       {select, all, t, u, join(1, "T", "u", "a=b"), join(2, "T", "u", "c=d")},
       ""},
      {"no columns", 0, {select, t}, ""},
      {"odd top", 0, {select, row(3, 17, "", "5; DROP"), t}, ""},
      {"bracket in a name", 0, {select, all, row(5, 0, "", "a]b")}, ""},
      {"unknown kind", 0xF0, {all, t}, ""},
      {"far too long", 0, std::vector<QueryRow>(3000, t), ""},
  };
  for (const auto& [what, flags, given, expected] : rows)
    EXPECT_EQ(query_text(given, flags).text, expected) << what;
}

}  // namespace
}  // namespace quarno::desktop::access
