// Dates and times of day.
#include <cmath>

#include "common/convert.h"
#include "platform/clock.h"
#include "platform/locale.h"
#include "providers/desktop/functions/calendar.h"
#include "providers/desktop/functions/call.h"
#include "providers/desktop/functions/names.h"
#include "providers/desktop/functions/reading.h"

namespace quarno::desktop {
namespace {

Interval interval(const Arguments& args, std::size_t i) {
  const auto found = interval_of(args.text(i));
  if (!found) refuse();
  return *found;
}

// 0 asks for the system's; weeks begin with Sunday and the year's first with 1 January then.
int first_day(const Arguments& args, std::size_t i) {
  const std::int32_t day = args.whole_or(i, 1);
  if (day < 0 || day > 7) refuse();
  return day == 0 ? 1 : day;
}

WeekRule week_rule(const Arguments& args, std::size_t i) {
  const std::int32_t week = args.whole_or(i + 1, 1);
  if (week < 0 || week > 3) refuse();
  return {first_day(args, i), week == 0 ? 1 : week};
}

Date day_alone(Date date) { return {std::trunc(date.days)}; }
Date time_alone(Date date) { return date_of({0, moment_of(date).microseconds}); }

Variant date_add(const Arguments& args) {
  if (args.any_null()) return Variant::null();
  return desktop::date_add(interval(args, 0), args.number(1), args.date(2));
}

Variant date_diff(const Arguments& args) {
  if (args.any_null()) return Variant::null();
  week_rule(args, 3);  // the first week of a year matters to no difference, but is checked
  return desktop::date_diff(interval(args, 0), args.date(1), args.date(2), first_day(args, 3));
}

Variant date_part(const Arguments& args) {
  if (args.any_null()) return Variant::null();
  return desktop::date_part(interval(args, 0), args.date(1), week_rule(args, 2));
}

template <Interval kPart>
Variant part(const Arguments& args) {
  if (args.any_null()) return Variant::null();
  return desktop::date_part(kPart, args.date(0), WeekRule{first_day(args, 1), 1});
}

Variant date_serial(const Arguments& args) {
  return desktop::date_serial(args.whole(0), args.whole(1), args.whole(2));
}

Variant time_serial(const Arguments& args) {
  const double minutes = args.whole(0) * 60.0 + args.whole(1);
  const double days = (minutes * 60 + args.whole(2)) / 86'400;
  if (!(days > kFirstDay && days < kLastDay)) refuse();
  return Date{days};
}

Variant date_value(const Arguments& args) { return day_alone(args.date(0)); }
Variant time_value(const Arguments& args) { return time_alone(args.date(0)); }

Variant month_name(const Arguments& args) {
  const std::int32_t month = args.whole(0);
  if (month < 1 || month > 12) refuse();
  return desktop::month_name(month, args.count() > 1 && args.truth(1), platform::locale());
}

Variant weekday_name(const Arguments& args) {
  const std::int32_t day = args.whole(0);
  if (day < 1 || day > 7) refuse();
  const int sunday_based = (day - 1 + first_day(args, 2) - 1) % 7 + 1;
  return desktop::weekday_name(sunday_based, args.count() > 1 && args.truth(1));
}

Variant now(const Arguments&) { return platform::clock().now(); }
Variant today(const Arguments&) { return day_alone(platform::clock().now()); }
Variant time_of_day(const Arguments&) { return time_alone(platform::clock().now()); }
Variant timer(const Arguments&) {
  return static_cast<double>(moment_of(platform::clock().now()).microseconds) / 1e6;
}

Variant is_date(const Arguments& args) {
  return args.is_text(0) && date_of_text(text_view(args.raw(0)), platform::locale()).has_value();
}

// The clock's four give one answer within a statement, which is all the engine asks of a constant: it reads
// them once for each run of a statement, as this language has it.
constexpr Function kFunctions[] = {
    {"Now", 0, 0, entry<now>},
    {"Date", 0, 0, entry<today>},
    {"Time", 0, 0, entry<time_of_day>},
    {"Timer", 0, 0, entry<timer>},
    {"DateAdd", 3, 3, entry<date_add>},
    {"DateDiff", 3, 5, entry<date_diff>},
    {"DatePart", 2, 4, entry<date_part>},
    {"Year", 1, 1, entry<part<Interval::year>>},
    {"Month", 1, 1, entry<part<Interval::month>>},
    {"Day", 1, 1, entry<part<Interval::day>>},
    {"Hour", 1, 1, entry<part<Interval::hour>>},
    {"Minute", 1, 1, entry<part<Interval::minute>>},
    {"Second", 1, 1, entry<part<Interval::second>>},
    {"Weekday", 1, 2, entry<part<Interval::weekday>>},
    {"DateSerial", 3, 3, entry<date_serial>},
    {"TimeSerial", 3, 3, entry<time_serial>},
    {"DateValue", 1, 1, entry<date_value>},
    {"TimeValue", 1, 1, entry<time_value>},
    {"MonthName", 1, 2, entry<month_name>},
    {"WeekdayName", 1, 3, entry<weekday_name>},
    {"IsDate", 1, 1, entry<is_date>},
};

}  // namespace

std::span<const Function> date_functions() { return kFunctions; }

}  // namespace quarno::desktop
