// Every function as a statement calls it: expression and literal result, "!" before an error's text.
#include "desktop/functions/evaluation.h"

namespace quarno::desktop::test {
namespace {

#define CALL "!Invalid procedure call or argument"
#define OVERFLOWS "!Overflow"
#define MISMATCH "!Type mismatch"
#define NO_NULL "!Invalid use of Null"

// clang-format off
TEST(Functions, Texts) {
  Engine engine;
  check(engine, {
      {"jet_left('Müller',2)", "'Mü'"}, {"jet_left('ab',9)", "'ab'"}, {"jet_left('ab',0)", "''"},
      {"jet_left('ab',-1)", CALL}, {"jet_left(null,2)", "null"}, {"jet_left('ab',null)", NO_NULL},
      {"jet_left(12.0,2)", "'12'"}, {"jet_left(2.5,9)", "'2.5'"}, {"jet_right('Grüße',3)", "'üße'"},
      {"jet_right('ab',9)", "'ab'"}, {"jet_right('ab',-1)", CALL}, {"jet_right(null,1)", "null"},
      {"Mid('Grüße',3,2)", "'üß'"}, {"Mid('abc',2)", "'bc'"}, {"Mid('abc',4)", "''"}, {"Mid('abc',0)", CALL},
      {"Mid('abc',1,-1)", CALL}, {"Mid(null,1)", "null"}, {"Mid('abcd',1.5,2.5)", "'bc'"}, {"Len('Grüße')", "5"},
      {"Len(null)", "null"}, {"Len(12.5)", "4"}, {"Len('')", "0"}, {"UCase('straße éñżя ω ÿ')", "'STRAßE ÉÑŻЯ Ω Ÿ'"},
      {"LCase('ÀÉŽŸ ΣΩ ЁЯ')", "'àéžÿ σω ёя'"}, {"UCase(null)", "null"}, {"'<' || Trim('  a b  ') || '>'", "'<a b>'"},
      {"LTrim('  a ')", "'a '"}, {"RTrim(' a  ')", "' a'"}, {"Trim('   ')", "''"}, {"LTrim('   ')", "''"},
      {"RTrim('  ')", "''"}, {"Trim('\t a')", "'\t a'"}, {"Trim(12.0)", "'12'"}, {"Trim(null)", "null"},
      {"Space(3)", "'   '"}, {"Space(0)", "''"}, {"Space(-1)", CALL}, {"Space(null)", NO_NULL},
      {"Space(2000000000)", "!Out of memory"}, {"String(3,'éa')", "'ééé'"}, {"String(2,65)", "'AA'"},
      {"String(2,321)", "'AA'"}, {"String(0,'a')", "''"}, {"String(2,'')", CALL}, {"String(-1,'a')", CALL},
      {"String(null,'a')", "null"}, {"StrComp('a','B')", "-1"}, {"StrComp('b','A')", "1"}, {"StrComp('É','é')", "0"},
      {"StrComp('a','B',0)", "1"}, {"StrComp('a','A',1)", "0"}, {"StrComp(null,'a')", "null"},
      {"StrComp('a','a',3)", CALL}, {"StrReverse('añb')", "'bña'"}, {"StrReverse(null)", NO_NULL},
      {"StrConv('élan VITAL',3)", "'Élan Vital'"}, {"StrConv('aB',1)", "'AB'"}, {"StrConv('aB',2)", "'ab'"},
      {"StrConv('a',9)", CALL}, {"StrConv(null,1)", "null"}, {"InStr('xAbAb','ab')", "2"},
      {"InStr(3,'xAbAb','ab')", "4"}, {"InStr(1,'xAbab','ab',0)", "4"}, {"InStr('Ürü','rü')", "2"},
      {"InStr('ab','')", "1"}, {"InStr(3,'ab','')", "0"}, {"InStr('','')", "0"}, {"InStr(5,'ab','b')", "0"},
      {"InStr(0,'ab','b')", CALL}, {"InStr(null,'a')", "null"}, {"InStr('a',null)", "null"},
      {"InStr(1,'a','b',3)", CALL}, {"InStr(null,'a','b')", NO_NULL}, {"InStr(1.5,'aba','A')", "3"},
      {"InStrRev('abAb','ab')", "3"}, {"InStrRev('abab','ab',3)", "1"}, {"InStrRev('abab','ab',4)", "3"},
      {"InStrRev('ab','x')", "0"}, {"InStrRev('ab','')", "2"}, {"InStrRev('','a')", "0"},
      {"InStrRev('ab','b',5)", "0"}, {"InStrRev('ab','b',0)", CALL}, {"InStrRev('aB','b',-1,0)", "0"},
      {"Replace('aXbx','x','--')", "'a--b--'"}, {"Replace('aXbx','x','-',1,-1,0)", "'aXb-'"},
      {"Replace('aaaa','a','b',2,2)", "'bba'"}, {"Replace('abc','','x')", "'abc'"}, {"Replace('abc','b','')", "'ac'"},
      {"Replace('abc','b','x',9)", "''"}, {"Replace('abc','b','x',0)", CALL}, {"Replace('abc','b','x',1,0)", "'abc'"},
      {"Replace(null,'a','b')", NO_NULL}, {"Replace('ÀB','à','é')", "'éB'"}, {"Replace('aaa','aa','b')", "'ba'"},
      {"Replace(String(100000,'a'),'a',String(1000,'b'))", "!Out of memory"}, {"Chr(65)", "'A'"}, {"Chr(128)", "'€'"},
      {"Chr(233)", "'é'"}, {"Chr(256)", CALL}, {"Chr(-1)", CALL}, {"ChrW(8364)", "'€'"},
      {"ChrW(-4)", "'\xEF\xBF\xBC'"}, {"ChrW(65536)", CALL}, {"Asc('€')", "128"}, {"Asc('Az')", "65"},
      {"Asc('')", CALL}, {"AscW('€')", "8364"}, {"AscW(ChrW(40000))", "-25536"}, {"AscW('')", CALL},
      {"Asc(null)", NO_NULL}, {"Len(Chr(0) || 'a')", "2"},
  });
}

TEST(Functions, Numbers) {
  Engine engine;
  check(engine, {
      {"Abs(-3)", "3"}, {"Abs(-2.5)", "2.5"}, {"Abs('-7')", "7.0"}, {"Abs(null)", "null"},
      {"Abs(-9223372036854775807-1)", OVERFLOWS}, {"Abs('x')", MISMATCH},
      {"Abs(CAST('-12345678901234567.5' AS BLOB))", "x12345678901234567.5"}, {"Sgn(-0.1)", "-1"}, {"Sgn(0)", "0"},
      {"Sgn(9)", "1"}, {"Sgn(null)", "null"}, {"Int(-2.5)", "-3.0"}, {"Fix(-2.5)", "-2.0"}, {"Int(2.9)", "2.0"},
      {"Int(7)", "7"}, {"Int(null)", "null"}, {"Fix('3.7')", "3.0"},
      {"Int(CAST('-12345678901234567.5' AS BLOB))", "x-12345678901234568"},
      {"Fix(CAST('-12345678901234567.5' AS BLOB))", "x-12345678901234567"},
      {"Int(CAST('-12345678901234567.0' AS BLOB))", "x-12345678901234567"}, {"Round(0.5)", "0.0"},
      {"Round(1.5)", "2.0"}, {"Round(2.5)", "2.0"}, {"Round(-36.5)", "-36.0"}, {"Round(2.345,2)", "2.34"},
      {"Round(2.355,2)", "2.36"}, {"Round(0.285,2)", "0.28"}, {"Round(1.005,2)", "1.0"},
      {"Round(1234567.891,1)", "1234567.9"}, {"Round(1e300,2)", "1.0e+300"}, {"Round(5)", "5"},
      {"Round(null)", "null"}, {"Round(1,-1)", CALL}, {"Round(1,23)", CALL},
      {"Round(CAST('12345678901234567.25' AS BLOB),1)", "x12345678901234567.2"}, {"Sqr(9)", "3.0"}, {"Sqr(-1)", CALL},
      {"Sqr(null)", "null"}, {"Log(Exp(2))", "2.0"}, {"Log(0)", CALL}, {"Exp(1000)", OVERFLOWS}, {"Sin(0)", "0.0"},
      {"Cos(0)", "1.0"}, {"Round(Tan(1),6)", "1.557408"}, {"Round(4*Atn(1),6)", "3.141593"}, {"Hex(255)", "'FF'"},
      {"Hex(-1)", "'FFFFFFFF'"}, {"Hex(2.5)", "'2'"}, {"Hex(null)", "null"}, {"Oct(8)", "'10'"},
      {"Oct(-1)", "'37777777777'"}, {"Hex(0)", "'0'"}, {"Hex(-2147483649)", "'FFFFFFFF7FFFFFFF'"},
      {"Val('1 615 rue')", "1615.0"}, {"Val('1,5')", "1.0"}, {"Val('.5x')", "0.5"}, {"Val('&HFFFF')", "-1.0"},
      {"Val('')", "0.0"}, {"Val('1.2.3')", "1.2"}, {"Val('1e999')", OVERFLOWS}, {"Val(null)", NO_NULL},
      {"Str(.5)", "' .5'"}, {"Str(-.5)", "'-.5'"}, {"Str(12)", "' 12'"}, {"Str('1.50')", "' 1.5'"},
      {"Str(null)", "null"}, {"Partition(25,0,99,10)", "' 20: 29'"}, {"Partition(-1,0,99,10)", "'   : -1'"},
      {"Partition(100,0,99,10)", "'100:   '"}, {"Partition(98,0,99,7)", "' 98: 99'"}, {"Partition(1,5,2,1)", CALL},
      {"Partition(1,0,9,0)", CALL}, {"Partition(null,0,9,1)", "null"}, {"Round(Rnd(),7)", "0.7055475"},
      {"Round(Rnd(1),6)", "0.533424"}, {"Round(Rnd(0),6)", "0.533424"}, {"Round(Rnd(-1),6)", "0.224007"},
      {"Round(Rnd(-1),6)", "0.224007"},
  });
}

TEST(Functions, Conversions) {
  Engine engine;
  check(engine, {
      {"CInt(2.5)", "2"}, {"CInt('3.5')", "4"}, {"CInt(40000)", OVERFLOWS}, {"CInt('')", MISMATCH},
      {"CInt('12abc')", MISMATCH}, {"CInt(null)", NO_NULL}, {"CInt('&H1F')", "31"}, {"CLng(-36.5)", "-36"},
      {"CLng('2147483648')", OVERFLOWS}, {"CLng(3000000000)", OVERFLOWS}, {"CByte(255)", "255"},
      {"CByte(-1)", OVERFLOWS}, {"CByte(256)", OVERFLOWS}, {"CDbl('1,234.5')", "1234.5"}, {"CDbl('x')", MISMATCH},
      {"CDbl(null)", NO_NULL}, {"CSng(0.1)", "0.100000001490116"}, {"CSng(1e300)", OVERFLOWS}, {"CStr(0.5)", "'0.5'"},
      {"CStr(1e15)", "'1E+15'"}, {"CStr(12.0)", "'12'"}, {"CStr(null)", NO_NULL}, {"CStr('a')", "'a'"},
      {"CStr(x'0102')", MISMATCH}, {"CCur(1.23456)", "1.2346"}, {"CCur(1.00005)", "1.0"},
      {"CCur('922337203685477.5807')", "x922337203685477.5807"}, {"CCur(1e15)", OVERFLOWS}, {"CDec('1.10')", "1.1"},
      {"CDec('12345678901234567.89')", "x12345678901234567.89"}, {"CBool(2)", "-1"}, {"CBool(0)", "0"},
      {"CBool('True')", "-1"}, {"CBool('')", MISMATCH}, {"CBool(null)", NO_NULL}, {"CDate('5/1/2015')", "42009.0"},
      {"CDate('13/2/2001')", "36935.0"}, {"CDate('2/13/2001')", "36935.0"}, {"CDate('2015-01-05 12:00')", "42009.5"},
      {"CDate('abc')", MISMATCH}, {"CDate('31/2/2001')", MISMATCH}, {"CDate(42009.25)", "42009.25"},
      {"CDate(3000000)", OVERFLOWS}, {"CDate(null)", NO_NULL}, {"CVDate(null)", "null"},
      {"CVDate('5/1/2015')", "42009.0"}, {"CDate('5 January 2015')", "42009.0"}, {"CDate('Jan 5, 2015')", "42009.0"},
      {"CDate('5-Jan-2015 6:00')", "42009.25"}, {"CDate('5/1/2015 6:00 PM')", "42009.75"},
      {"CDate('12:00 AM')", "0.0"}, {"CDate('6 pm')", "0.75"}, {"CDate('13:00 PM')", MISMATCH},
      {"CDate('5 Foo 2015')", MISMATCH}, {"CDate('AM')", MISMATCH}, {"CVar(7)", "7"}, {"IsDate('5/1/2015')", "-1"},
      {"IsDate('x')", "0"}, {"IsDate(5)", "0"}, {"IsDate(null)", "0"}, {"IsNumeric('1e5')", "-1"},
      {"IsNumeric(' 12 ')", "-1"}, {"IsNumeric('12%')", "0"}, {"IsNumeric('')", "0"}, {"IsNumeric(null)", "0"},
      {"IsNumeric(1.5)", "-1"}, {"jet_isnull(null)", "-1"}, {"jet_isnull('')", "0"}, {"IsEmpty(null)", "0"},
      {"IsError(1)", "0"}, {"jet_text_date(42009)", "'05/01/2015'"},
      {"jet_text_date(42009.25)", "'05/01/2015 06:00:00'"}, {"jet_text_date(0.5)", "'12:00:00'"},
      {"jet_text_date(null)", "null"}, {"jet_cstr_date(null)", NO_NULL}, {"jet_text_bool(-1)", "'True'"},
      {"jet_cstr_bool(0)", "'False'"}, {"jet_text_currency(1.10)", "'1.1'"}, {"jet_text_currency(0.00005)", "'0'"},
      {"jet_text_single(CSng(0.1))", "'0.1'"}, {"jet_text(2.50)", "'2.5'"}, {"jet_text(null)", "null"},
      {"jet_text(CAST('12345678901234567.890' AS BLOB))", "'12345678901234567.890'"},
  });
  Engine italian(platform::fake::FixedLocale::italian());
  check(italian, {
      {"CStr(0.5)", "'0,5'"}, {"CDbl('1.234,5')", "1234.5"}, {"Str(.5)", "' .5'"}, {"Val('1.5')", "1.5"},
      {"CDate('5 gen 2015')", "42009.0"}, {"MonthName(1,-1)", "'gen'"}, {"IsNumeric('1,5')", "-1"},
      {"jet_cat(1.5,'')", "'1,5'"}, {"Format(1234.5,'#,##0.00')", "'1.234,50'"}, {"CCur('1,23456')", "1.2346"},
  });
}

TEST(Functions, Dates) {
  Engine engine;
  check(engine, {
      {"jet_text_date(Now())", "'05/01/2015 14:07:33'"}, {"Date()", "42009.0"},
      {"jet_text_date(Time())", "'14:07:33'"}, {"Timer()", "50853.0"}, {"Year(42009.6)", "2015"},
      {"Month(42009)", "1"}, {"Day(42009)", "5"}, {"Hour(42009.75)", "18"}, {"Minute(0.5104166666666666)", "15"},
      {"Second(Now())", "33"}, {"Year('5/1/2015')", "2015"}, {"Year(null)", "null"}, {"Year('x')", MISMATCH},
      {"Hour(-1.25)", "6"}, {"Day(-1.25)", "29"}, {"Weekday(42009)", "2"}, {"Weekday(42009,2)", "1"},
      {"Weekday(0)", "7"}, {"Weekday(-1)", "6"}, {"Weekday(1,8)", CALL}, {"Weekday(42009,0)", "2"},
      {"Second(0.999999)", "0"}, {"Day(1.999999)", "1"}, {"DateSerial(2015,1,5)", "42009.0"},
      {"DateSerial(2015,14,0)", "42400.0"}, {"DateSerial(15,1,5)", "42009.0"}, {"DateSerial(99,1,1)", "36161.0"},
      {"DateSerial(2015,0,31)", "42004.0"}, {"DateSerial(10000,1,1)", CALL}, {"DateSerial(2015,1,null)", NO_NULL},
      {"TimeSerial(6,0,0)", "0.25"}, {"TimeSerial(25,0,0)", "1.04166666666667"}, {"TimeSerial(0,-360,0)", "-0.25"},
      {"DateValue('5/1/2015 10:00')", "42009.0"}, {"TimeValue('5/1/2015 18:00')", "0.75"},
      {"TimeValue(-1.25)", "0.25"}, {"DateValue('')", MISMATCH}, {"DateValue(null)", NO_NULL},
      {"MonthName(12)", "'December'"}, {"MonthName(12,-1)", "'Dec'"}, {"MonthName(13)", CALL},
      {"WeekdayName(1)", "'Sunday'"}, {"WeekdayName(1,-1,2)", "'Mon'"}, {"WeekdayName(7,0,2)", "'Sunday'"},
      {"WeekdayName(0)", CALL}, {"jet_text_date(DateAdd('m',1,DateSerial(2015,1,31)))", "'28/02/2015'"},
      {"jet_text_date(DateAdd('yyyy',-1,DateSerial(2016,2,29)))", "'28/02/2015'"},
      {"DateAdd('q',1,42009)", "42099.0"}, {"DateAdd('d',-1,0)", "-1.0"}, {"DateAdd('h',6,-1.0)", "-1.25"},
      {"DateAdd('h',18,-1.25)", "0.0"}, {"DateAdd('n',-1,42009)", "42008.9993055556"},
      {"DateAdd('s',86400,1)", "2.0"}, {"DateAdd('ww',2,42009)", "42023.0"}, {"DateAdd('w',2,42009)", "42011.0"},
      {"DateAdd('y',2,42009)", "42011.0"}, {"DateAdd('D',1.5,42009)", "42011.0"}, {"DateAdd('x',1,1)", CALL},
      {"DateAdd('yyyy',9000,42009)", CALL}, {"DateAdd('s',1e30,1)", OVERFLOWS}, {"DateAdd('d',1,null)", "null"},
      {"DateAdd('d','a',1)", MISMATCH}, {"DateAdd('m',1,'31/1/2016')", "42429.0"},
      {"DateDiff('d',42009.9,42010.1)", "1"}, {"DateDiff('yyyy',42004,42005)", "1"},
      {"DateDiff('m',42036,42035)", "-1"}, {"DateDiff('q',42004,42370)", "5"}, {"DateDiff('h',0.4583,0.45834)", "1"},
      {"DateDiff('n',0.5,0.75)", "360"}, {"DateDiff('s',42009,42010)", "86400"}, {"DateDiff('w',42009,42022)", "1"},
      {"DateDiff('ww',42007,42008)", "1"}, {"DateDiff('ww',42007,42008,2)", "0"},
      {"DateDiff('ww',42008,42009,2)", "1"}, {"DateDiff('d',null,1)", "null"}, {"DateDiff('ww',1,2,8)", CALL},
      {"DateDiff('d',1,2,1,4)", CALL}, {"DateDiff('h',-1.25,0)", "18"}, {"DatePart('q',42009)", "1"},
      {"DatePart('y',42400)", "31"}, {"DatePart('ww',42009)", "2"}, {"DatePart('ww',42009,2,2)", "2"},
      {"DatePart('ww',42005,2,2)", "1"}, {"DatePart('ww',42004,2,2)", "1"},
      {"DatePart('ww',DateSerial(2016,1,1),2,2)", "53"}, {"DatePart('ww',DateSerial(2016,1,1),2,3)", "52"},
      {"DatePart('ww',DateSerial(2015,12,31))", "53"}, {"DatePart('ww',-657434)", "1"},
      {"DatePart('w',42009,2)", "1"}, {"DatePart('n',0.5104166666666666)", "15"},
      {"DatePart('ww',2958465,2,2)", "52"}, {"DatePart('d',null)", "null"},
  });
}

TEST(Functions, ChoicesAndOperators) {
  Engine engine;
  check(engine, {
      {"Nz(null)", "''"}, {"Nz(null,7)", "7"}, {"Nz('a',7)", "'a'"}, {"Switch(0,'a',-1,'b')", "'b'"},
      {"Switch(null,'a','0','b')", "null"}, {"Switch(1,2,3)", CALL}, {"Choose(2,'a','b')", "'b'"},
      {"Choose(2.9,'a','b')", "'b'"}, {"Choose(3,'a','b')", "null"}, {"Choose(0,'a')", "null"}, {"Choose()", CALL},
      {"Choose(null,'a')", NO_NULL}, {"iif(1, 'a', CInt('x'))", "'a'"}, {"ifnull('a', CInt('x'))", "'a'"},
      {"jet_cat('a',null)", "'a'"}, {"jet_cat(null,null)", "null"}, {"jet_cat(null,'')", "''"},
      {"jet_cat(1,2.0)", "'12'"}, {"jet_cat('é',1e15)", "'é1E+15'"}, {"jet_add('1','2')", "'12'"},
      {"jet_add('1',2)", "3.0"}, {"jet_add('a',2)", MISMATCH}, {"jet_add(null,'a')", "null"}, {"jet_add(1,2)", "3"},
      {"jet_add(42009.0,1)", "42010.0"}, {"jet_add(9223372036854775807,1)", "9.22337203685478e+18"},
      {"jet_add(CAST('12345678901234567.5' AS BLOB),0.25)", "x12345678901234567.75"},
      {"jet_add(CAST('-12345678901234567.5' AS BLOB),'12345678901234567.25')", "-0.25"},
      {"jet_add(CAST('79228162514264337593543950335' AS BLOB),1)", OVERFLOWS}, {"jet_div(7,2)", "3.5"},
      {"jet_div(1,0)", "null"}, {"jet_div('x',2)", MISMATCH}, {"jet_int_div(7,2)", "3"}, {"jet_int_div(-7,2)", "-3"},
      {"jet_int_div(7.5,2.5)", "4"}, {"jet_int_div(1,0.4)", "null"}, {"jet_int_div(1e30,1)", OVERFLOWS},
      {"jet_int_div(-9223372036854775807-1,-1)", OVERFLOWS}, {"jet_mod(-7,3)", "-1"}, {"jet_mod(7,-3)", "1"},
      {"jet_mod(6.5,4)", "2"}, {"jet_mod(5,0)", "null"}, {"jet_mod(-9223372036854775807-1,-1)", "0"},
      {"jet_mod(null,1)", "null"}, {"jet_power(2,10)", "1024.0"}, {"jet_power(-8,1.0/3)", CALL},
      {"jet_power(0,-1)", CALL}, {"jet_power(10,999)", OVERFLOWS}, {"jet_power(-2,3)", "-8.0"},
  });
}
// clang-format on

// A hundred thousand rows: more ten-thousandths than 64 bits count.
#define AMOUNTS \
  "WITH n(i, x) AS (SELECT 1, 12345678901.2345 UNION ALL SELECT i + 1, x FROM n WHERE i < 100000)"

TEST(Functions, Aggregates) {
  Engine engine;
  const std::pair<const char*, const char*> rows[] = {
      {"sum(x) FROM (SELECT 1 AS x UNION ALL SELECT 2 UNION ALL SELECT null)", "3"},
      {"sum(x) FROM (SELECT 0.1 AS x UNION ALL SELECT 0.2 UNION ALL SELECT 0.3)", "0.6"},
      {"sum(x) = 1e16 + 2 FROM (SELECT 1e16 AS x UNION ALL SELECT 1.0 UNION ALL SELECT 1.0)", "1"},
      {"sum(x) FROM (SELECT 1 AS x WHERE 0)", "null"},
      {"sum(x) FROM (SELECT 9223372036854775807 AS x UNION ALL SELECT 1)", "9.22337203685478e+18"},
      {"sum(x) FROM (SELECT CAST('12345678901234567.89' AS BLOB) AS x UNION ALL SELECT 0.11 UNION ALL SELECT "
       "2 UNION ALL SELECT 0.123456)",
       "x12345678901234570.123456"},
      {"sum(x) FROM (SELECT CAST('-12345678901234567.5' AS BLOB) AS x UNION ALL SELECT "
       "CAST('12345678901234567.25' AS BLOB))",
       "-0.25"},
      {"sum(x) FROM (" AMOUNTS " SELECT x FROM n UNION ALL SELECT CAST('10000000000000000' AS BLOB))",
       "x11234567890123450"},
      {"sum(x) FROM (" AMOUNTS " SELECT x FROM n)", "1.23456789012345e+15"},
      {"avg(x) FROM (SELECT 1 AS x UNION ALL SELECT 2 UNION ALL SELECT null)", "1.5"},
      {"avg(x) FROM (SELECT CAST('-12345678901234567.5' AS BLOB) AS x UNION ALL SELECT 0 UNION ALL SELECT 0)",
       "x-4115226300411522.5"},
      {"avg(x) FROM (SELECT CAST('20000000000000000' AS BLOB) AS x UNION ALL SELECT 0 UNION ALL SELECT 0)",
       "x6666666666666666.6666666666667"},
      {"sum(x) OVER (ORDER BY x ROWS 1 PRECEDING) FROM (SELECT 1 AS x UNION ALL SELECT 2.5 UNION ALL SELECT "
       "CAST('12345678901234567.5' AS BLOB)"
       " UNION ALL SELECT CAST('12345678901234568' AS BLOB))",
       "1;3.5;x12345678901234570;x24691357802469135.5"},
      {"Var(x) FROM (SELECT 1000000004.0 AS x UNION ALL SELECT 1000000007 UNION ALL SELECT 1000000013 UNION "
       "ALL SELECT 1000000016)",
       "30.0"},
      {"VarP(x) FROM (SELECT 2 AS x UNION ALL SELECT 4 UNION ALL SELECT null)", "1.0"},
      {"StDevP(x) FROM (SELECT 2 AS x UNION ALL SELECT 6)", "2.0"},
      {"StDev(x) FROM (SELECT 2 AS x)", "null"},
      {"Var(x) FROM (SELECT 'a' AS x)", MISMATCH},
      {"First(x) FROM (SELECT null AS x UNION ALL SELECT 'b')", "null"},
      {"Last(x) FROM (SELECT 'a' AS x UNION ALL SELECT 'b')", "'b'"},
      {"Last(x) FROM (SELECT 1 AS x WHERE 0)", "null"},
      {"jet_max_exact(x) FROM (SELECT 5.5 AS x UNION ALL SELECT CAST('-12345678901234567.5' AS BLOB) UNION "
       "ALL SELECT null)",
       "5.5"},
      {"jet_min_exact(x) FROM (SELECT 5.5 AS x UNION ALL SELECT 7 UNION ALL SELECT "
       "CAST('-12345678901234567.5' AS BLOB))",
       "x-12345678901234567.5"},
      {"max(x) FROM (SELECT 'b' AS x UNION ALL SELECT 'a')", "'b'"},
  };
  for (const auto& [select, expected] : rows) EXPECT_EQ(engine.value(select), expected) << select;
}

// An index on an expression needs functions the engine may rely on; the built-in ones stay where ours take
// other numbers of arguments.
TEST(Functions, FitInWithTheEngine) {
  Engine engine;
  EXPECT_EQ(engine.rows("CREATE TABLE t (s VARCHAR COLLATE JET, n INTEGER)"), "");
  EXPECT_EQ(engine.rows("CREATE INDEX i ON t (UCase(s))"), "");
  EXPECT_EQ(engine.rows("INSERT INTO t VALUES ('É', 1), ('f', 2), ('e', 3), ('E', 4), ('-', 5)"), "");
  EXPECT_EQ(engine.rows("SELECT n FROM t ORDER BY s, n"), "5;3;4;1;2");
  EXPECT_EQ(engine.rows("SELECT n FROM t WHERE s = 'é'"), "1");
  EXPECT_EQ(engine.rows("SELECT s FROM t WHERE UCase(s) = 'F'"), "'f'");
  EXPECT_EQ(engine.rows("SELECT count(DISTINCT s) FROM t"), "4");
  EXPECT_EQ(engine.rows("ALTER TABLE t RENAME TO u"), "");
  EXPECT_EQ(engine.rows("ALTER TABLE u RENAME COLUMN n TO m"), "");
  EXPECT_EQ(engine.rows("SELECT max(m) FROM u"), "5");
  EXPECT_EQ(engine.value("date(0, 'unixepoch')"), "'1970-01-01'");
}

}  // namespace
}  // namespace quarno::desktop::test
