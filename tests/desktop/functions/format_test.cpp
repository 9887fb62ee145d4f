// Format as a statement calls it.
#include "desktop/functions/evaluation.h"

namespace quarno::desktop::test {
namespace {

// clang-format off
TEST(Format, Numbers) {
  Engine engine;
  check(engine, {
      {"Format(2.5,'0')", "'3'"}, {"Format(-2.5,'0')", "'-3'"}, {"Format(1234567.891,'#,##0.00')", "'1,234,567.89'"},
      {"Format(0,'#,##0.00')", "'0.00'"}, {"Format(5,'0.#')", "'5.'"}, {"Format(.5,'#.##')", "'.5'"},
      {"Format(.5,'0.00%')", "'50.00%'"}, {"Format(12,'0000')", "'0012'"},
      {"Format(1234567,'000-0000')", "'123-4567'"}, {"Format(12,'000-0000')", "'000-0012'"}, {"Format(0,'#')", "''"},
      {"Format(123.456,'.00')", "'123.46'"}, {"Format(1234567,'#,##0,')", "'1,235'"},
      {"Format(1234567890,'0.0,,')", "'1234567890.0'"}, {"Format(1234567890,'0,,.0')", "'1234.6'"},
      {"Format(12345,'0.00E+00')", "'1.23E+04'"}, {"Format(0.00012,'0.0e-0')", "'1.2e-4'"},
      {"Format(9.996,'0.00E+00')", "'1.00E+01'"}, {"Format(12345,'##0.0E+0')", "'123.5E+2'"},
      {"Format(0,'0.0E+00')", "'0.0E+00'"}, {"Format(-5,'0;(0)')", "'(5)'"}, {"Format(5,'0;(0);\"zero\"')", "'5'"},
      {"Format(0,'0;(0);\"zero\"')", "'zero'"}, {"Format(null,'0;(0);0;\"none\"')", "'none'"},
      {"Format(null,'0')", "''"}, {"Format(-5,'0;;z')", "'-5'"}, {"Format(-0.001,'0.00')", "'0.00'"},
      {"Format(7,'\\n 0 \"d;s\"')", "'n 7 d;s'"}, {"Format(7,'0\\;0;x')", "'0;7'"},
      {"Format(99.995,'0.00')", "'100.00'"}, {"Format(1e20,'#,##0')", "'100,000,000,000,000,000,000'"},
      {"Format(0.1+0.2,'0.##################')", "'0.3'"}, {"Format(1234.5,'General Number')", "'1234.5'"},
      {"Format(1234.5,'Currency')", "'1,234.50'"}, {"Format(1234.567,'fixed')", "'1234.57'"},
      {"Format(-1234.5,'Standard')", "'-1,234.50'"}, {"Format(0.1234,'Percent')", "'12.34%'"},
      {"Format(12345.678,'Scientific')", "'1.23E+04'"}, {"Format(-1,'Yes/No')", "'Yes'"},
      {"Format(0,'Yes/No')", "'No'"}, {"Format(0,'True/False')", "'False'"}, {"Format(-1,'On/Off')", "'On'"},
      {"Format(0.2,'On/Off')", "'On'"}, {"Format('12.5','0.00')", "'12.50'"}, {"Format('abc','0.00')", "'abc'"},
      {"Format(CAST('12345678901234567.895' AS BLOB),'#,##0.00')", "'12,345,678,901,234,567.90'"},
      {"Format(9223372036854775807,'0')", "'9223372036854775807'"}, {"Format(5)", "'5'"}, {"Format('a',null)", "'a'"},
      {"Format(5,'')", "'5'"}, {"Format(0.007,'0.0#')", "'0.01'"}, {"Format(100,'0.0#')", "'100.0'"},
      {"Format(0.05,'#.#')", "'.1'"}, {"Format(1e300,'0') = '1' || String(300,'0')", "1"},
      {"Format(1234,'0,000.0,0')", "'1,234.00'"},
  });
}

TEST(Format, DatesAndTexts) {
  Engine engine;
  check(engine, {
      {"Format(42009.588576388889,'dd/mm/yyyy hh:nn:ss')", "'05/01/2015 14:07:33'"},
      {"Format(Now(),'d m yy h n s')", "'5 1 15 14 7 33'"}, {"Format(Now(),'ddd dddd')", "'Mon Monday'"},
      {"Format(Now(),'mmm mmmm')", "'Jan January'"}, {"Format(Now(),'hh:mm:ss')", "'14:07:33'"},
      {"Format(Now(),'mm:ss')", "'07:33'"}, {"Format(Now(),'dd/mm hh')", "'05/01 14'"},
      {"Format(Now(),'h:nn AM/PM')", "'2:07 PM'"}, {"Format(42009,'hh am/pm')", "'12 am'"},
      {"Format(0.5,'h a/p')", "'12 p'"}, {"Format(0.25,'hAMPM')", "'6AM'"}, {"Format(Now(),'q w ww y')", "'1 2 2 5'"},
      {"Format(Now(),'w ww',2,2)", "'1 2'"}, {"Format(Now(),'\\d\\a\\y d \"of m\" m')", "'day 5 of m 1'"},
      {"Format(Now(),'yyyy-mm-ddThh:nn')", "'2015-01-05T14:07'"},
      {"Format(Now(),'General Date')", "'05/01/2015 14:07:33'"},
      {"Format(Now(),'Long Date')", "'Monday 5 January 2015'"}, {"Format(Now(),'medium date')", "'05-Jan-15'"},
      {"Format(Now(),'Short Date')", "'05/01/2015'"}, {"Format(Now(),'Long Time')", "'14:07:33'"},
      {"Format(Now(),'Medium Time')", "'02:07 PM'"}, {"Format(Now(),'Short Time')", "'14:07'"},
      {"Format(Now(),'ddddd ttttt')", "'05/01/2015 14:07:33'"}, {"Format(Now(),'c')", "'05/01/2015 14:07:33'"},
      {"Format('2015-01-05','yyyy')", "'2015'"}, {"Format('no date','yyyy')", "'no date'"},
      {"Format(1e9,'yyyy')", "!Overflow"}, {"Format(0.9999999,'hh:nn:ss')", "'00:00:00'"},
      {"Format(-1.25,'d h')", "'29 6'"}, {"Format(null,'yyyy')", "''"},
      {"Format(1,'d',8)", "!Invalid procedure call or argument"}, {"Format('abc','>')", "'ABC'"},
      {"Format('ÀB','<')", "'àb'"}, {"Format('ab','@@@@')", "'  ab'"}, {"Format('ab','!@@@@')", "'ab  '"},
      {"Format('ab','&&&&')", "'ab'"}, {"Format('abcdef','@@-@@')", "'abcd-ef'"},
      {"Format('abcdef','!@@-@@')", "'ab-cdef'"}, {"Format('','@;none')", "'none'"},
      {"Format(null,'@;none')", "'none'"}, {"Format('12345678','@@@@-@@@@')", "'1234-5678'"},
      {"Format(5,'>\"x\"@')", "'x5'"},
  });
  LocaleInfo american;
  american.date_order = LocaleInfo::DateOrder::month_day_year;
  american.date_separator = "-";
  american.time_separator = ".";
  Engine other(american);
  check(other, {
      {"Format(Now(),'Long Date')", "'Monday, January 05, 2015'"}, {"Format(Now(),'Short Date')", "'01-05-2015'"},
      {"Format(Now(),'hh:nn dd/mm')", "'14.07 05-01'"},
  });
}
// clang-format on

}  // namespace
}  // namespace quarno::desktop::test
