// Statements of hosts and what they give: run on an engine in memory, through the rewriter.
#include <gtest/gtest.h>

#include "common/text.h"
#include "desktop/jet/engine.h"
#include "providers/desktop/jet/result_types.h"

namespace quarno::desktop::jet::test {
namespace {

class JetTest : public ::testing::Test {
 protected:
  void SetUp() override { fill(engine); }

  static void fill(Engine& engine) {
    for (const char* const statement : {
             "CREATE TABLE Kunden (ID COUNTER CONSTRAINT pk PRIMARY KEY, Name TEXT(30), Stadt TEXT(20), "
             "Aktiv YESNO, Umsatz "
             "CURRENCY, Seit DATETIME, Notiz MEMO)",
             "INSERT INTO Kunden (Name, Stadt, Aktiv, Umsatz, Seit, Notiz) VALUES ('Alfki', 'Berlin', True, "
             "120.5, "
             "#01/05/2024#, \"n1\")",
             "INSERT INTO Kunden (Name, Stadt, Umsatz, Seit) VALUES ('Berg', 'Hamburg', 80, #06/30/2023  "
             "14:07:33#)",
             "INSERT INTO Kunden (Name, Stadt, Aktiv, Seit) VALUES ('chop', 'BERLIN', Yes, #2024-01-05 "
             "14:07:33#)",
             "INSERT INTO Kunden (Name, Stadt, Umsatz) VALUES ('O''Neil', 'Ulm', 10)",
             "CREATE TABLE Posten (Nr LONG CONSTRAINT PrimaryKey PRIMARY KEY, KID LONG, Menge LONG, Preis "
             "DOUBLE, Datum DATETIME, "
             "Artikel TEXT(20))",
             "INSERT INTO Posten VALUES (1, 1, 7, 2.5, #1/5/2024#, 'Tee')",
             "INSERT INTO Posten VALUES (2, 1, 2, 10, #2/6/2024#, 'Kaffee')",
             "INSERT INTO Posten VALUES (3, 3, 5, 1.25, #2/7/2024#, 'tee')",
             "INSERT INTO Posten VALUES (4, 9, 1, 4, NULL, NULL)",
             "CREATE TABLE [Odd One] ([a b] LONG, [Date] DATETIME, [Yes] LONG, [text] TEXT(9), [Limit] LONG, "
             "[Top] LONG)",
             "INSERT INTO [Odd One] VALUES (1, #3/4/2020#, 5, 'w', 9, 8)",
         }) {
      const std::string outcome = engine.run(statement);
      ASSERT_FALSE(outcome.starts_with('!')) << statement << outcome;
    }
    engine.saved = {
        {"aktive", "SELECT ID, Name, UCase(Stadt) AS Ort FROM Kunden WHERE Aktiv"},
        {"ab", "PARAMETERS [Ab Menge] Long; SELECT Nr FROM Posten WHERE Menge >= [Ab Menge] ORDER BY Nr"},
        {"teurer", "UPDATE Posten SET Preis = Preis * [Faktor] WHERE Artikel = [Was]"},
        {"kreis", "SELECT * FROM kreis"}};
  }

  struct Row {
    const char* statement;
    const char* expected;
  };
  // One engine for all: the statements only read.
  void expect(std::initializer_list<Row> rows) {
    for (const auto& [statement, expected] : rows) EXPECT_EQ(engine.run(statement), expected) << statement;
  }

  void expect_types(std::initializer_list<Row> rows) {
    for (const auto& [statement, expected] : rows) {
      EXPECT_EQ(text::join(result_types(statement, engine), ","), expected) << statement;
    }
  }

  struct Change {
    const char* statement;
    const char* query;
    const char* expected;
  };
  static void expect_after(std::initializer_list<Change> changes) {
    for (const auto& [statement, query, expected] : changes) {
      Engine fresh;
      fill(fresh);
      // The schema of one statement is what those before it made.
      for (const std::string_view one : text::split(statement, ";;")) {
        const std::string outcome = fresh.run(std::string(one));
        EXPECT_FALSE(outcome.starts_with('!')) << one << "\n" << outcome;
      }
      EXPECT_EQ(fresh.run(query), expected) << statement;
    }
  }

  Engine engine;
};

// clang-format off

TEST_F(JetTest, WhatWouldBeSilentlyWrong) {
  expect({
      {"SELECT 7/2, Menge/2 FROM Posten WHERE Nr = 1", "3.5,3.5"},
      {"SELECT 7\\2, 7 Mod 4, 2^3, -2^2, 2^-1, 5.5\\2, 7 Mod 4 + 1", "3,3,8.0,-4.0,0.5,3,4"},
      {"SELECT 12\\5*2, 2*7 Mod 4, 8/4/2", "1,2,1.0"},
      {"SELECT Name & '-' & ID FROM Kunden WHERE ID = 1", "Alfki-1"},
      {"SELECT 'a' & Null & 1 + 2 & \"b\"", "a3b"},
      {"SELECT Null & Null", "-"},
      {"SELECT 'a' + 'b', 1 + 2, Name + Stadt FROM Kunden WHERE ID = 1", "ab,3,AlfkiBerlin"},
      {"SELECT Umsatz + 1 FROM Kunden WHERE ID = 2", "81"},
      {"SELECT ID FROM Kunden WHERE Aktiv = True ORDER BY ID", "1|3"},
      {"SELECT ID FROM Kunden WHERE Aktiv = No", "2|4"},
      {"SELECT ID FROM Kunden WHERE Not Aktiv", "2|4"},
      {"SELECT True, False, Yes, Off, Not True, 1 = 1, (1 = 2)", "-1,0,-1,0,0,-1,0"},
      {"SELECT Sum(Menge > 4) FROM Posten", "-2"},
      {"SELECT Nr FROM Posten WHERE (Menge > 4) = True", "1|3"},
      {"SELECT Nr FROM Posten WHERE (Menge Between 5 And 7) = -1 And (Nr In (3,4)) = Yes", "3"},
      {"SELECT IsNull(Datum), Exists (SELECT 1 FROM Kunden), Not IsNull(Nr) FROM Posten WHERE Nr = 4", "-1,-1,-1"},
      {"SELECT ID FROM Kunden WHERE Stadt = 'berlin'", "1|3"},
      {"SELECT ID FROM Kunden WHERE UCase(Stadt) = 'berlin'", "1|3"},
      {"SELECT ID FROM Kunden WHERE 'BE' = Left(Stadt, 2) OR Stadt & '' = 'ULM'", "1|3|4"},
      {"SELECT ID FROM Kunden WHERE Left(Stadt, 3) IN ('ber', 'ULM')", "1|3|4"},
      {"SELECT ID FROM Kunden WHERE Mid(Name, 1, 1) BETWEEN 'B' AND 'D' ORDER BY ID", "2|3"},
      {"SELECT Ort FROM (SELECT UCase(Stadt) AS Ort FROM Kunden) WHERE Ort = 'ulm'", "ULM"},
      {"SELECT IIf(UCase(Name) = 'berg', 'x', 'y') FROM Kunden WHERE ID < 3", "y|x"},
      {"SELECT Left(Stadt, 3) & '', Count(*) FROM Kunden GROUP BY Left(Stadt, 3) & '' ORDER BY Count(*) DESC, 1", "Ber,2|Ham,1|Ulm,1"},
      {"SELECT Name FROM Kunden ORDER BY Left(Name, 3)", "Alfki|Berg|chop|O'Neil"},
      {"SELECT UCase(Left(Name, 1)) AS A FROM Kunden WHERE ID <> 4 UNION ALL SELECT LCase('X') ORDER BY A", "A|B|C|x"},
      {"SELECT LCase(Name) & '' AS N FROM Kunden WHERE ID > 2 ORDER BY N DESC", "o'neil|chop"},
      {"SELECT DISTINCT Stadt & '' FROM Kunden ORDER BY 1", "Berlin|Hamburg|Ulm"},
      {"SELECT IIf(ID = 1, 'a', 'B') & '' AS N FROM Kunden WHERE ID < 3 ORDER BY N", "a|B"},
      {"SELECT text, \"text\" FROM [Odd One]", "w,text"},
      {"SELECT ID FROM Kunden WHERE Name = \"berg\"", "2"},
      {"SELECT Name FROM Kunden WHERE Name LIKE 'B%' OR Name LIKE '%O_'", "Berg|chop"},
      {"SELECT Name FROM Kunden WHERE Name ALIKE 'a%' OR Name LIKE 'B*'", "Alfki"},
      {"SELECT Name FROM Kunden WHERE Name NOT LIKE '%e%' AND Name LIKE '[A-C]%'", "Alfki|chop"},
      {"SELECT Round(2.5, 0), Format(#1/5/2024#, 'yyyymmdd'), Format(0.5, '0.00'), InStr(2, 'aba', 'A')", "2.0,20240105,0.50,3"},
      {"SELECT 5 -1, 5 - -1, - - 2, -True, 3-Yes, -(-2), +-3, - Not 1", "4,6,2,1,4,2,-3,0"},
      {"SELECT 1 = 1 Xor 2 = 2, True Eqv False, False Imp False, 1 XOR 0", "0,0,-1,-1"},
  });
}

TEST_F(JetTest, Literals) {
  expect({
      {"SELECT #01/05/2024#, #01/05/2024 #, #1/5/24#, #2024-01-05#", "45296.0,45296.0,45296.0,45296.0"},
      {"SELECT #01/05/2024  14:07:33# = Seit FROM Kunden WHERE ID = 3", "-1"},
      {"SELECT #01/05/2024 2:07:33 PM# - #1/5/2024 14:07:33#, #12:00# * 2, #12 AM#", "0.0,1.0,0.0"},
      {"SELECT #5 Jan 2024#, #January 5, 2024#, #Jan-5-2024 06:00#, #13/1/2024#", "45296.0,45296.0,45296.25,45304.0"},
      {"SELECT #1/5/1930#, #1/5/30#, #1/5/29#", "10963.0,10963.0,47123.0"},
      {"SELECT 'it''s', \"it's\", \"a\"\"b\", 'a\"b', 'a\\'", "it's,it's,a\"b,a\"b,a\\"},
      {"SELECT \"x' OR '1'='1\", \"'\", '''', \"\"\"\"", "x' OR '1'='1,',',\""},
      {"SELECT '#1/5/2024#', '[a]', 'a & b', '-- no' & \"/*\"", "#1/5/2024#,[a],a & b,-- no/*"},
      {"SELECT 1E3, .5, 1., &HFF, Hex(255)", "1000.0,0.5,1.0,255,FF"},
      {"SELECT ID FROM Kunden WHERE Name = 'O''Neil'", "4"},
      {"SELECT ID FROM Kunden WHERE Seit >= #1/5/2024# AND Seit < #1/6/2024#", "1|3"},
      {"SELECT ID FROM Kunden WHERE Seit Between #6/30/2023# And #06/30/2023 23:59:59#", "2"},
      {"SELECT ID FROM Kunden -- the first\n WHERE /* only */ ID = 1", "1"},
  });
}

TEST_F(JetTest, NamesAndFunctions) {
  expect({
      {"SELECT [a b], [Odd One].[a b], `a b`, [Odd One]![a b] FROM [Odd One]", "1,1,1,1"},
      {"SELECT Date, Yes, Limit, Top FROM [Odd One] WHERE Date = #3/4/2020#", "43894,5,9,8"},
      {"SELECT T.Date, T!Yes, T.[Limit] FROM [Odd One] AS T", "43894,5,9"},
      {"SELECT Date = Date(), Now > Date, Time() < 1, Int(Now()) = Date FROM Kunden WHERE ID = 1", "-1,-1,-1,-1"},
      {"SELECT Left('abc', 2), Right('abc', 2), Mid('abc', 2), Mid$('abc', 1, 1), Left$('xy', 1), Len('abc')", "ab,bc,bc,a,x,3"},
      {"SELECT Nz(Umsatz, 5), Nz(Name), IIf(Umsatz Is Null, 'none', 'some') FROM Kunden WHERE ID = 3", "5,chop,none"},
      {"SELECT Switch(1 = 2, 'a', 2 = 2, 'b'), Choose(2, 'x', 'y'), CStr(5), CLng('7'), Val('3x')", "b,y,5,7,3.0"},
      {"SELECT Year(Seit), Month(Seit), DateAdd('d', 1, Seit), DateDiff('d', Seit, #1/10/2024#) FROM Kunden WHERE ID = 1", "2024,1,45297.0,5"},
      {"SELECT 'am ' & Seit, CStr(Seit), Left(Seit, 2), Len(Seit) FROM Kunden WHERE ID = 1", "am 05/01/2024,05/01/2024,05,10"},
      {"SELECT Aktiv & '', 'c' & Umsatz FROM Kunden WHERE ID = 1", "True,c120.5"},
      {"SELECT IIf(Seit Is Null, 'nie', Seit) & '', Nz(Seit, '-') FROM Kunden WHERE ID IN (1, 4)", "05/01/2024,05/01/2024|nie,-"},
      {"SELECT ID FROM Kunden WHERE Seit LIKE '%2023%'", "2"},
      {"SELECT IsDate(Seit), IsNumeric(Name), IsDate('x') FROM Kunden WHERE ID = 1", "-1,0,0"},
      {"SELECT Menge * 2 AS Doppelt, Doppelt + 1 AS Mehr, Mehr * Doppelt FROM Posten WHERE Nr = 1", "14,15,210"},
      {"SELECT Menge AS Preis, Preis AS X FROM Posten WHERE Nr = 1", "7,2.5"},
      {"SELECT First(Name), Last(ID), StDev(ID), Var(ID), Max(Seit), Min(Umsatz), Count(Umsatz) FROM Kunden", "Alfki,4,1.29099444873581,1.66666666666667,45296.5885763889,10,3"},
      {"SELECT @@Identity, @@IDENTITY + 1", "1,2"},
      {"SELECT aktive.Ort FROM aktive WHERE Name = 'CHOP'", "BERLIN"},
      {"SELECT k.Name, a.Ort FROM Kunden AS k INNER JOIN Aktive AS a ON k.ID = a.ID ORDER BY k.ID", "Alfki,BERLIN|chop,BERLIN"},
      {"Aktive", "1,Alfki,BERLIN|3,chop,BERLIN"},
      {"[Odd One]", "1,43894,5,w,9,8"},
  });
}

TEST_F(JetTest, Queries) {
  expect({
      {"SELECT TOP 2 ID FROM Kunden ORDER BY ID DESC;", "4|3"},
      {"SELECT TOP (1) Name FROM Kunden ORDER BY Umsatz DESC", "Alfki"},
      {"SELECT TOP 50 PERCENT ID FROM Kunden ORDER BY ID", "1|2"},
      {"SELECT TOP 30 PERCENT ID FROM Kunden ORDER BY ID", "1|2"},
      {"SELECT DISTINCT TOP 1 Stadt FROM Kunden ORDER BY Stadt DESC", "Ulm"},
      {"SELECT DISTINCT Artikel FROM Posten ORDER BY Artikel", "-|Kaffee|Tee"},
      {"SELECT DISTINCTROW Kunden.Name FROM Kunden WHERE ID = 1", "Alfki"},
      {"SELECT ALL ID FROM Kunden WHERE ID IN (SELECT TOP 1 KID FROM Posten ORDER BY Menge DESC)", "1"},
      {"SELECT (SELECT TOP 1 Name FROM Kunden ORDER BY ID DESC) AS Letzter", "O'Neil"},
      {"SELECT ID FROM Kunden WHERE ID < 3 UNION ALL SELECT Nr FROM Posten WHERE Nr > 3 ORDER BY ID", "1|2|4"},
      {"SELECT TOP 1 ID FROM Kunden UNION ALL (SELECT TOP 2 Nr FROM Posten ORDER BY Nr DESC)", "1|4|3"},
      {"(SELECT ID FROM Kunden WHERE ID = 1) UNION (SELECT 2)", "1|2"},
      {"SELECT KID, Sum(Menge) AS S FROM Posten GROUP BY KID HAVING Sum(Menge) > 4 ORDER BY KID", "1,9|3,5"},
      {"SELECT Count(*), Count(DISTINCT KID), Avg(Menge) FROM Posten", "4,3,3.75"},
      {"SELECT k.Name, p.Artikel FROM Kunden k LEFT JOIN Posten p ON k.ID = p.KID WHERE k.ID <> 3 ORDER BY k.ID, p.Nr", "Alfki,Tee|Alfki,Kaffee|Berg,-|O'Neil,-"},
      {"SELECT Posten.Nr, Kunden.Name FROM Kunden RIGHT JOIN Posten ON Kunden.ID = Posten.KID ORDER BY Nr", "1,Alfki|2,Alfki|3,chop|4,-"},
      {"SELECT a.ID, c.Nr FROM (Kunden AS a INNER JOIN Kunden AS b ON a.ID = b.ID) INNER JOIN Posten AS c ON (b.ID = c.KID AND c.Menge > 2) ORDER BY a.ID", "1,1|3,3"},
      {"SELECT a.ID, c.Nr FROM Kunden AS a LEFT JOIN (Kunden AS b INNER JOIN Posten AS c ON b.ID = c.KID) ON a.ID = b.ID WHERE a.ID > 2 ORDER BY 1", "3,3|4,-"},
      {"SELECT k.ID, p.Nr FROM Kunden k, Posten p WHERE k.ID = p.KID AND p.Nr = 3", "3,3"},
      {"SELECT x.n FROM [SELECT Count(*) AS n FROM Kunden]. AS x", "4"},
      {"SELECT Q.Expr1000, Q.Expr1001 FROM (SELECT Count(*), Max(ID) FROM Kunden) AS Q", "4,4"},
      {"SELECT Nr FROM Posten WHERE Menge > ALL (SELECT Menge FROM Posten WHERE KID = 3)", "1"},
      {"SELECT Nr FROM Posten WHERE KID = ANY (SELECT ID FROM Kunden WHERE Aktiv) AND Menge <> SOME (SELECT 7)", "2|3"},
      {"SELECT Nr FROM Posten WHERE Menge > ALL (SELECT Menge FROM Posten WHERE KID = 77) AND Nr < 3", "1|2"},
      {"SELECT ID FROM Kunden WHERE EXISTS (SELECT * FROM Posten WHERE Posten.KID = Kunden.ID)", "1|3"},
      {"SELECT ID FROM Kunden WITH OWNERACCESS OPTION;", "1|2|3|4"},
      {"SELECT Name FROM Kunden WHERE Umsatz Is Null OR Seit Is Not Null AND Aktiv ORDER BY ID", "Alfki|chop"},
      {"TRANSFORM Sum(Menge) SELECT KID FROM Posten GROUP BY KID PIVOT Artikel", "1,-,2,7|3,-,-,5|9,1,-,-"},
      {"TRANSFORM Count(*) SELECT KID, Count(Nr) AS Alle FROM Posten WHERE Nr < 4 GROUP BY KID ORDER BY KID DESC PIVOT Artikel IN ('Tee', 'Milch')", "3,1,1,-|1,2,1,-"},
      {"TRANSFORM Max(Menge) & '!' SELECT 'alle' AS Was FROM Posten GROUP BY 'alle' PIVOT Month(Datum)", "alle,1!,7!,5!"},
  });
}

TEST_F(JetTest, TheEnginesOwnLanguageStays) {
  expect({
      {"SELECT 'a' || 'b' || 1, COALESCE(NULL, 3), CASE WHEN 1 = 1 THEN 'y' ELSE 'n' END, CAST('5' AS INTEGER)", "ab1,3,y,5"},
      {"SELECT CASE Stadt WHEN 'BERLIN' THEN 1 ELSE 2 END FROM Kunden", "1|2|1|2"},
      {"WITH t(n) AS (SELECT 1 UNION ALL SELECT 2), u AS (SELECT n * 2 AS m FROM t) SELECT m FROM u WHERE m > 2", "4"},
      {"WITH RECURSIVE c(x) AS (SELECT 1 UNION ALL SELECT x + 1 FROM c WHERE x < 4) SELECT Count(*) FROM c", "4"},
      {"SELECT ID FROM Kunden ORDER BY ID LIMIT 1 OFFSET 2", "3"},
      {"SELECT ID, row_number() OVER (PARTITION BY Stadt ORDER BY ID) FROM Kunden ORDER BY ID", "1,1|2,1|3,2|4,1"},
      {"SELECT Sum(Menge) FILTER (WHERE KID = 1) FROM Posten", "9"},
      {"SELECT name FROM pragma_table_info('Posten') WHERE pk > 0", "Nr"},
      {"PRAGMA user_version", "0"}, {"VALUES (1, 'a'), (2, \"b\")", "1,a|2,b"},
      {"SELECT 6 | 1, 1 << 3, ~1, 7 % 4, 0x10, x'41', 5 IS NOT NULL, 1 <> 2, 1 != 1", "7,8,-2,3,16,A,-1,-1,0"},
      {"SELECT \"Kunden\".\"ID\" AS \"Die Nummer\" FROM \"Kunden\" WHERE \"Kunden\".\"ID\" = 2", "2"},
      {"SELECT ID FROM Kunden NATURAL JOIN (SELECT 1 AS ID)", "1"},
      {"SELECT ID FROM Kunden JOIN Posten USING (ID)", "!cannot join using column ID - column not present in both tables in SELECT ID FROM Kunden JOIN Posten USING (ID)"},
      {"SELECT (1, 2) = (1, 2), 2 IN (1, 2), NULL ISNULL, 1 NOTNULL, 1 NOT NULL", "-1,-1,-1,-1,-1"},
      {"SELECT ID FROM Kunden WHERE Name COLLATE BINARY = 'berg'", ""},
      {"SELECT 1; SELECT 2;", "2"}, {"EXPLAIN QUERY PLAN SELECT 1", "1,0,0,SCAN CONSTANT ROW"},
  });
}

TEST_F(JetTest, RowsChange) {
  expect_after({
      {"INSERT INTO Kunden (Kunden.Name, Stadt) VALUES (\"x\", 'y' & 1)", "SELECT ID, Name, Stadt, Aktiv FROM Kunden WHERE ID = 5", "5,x,y1,0"},
      {"INSERT INTO Kunden (Name) SELECT TOP 1 Artikel FROM Posten ORDER BY Nr", "SELECT Name FROM Kunden WHERE ID = @@Identity", "Tee"},
      {"INSERT INTO Posten (Nr, Menge) VALUES (1, 3) ON CONFLICT(Nr) DO UPDATE SET Menge = 50", "SELECT Menge FROM Posten WHERE Nr = 1", "50"},
      {"INSERT OR REPLACE INTO Posten (Nr, Menge) VALUES (1, 3), (5, 5)", "SELECT Count(*), Sum(Menge) FROM Posten", "5,16"},
      {"UPDATE Kunden SET Kunden.Name = UCase([Name]), Umsatz = Nz(Umsatz, 0) / 2", "SELECT Name, Umsatz FROM Kunden WHERE ID > 1", "BERG,40|CHOP,0|O'NEIL,5"},
      {"UPDATE Kunden AS k SET k.Aktiv = True, k.Seit = #1/2/2020# WHERE k.ID = 2", "SELECT Aktiv, Seit FROM Kunden WHERE ID = 2", "-1,43832"},
      {"UPDATE Posten INNER JOIN Kunden ON Posten.KID = Kunden.ID SET Posten.Artikel = Kunden.Name & Posten.Nr WHERE Kunden.Aktiv", "SELECT Artikel FROM Posten", "Alfki1|Alfki2|chop3|-"},
      {"UPDATE Posten LEFT JOIN Kunden ON Posten.KID = Kunden.ID SET Menge = 0, Artikel = 'weg' WHERE Kunden.ID Is Null", "SELECT Nr, Menge, Artikel FROM Posten WHERE Nr > 2", "3,5,tee|4,0,weg"},
      {"UPDATE Posten AS p, Kunden AS k SET p.Menge = p.Menge + 100 WHERE p.KID = k.ID AND k.Name = 'CHOP'", "SELECT Nr FROM Posten WHERE Menge > 100", "3"},
      {"UPDATE (Posten INNER JOIN Kunden ON Posten.KID = Kunden.ID) LEFT JOIN [Odd One] AS o ON o.[a b] = Kunden.ID SET Menge = Nz(o.Limit, -1)", "SELECT Menge FROM Posten", "9|9|-1|1"},
      {"UPDATE Posten SET Menge = 1 FROM Kunden WHERE Kunden.ID = Posten.KID", "SELECT Menge FROM Posten", "1|1|1|1"},
      {"UPDATE Posten SET Menge = (SELECT Count(*) FROM Kunden) WHERE Artikel = 'TEE'", "SELECT Menge FROM Posten", "4|2|4|1"},
      {"DELETE * FROM Posten WHERE Artikel = 'tee'", "SELECT Nr FROM Posten", "2|4"},
      {"DELETE FROM Posten", "SELECT Count(*) FROM Posten", "0"},
      {"DELETE Posten.* FROM Posten INNER JOIN Kunden ON Posten.KID = Kunden.ID WHERE Kunden.Stadt = 'Berlin'", "SELECT Nr FROM Posten", "4"},
      {"DELETE DISTINCTROW p.* FROM Posten AS p LEFT JOIN Kunden AS k ON p.KID = k.ID WHERE k.ID IS NULL", "SELECT Nr FROM Posten", "1|2|3"},
      {"SELECT KID, Sum(Menge) AS Summe, Max(Datum) AS Am, First(Artikel) AS Was, Count(*) INTO Neu FROM Posten GROUP BY KID", "SELECT * FROM Neu WHERE Was = 'TEE'", "1,9.0,45328,Tee,2|3,5.0,45329,tee,1"},
      {"SELECT * INTO [Die Kopie] FROM Kunden WHERE ID < 3", "SELECT ID, Name, Seit FROM [Die Kopie]", "1,Alfki,45296|2,Berg,45107.5885763889"},
      {"EXEC teurer -1 + 3, 'T' & 'EE'", "SELECT Preis FROM Posten", "5.0|10.0|2.5|4.0"},
      {"EXECUTE teurer 2, 'TEE'", "SELECT Preis FROM Posten", "5.0|10.0|2.5|4.0"},
      {"CREATE PROCEDURE raus ([Nummer] Long) AS DELETE FROM Posten WHERE Nr = [Nummer];;EXEC raus 2", "SELECT Nr FROM Posten", "1|3|4"},
      {"CREATE VIEW Grosse AS SELECT Nr, Artikel & '!' AS Ruf FROM Posten WHERE Menge > 4", "SELECT Ruf FROM Grosse", "Tee!|tee!"},
  });
}

TEST_F(JetTest, TablesAreDefined) {
  constexpr const char* kTypes = "SELECT group_concat(type) FROM pragma_table_info('N')";
  expect_after({
      {"CREATE TABLE N (a TEXT(5), b MEMO, c YESNO, d CURRENCY, e LONG, f BYTE, g SHORT, h SINGLE, i DOUBLE, j DATETIME, k GUID, l OLEOBJECT, m DECIMAL(10,2), n BINARY(8), o STRING, p TEXT, q NUMBER, r CHAR VARYING(3))",
       kTypes, "VARCHAR(5),LONGTEXT,BOOLEAN,CURRENCY,INTEGER,TINYINT,SMALLINT,SINGLE,DOUBLE,DATETIME,GUIDTEXT,LONGBLOB,DECIMAL(10,2),BLOB(8),VARCHAR(255),LONGTEXT,DOUBLE,CHAR VARYING(3)"},
      {"CREATE TABLE N (m MEMO, s STRING);;INSERT INTO N VALUES ('007', '1e5')", "SELECT m, s FROM N", "007,1e5"},
      {"CREATE TABLE N (ID COUNTER, t TEXT(9));;INSERT INTO N (t) VALUES ('a');;INSERT INTO N (t) VALUES ('b')", "SELECT ID FROM N WHERE t = 'B'", "2"},
      {"CREATE TABLE N (ID AUTOINCREMENT(100, 1) PRIMARY KEY, t TEXT(9));;INSERT INTO N (t) VALUES ('a')", "SELECT ID FROM N", "100"},
      {"CREATE TABLE N (ID INTEGER IDENTITY(1,1), k TEXT(5) CONSTRAINT PK_N PRIMARY KEY);;INSERT INTO N (k) VALUES ('a')", "INSERT INTO N (k) VALUES ('A')", "!UNIQUE constraint failed: N.k"},
      {"CREATE TABLE N (ID COUNTER, a LONG, b LONG, CONSTRAINT pk PRIMARY KEY (a, b))", "SELECT name FROM sqlite_schema WHERE type = 'index' AND tbl_name = 'N'", "N.pk"},
      {"CREATE TABLE N (ID COUNTER, CONSTRAINT pk PRIMARY KEY (ID));;INSERT INTO N DEFAULT VALUES", "SELECT ID FROM N", "1"},
      {"CREATE TABLE N (a TEXT(5) PRIMARY KEY, b LONG NOT NULL)", "INSERT INTO N (b) VALUES (1)", "!NOT NULL constraint failed: N.a"},
      {"CREATE TABLE N (a LONG DEFAULT 5, b TEXT(9) WITH COMPRESSION DEFAULT \"x\", c DATETIME DEFAULT Date(), d YESNO, e LONG NULL);;INSERT INTO N (e) VALUES (1)", "SELECT a, b, c = Date(), d FROM N", "5,x,-1,0"},
      {"CREATE TABLE N (k LONG CONSTRAINT fk REFERENCES Kunden (ID) ON DELETE CASCADE);;INSERT INTO N VALUES (1);;DELETE FROM Kunden WHERE ID = 1", "SELECT Count(*) FROM N", "0"},
      {"CREATE TABLE N (k LONG, CONSTRAINT fk FOREIGN KEY NO INDEX (k) REFERENCES Kunden)", "INSERT INTO N VALUES (99)", "!FOREIGN KEY constraint failed"},
      {"CREATE TABLE N (a LONG, CONSTRAINT positiv CHECK (a > 0 And a <> 5))", "INSERT INTO N VALUES (5)", "!CHECK constraint failed: positiv"},
      {"CREATE TABLE N (a LONG CONSTRAINT einmal UNIQUE, b LONG);;DROP INDEX einmal ON N;;INSERT INTO N VALUES (1, 1);;INSERT INTO N VALUES (1, 2)", "SELECT Count(*) FROM N", "2"},
      {"CREATE INDEX i ON Kunden (Name DESC);;CREATE INDEX i ON Posten (Artikel)", "SELECT name FROM sqlite_schema WHERE name LIKE '%.i' ORDER BY 1", "Kunden.i|Posten.i"},
      {"CREATE UNIQUE INDEX u ON Posten (Datum) WITH IGNORE NULL;;INSERT INTO Posten (Nr) VALUES (9)", "INSERT INTO Posten (Nr, Datum) VALUES (10, #1/5/2024#)", "!UNIQUE constraint failed: Posten.Datum"},
      {"CREATE INDEX d ON Kunden (Name) WITH DISALLOW NULL", "INSERT INTO Kunden (Stadt) VALUES ('x')", "!NOT NULL constraint failed: Kunden.Name"},
      {"CREATE TABLE N (a LONG, b LONG);;CREATE INDEX pn ON N (b) WITH PRIMARY", "SELECT name FROM pragma_table_info('N') WHERE pk = 1", "b"},
      {"CREATE INDEX i ON Kunden (Name);;DROP INDEX i ON Kunden", "SELECT Count(*) FROM sqlite_schema WHERE name = 'Kunden.i'", "0"},
      {"ALTER TABLE Posten ADD COLUMN Neu TEXT(4);;UPDATE Posten SET Neu = 'x' WHERE Nr = 1", "SELECT Neu FROM Posten WHERE Neu = 'X'", "x"},
      {"ALTER TABLE Posten ADD Lfd COUNTER;;INSERT INTO Posten (Nr) VALUES (7)", "SELECT Nr, Lfd FROM Posten WHERE Nr > 3", "4,4|7,5"},
      {"CREATE TABLE N (a LONG);;INSERT INTO N VALUES (7);;INSERT INTO N VALUES (8);;ALTER TABLE N ADD COLUMN Lfd COUNTER", "SELECT a, Lfd FROM N", "7,1|8,2"},
      {"CREATE INDEX i ON Posten (Artikel, Menge);;ALTER TABLE Posten DROP COLUMN Artikel", "SELECT * FROM Posten WHERE Nr = 1", "1,1,7,2.5,45296"},
      {"CREATE INDEX i ON Posten (Menge);;ALTER TABLE Posten ALTER COLUMN Menge TEXT(10)", "SELECT Menge & '', (SELECT type FROM pragma_table_info('Posten') WHERE name = 'Menge'), (SELECT Count(*) FROM sqlite_schema WHERE name = 'Posten.i') FROM Posten WHERE Nr = 1", "7,VARCHAR(10),1"},
      {"CREATE TABLE N (k LONG REFERENCES Kunden (ID) ON DELETE CASCADE);;INSERT INTO N VALUES (2);;ALTER TABLE Kunden ALTER COLUMN Name TEXT(99) NOT NULL", "SELECT Count(*) FROM N INNER JOIN Kunden ON N.k = Kunden.ID", "1"},
      {"ALTER TABLE Kunden ALTER COLUMN Name TEXT(99);;INSERT INTO Kunden (Name) VALUES ('z')", "SELECT ID FROM Kunden WHERE Name = 'Z'", "5"},
      {"ALTER TABLE Posten ADD CONSTRAINT fk FOREIGN KEY (KID) REFERENCES Kunden (ID)", "INSERT INTO Posten (Nr, KID) VALUES (11, 77)", "!FOREIGN KEY constraint failed"},
      {"ALTER TABLE Posten ADD CONSTRAINT fk FOREIGN KEY (KID) REFERENCES Kunden (ID);;ALTER TABLE Posten DROP CONSTRAINT fk;;INSERT INTO Posten (Nr, KID) VALUES (11, 77)", "SELECT KID FROM Posten WHERE Nr = 11", "77"},
      {"ALTER TABLE Posten DROP CONSTRAINT PrimaryKey;;INSERT INTO Posten (Nr) VALUES (1)", "SELECT Count(*) FROM Posten WHERE Nr = 1", "2"},
      {"ALTER TABLE Posten ADD CONSTRAINT u UNIQUE (Menge)", "INSERT INTO Posten (Nr, Menge) VALUES (12, 7)", "!UNIQUE constraint failed: Posten.Menge"},
      {"CREATE TABLE N AS SELECT Name & '!' AS x FROM Kunden WHERE Aktiv = True", "SELECT x FROM N", "Alfki!|chop!"},
      {"CREATE TABLE N (a LONG DEFAULT -3 NOT NULL, b TEXT DEFAULT 'x' COLLATE BINARY, c LONG);;ALTER TABLE N ALTER COLUMN c TEXT(3);;INSERT INTO N (c) VALUES (1)", "SELECT a, b, b = 'X' FROM N", "-3,x,0"},
      {"CREATE TABLE N (a LONG DEFAULT -3 NOT NULL)", "INSERT INTO N (a) VALUES (NULL)", "!NOT NULL constraint failed: N.a"},
      {"CREATE TABLE N (a LONG, b YESNO DEFAULT True, c NUMERIC, d TEXT COLLATE BINARY);;ALTER TABLE N ALTER COLUMN a TEXT(3)", kTypes, "VARCHAR(3),BOOLEAN,NUMERIC,LONGTEXT"},
      {"DROP TABLE Posten", "SELECT Count(*) FROM sqlite_schema WHERE name = 'Posten'", "0"},
      {"CREATE TRIGGER t AFTER INSERT ON Posten BEGIN UPDATE Posten SET Menge = 1 WHERE Nr = new.Nr; DELETE FROM Kunden; END;;INSERT INTO Posten (Nr) VALUES (20)", "SELECT Menge, (SELECT Count(*) FROM Kunden) FROM Posten WHERE Nr = 20", "1,0"},
  });
}

TEST_F(JetTest, ParametersAreNumberedAsTheyAreGiven) {
  const struct { const char* statement; std::vector<std::string> values; const char* names; const char* expected; } rows[] = {
      {"SELECT Nr FROM Posten WHERE Menge > ? AND KID = ?", {"1", "1"}, ",", "1|2"},
      {"SELECT Nr FROM Posten WHERE Menge > [Wie viel?] AND KID < [Wie viel?]", {"4"}, "Wie viel?", "1|3"},
      {"PARAMETERS [Was] Text(20), Ab DateTime; SELECT Nr FROM Posten WHERE Datum > Ab AND Artikel = [was];", {"tee", "45300"}, "Was,Ab", "3"},
      {"SELECT Nr FROM Posten WHERE Artikel = [Forms]![Maske]![Feld]", {"KAFFEE"}, "[Forms]![Maske]![Feld]", "2"},
      {"SELECT Nr FROM Posten WHERE Nr = @nr OR Menge = :menge", {"4", "2"}, "@nr,:menge", "2|4"},
      {"UPDATE Posten INNER JOIN Kunden ON Posten.KID = Kunden.ID + ? SET Menge = ? WHERE Nr = ?", {"0", "70", "1"}, ",,", "1"},
      {"SELECT TOP ? Nr FROM Posten ORDER BY Nr", {"2"}, "", "1|2"},
      {"ab", {"5"}, "Ab Menge", "1|3"}, {"EXEC ab 6", {}, "", "1"}, {"SELECT Count(*) FROM ab", {"5"}, "Ab Menge", "2"},
      {"SELECT [Nr] FROM Posten AS p WHERE p.[Nr] = 1 AND [p].[KID] = 1", {}, "", "1"},
  };
  for (const auto& [statement, values, names, expected] : rows) {
    engine.values = values;
    EXPECT_EQ(engine.run(statement), expected) << statement;
    std::vector<std::string> found;
    for (const Column& parameter : rewrite(statement, engine).parameters) found.push_back(parameter.name);
    EXPECT_EQ(text::join(found, ","), names) << statement;
  }
}

TEST_F(JetTest, WhatCannotBeDoneIsNamed) {
  expect({
      {"SELECT * FROM Kunden IN 'x.mdb'", "!This is not supported by this engine: IN with another database."},
      {"SELECT ID INTO n IN 'x.mdb' FROM Kunden", "!This is not supported by this engine: IN with another database."},
      {"SELECT * FROM (TRANSFORM Sum(Menge) SELECT KID FROM Posten GROUP BY KID PIVOT Nr)", "!This is not supported by this engine: TRANSFORM inside another statement."},
      {"UPDATE Kunden INNER JOIN Posten ON Kunden.ID = Posten.KID SET Kunden.Name = 'a', Posten.Menge = 1", "!This is not supported by this engine: UPDATE of two tables at once."},
      {"DELETE * FROM Kunden INNER JOIN Posten ON Kunden.ID = Posten.KID", "!Specify the table containing the records you want to delete."},
      {"CREATE TABLE N (a COUNTER(1, 5))", "!This is not supported by this engine: a counter whose step is not 1."},
      {"SELECT * FROM Kunden WHERE Seit = #13/45/2024#", "!Syntax error in date in query expression '#13/45/2024#'."},
      {"SELECT #soon#", "!Syntax error in date in query expression '#soon#'."},
      {"SELECT 'abc", "!Syntax error: a text is not closed in ''abc'."},
      {"SELECT [abc", "!Syntax error: a name is not closed in '[abc'."},
      {"SELECT #1/5/2024", "!Syntax error: a date is not closed in '#1/5/2024'."},
      {"SELECT \"a''", "!Syntax error: a text is not closed in '\"a'''."},
      {"EXEC nichts", "!Could not find the procedure 'nichts'."}, {"kreis", "!Circular reference caused by 'kreis'."},
      {"ALTER TABLE Nichts ALTER COLUMN a LONG", "!Could not find the table 'Nichts'."},
      {"ALTER TABLE Posten DROP CONSTRAINT nie", "!CHECK constraint 'nie' does not exist."},
      {"SELECT FROM WHERE", "!near \"FROM\": syntax error in SELECT FROM WHERE"},
  });
  EXPECT_EQ(engine.run("SELECT " + std::string(500, '(') + "1" + std::string(500, ')')), "!The expression is too complex.");
}

TEST_F(JetTest, ResultsHaveTypes) {
  engine.run("CREATE VIEW Ansicht AS SELECT Max(Seit) AS A, Left(Name, 1) & 'x' AS B, ID / 2 AS C FROM Kunden");
  expect_types({
      {"SELECT ID, Name, Seit, Umsatz FROM Kunden", "INTEGER,VARCHAR(30),DATETIME,CURRENCY"},
      {"SELECT *, 1 FROM Posten", "INTEGER,INTEGER,INTEGER,DOUBLE,DATETIME,VARCHAR(20),INTEGER"},
      {"SELECT Max(Seit), Min(Name), Count(*), Sum(Umsatz), Sum(ID), Avg(ID), First(Aktiv) FROM Kunden", "DATETIME,VARCHAR(30),INTEGER,CURRENCY,DOUBLE,DOUBLE,BOOLEAN"},
      {"SELECT Seit + 1, Seit - Seit, Umsatz * 2, ID + 1, ID / 2, ID \\ 2, ID * 1.5, -ID FROM Kunden", "DATETIME,DOUBLE,CURRENCY,INTEGER,DOUBLE,INTEGER,DOUBLE,INTEGER"},
      {"SELECT IIf(Aktiv, Seit, Null), Nz(Umsatz, 0), IIf(ID > 1, Name, 'x'), Switch(True, Seit), CASE WHEN 1 THEN Seit END FROM Kunden", "DATETIME,CURRENCY,VARCHAR(255),DATETIME,DATETIME"},
      {"SELECT Now(), Date, #1/5/2024#, CDate('1'), DateAdd('d', 1, Seit), Year(Seit) FROM Kunden", "DATETIME,DATETIME,DATETIME,DATETIME,DATETIME,SMALLINT"},
      {"SELECT Name & 'x', UCase(Name), Left(Notiz, 5), Notiz & '', 'a' FROM Kunden", "VARCHAR(255),VARCHAR(255),LONGTEXT,LONGTEXT,VARCHAR(255)"},
      {"SELECT ID = 1, Not Aktiv, True, Name Like 'a%', ID In (1), IsNull(Name), Exists (SELECT 1) FROM Kunden", "BOOLEAN,BOOLEAN,BOOLEAN,BOOLEAN,BOOLEAN,BOOLEAN,BOOLEAN"},
      {"SELECT q.Am, q.* FROM (SELECT Max(Seit) AS Am, Count(*) FROM Kunden) AS q", "DATETIME,DATETIME,INTEGER"},
      {"SELECT Max(Seit) FROM Kunden UNION SELECT 1", "DATETIME"}, {"SELECT * FROM aktive", "INTEGER,VARCHAR(30),VARCHAR(255)"},
      {"SELECT k.*, Artikel FROM [Odd One] AS k, Posten", "INTEGER,DATETIME,INTEGER,VARCHAR(9),INTEGER,INTEGER,VARCHAR(20)"},
      {"EXEC ab 1", "INTEGER"}, {" aktive", "INTEGER,VARCHAR(30),VARCHAR(255)"}, {"SELECT * FROM Ansicht", "DATETIME,VARCHAR(255),DOUBLE"},
      {"TRANSFORM Max(Datum) SELECT KID FROM Posten GROUP BY KID PIVOT Artikel IN ('a', 'b')", "INTEGER,DATETIME,DATETIME"},
      {"SELECT Nothing(1), [x] FROM Kunden", ","}, {"SELECT * FROM Unknown", ""}, {"DELETE FROM Kunden", ""},
      {"WITH t AS (SELECT Max(Seit) AS m FROM Kunden) SELECT m, m + 1 FROM t", "DATETIME,DATETIME"},
      {"SELECT Menge * 2 AS D, D + 1, (SELECT Max(Seit) FROM Kunden) FROM Posten", "INTEGER,INTEGER,DATETIME"},
  });
}

TEST(JetNamesTest, TablesOfAStatement) {
  const std::pair<const char*, const char*> rows[] = {
      {"SELECT a, b FROM T1, [T 2] AS x WHERE a IN (SELECT c FROM T3, T1)", "T1,T 2,T3"},
      {"SELECT f(a, b) FROM (A INNER JOIN B ON A.x = B.y) LEFT JOIN (SELECT q, r FROM C) AS D ON d, E", "A,B,C,E"},
      {"UPDATE A INNER JOIN B ON A.x = B.x SET A.y = 1, B.z = 2", "A,B"}, {"INSERT INTO A (b, c) SELECT d, e FROM F", "A,F"},
      {"DELETE A.* FROM A, B WHERE 1", "A,B"}, {"CREATE TABLE IF NOT EXISTS main.N (a LONG, b LONG)", "N"},
      {"CREATE INDEX i ON T (a, b)", "T"}, {"DROP INDEX i ON T", "T"}, {"ALTER TABLE T ADD c LONG", "T"},
      {"SELECT a INTO N FROM T GROUP BY a, b ORDER BY c, d", "N,T"}, {"EXEC q 1, 2", "q"}, {"[A b]", "A b"},
      {"SELECT 1 UNION SELECT x, y FROM U; DELETE FROM V", "U,V"}, {"SELECT 'FROM x', [from y], a FROM z", "z"},
  };
  for (const auto& [statement, expected] : rows) EXPECT_EQ(text::join(names_in(statement), ","), expected) << statement;
}

// clang-format on

}  // namespace
}  // namespace quarno::desktop::jet::test
