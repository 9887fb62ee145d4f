// Aggregates: the engine lacks some, and its sums know no exact numbers.
#include <cmath>
#include <memory>

#include "common/convert.h"
#include "common/exact_sum.h"
#include "platform/locale.h"
#include "providers/desktop/functions/call.h"

namespace quarno::desktop {
namespace {

// The engine gives each group zeroed memory and takes it back without a word: only plain data may stand in
// it.
template <class State>
State& state_of(sqlite3_context* context) {
  void* const memory = sqlite3_aggregate_context(context, sizeof(State));
  if (memory == nullptr) throw run_time_error(RunTime::out_of_memory);
  return *static_cast<State*>(memory);
}
/// Null for a group without rows.
template <class State>
State* state_if_any(sqlite3_context* context) {
  return static_cast<State*>(sqlite3_aggregate_context(context, 0));
}

template <void (*work)(sqlite3_context*, sqlite3_value*)>
void step(sqlite3_context* context, int, sqlite3_value** values) noexcept {
  try {
    work(context, values[0]);
  } catch (...) {
    give_error(context);
  }
}

template <void (*work)(sqlite3_context*)>
void answer(sqlite3_context* context) noexcept {
  try {
    work(context);
  } catch (...) {
    give_error(context);
  }
}

// Whole numbers are added as such as long as they fit. So are doubles that stand for a number of four
// decimals, as amounts do, in ten-thousandths: their sum is the decimal it should be, though no double was.
// The other doubles are added with the part that each addition lost.
struct Sum {
  std::int64_t count;
  std::int64_t whole;
  std::int64_t scaled;  // ten-thousandths
  double real;
  double lost;
  std::int64_t reals;   // values that are not in `whole`
  std::int64_t exacts;  // values that came with all their digits, in:
  ExactSum* exact;      // also takes what `scaled` cannot hold
};

ExactSum& exact_part(Sum& sum) {
  if (sum.exact == nullptr) sum.exact = new ExactSum;
  return *sum.exact;
}

void add_scaled(Sum& sum, std::int64_t value) {
  if (!__builtin_add_overflow(sum.scaled, value, &sum.scaled)) return;
  // Only the sum's low bits are left after an overflow.
  const auto before =
      static_cast<std::int64_t>(static_cast<std::uint64_t>(sum.scaled) - static_cast<std::uint64_t>(value));
  exact_part(sum).add(Currency{before}.to_decimal());
  sum.scaled = value;
}

void add_real(Sum& sum, double value) {
  constexpr double kLargest = 9e15;  // ten-thousandths a double tells apart
  const double scaled = value * 10'000;
  if (std::fabs(scaled) < kLargest) {
    const auto whole = static_cast<std::int64_t>(scaled + std::copysign(0.5, scaled));
    if (static_cast<double>(whole) / 10'000 == value) return add_scaled(sum, whole);
  }
  const double total = sum.real + value;
  sum.lost +=
      std::fabs(sum.real) >= std::fabs(value) ? (sum.real - total) + value : (value - total) + sum.real;
  sum.real = total;
}

// `direction` is -1 for a row that leaves a window.
template <int direction>
void sum_step(sqlite3_context* context, sqlite3_value* value) {
  int type = sqlite3_value_type(value);
  if (type == SQLITE_TEXT) type = sqlite3_value_numeric_type(value);
  if (type == SQLITE_NULL) return;
  Sum& sum = state_of<Sum>(context);
  sum.count += direction;
  if (type == SQLITE_INTEGER) {
    const std::int64_t number = sqlite3_value_int64(value);
    std::int64_t total = 0;
    const bool too_large = direction > 0 ? __builtin_add_overflow(sum.whole, number, &total)
                                         : __builtin_sub_overflow(sum.whole, number, &total);
    if (!too_large) {
      sum.whole = total;
      return;
    }
  } else if (type == SQLITE_BLOB) {
    const Variant number = value_of(value);
    if (const auto* exact = number.get_if<Decimal>()) {
      direction > 0 ? exact_part(sum).add(*exact) : exact_part(sum).subtract(*exact);
      sum.exacts += direction;
      return;
    }
  }
  add_real(sum, direction * sqlite3_value_double(value));
  sum.reals += direction;
}

double approximate(const Sum& sum) {
  // The whole and the decimal part apart: together they may have more digits than a double.
  constexpr std::int64_t kScale = 10'000;
  const std::int64_t whole_part = sum.scaled / kScale;
  const double whole = static_cast<double>(sum.whole) + static_cast<double>(whole_part);
  return whole + (static_cast<double>(sum.scaled % kScale) / kScale + sum.lost) + sum.real;
}

Decimal exact_result(const Sum& sum, std::int64_t divisor) {
  ExactSum total = *sum.exact;
  total.add(Decimal(sum.whole));
  total.add(Currency{sum.scaled}.to_decimal());
  const auto real = Decimal::from_double(sum.real + sum.lost);
  const auto result =
      real ? (total.add(*real), total.result(static_cast<std::uint64_t>(divisor))) : std::nullopt;
  if (!result) throw run_time_error(RunTime::overflow);
  return *result;
}

// A sum of doubles stays one, even where it took more room on the way.
Variant sum_result(const Sum& sum, std::int64_t divisor) {
  if (sum.exacts > 0) return exact_result(sum, divisor);
  const double result = sum.exact == nullptr ? approximate(sum) : exact_result(sum, 1).to_double();
  return result / static_cast<double>(divisor);
}

void give_sum(sqlite3_context* context) {
  const Sum* const sum = state_if_any<Sum>(context);
  if (sum == nullptr || sum->count == 0) return sqlite3_result_null(context);
  const bool is_whole = sum->reals == 0 && sum->exacts == 0;
  is_whole ? sqlite3_result_int64(context, sum->whole) : give(context, sum_result(*sum, 1));
}

void give_average(sqlite3_context* context) {
  const Sum* const sum = state_if_any<Sum>(context);
  if (sum == nullptr || sum->count == 0) return sqlite3_result_null(context);
  give(context, sum_result(*sum, sum->count));
}

template <void (*give_result)(sqlite3_context*)>
void finish_sum(sqlite3_context* context) noexcept {
  answer<give_result>(context);
  if (const Sum* const sum = state_if_any<Sum>(context)) delete sum->exact;
}

// Mean and squared distances from it, brought up to date row by row: stable where sums of squares are not.
struct Spread {
  std::int64_t count;
  double mean;
  double squares;
};

void spread_step(sqlite3_context* context, sqlite3_value* value) {
  if (sqlite3_value_type(value) == SQLITE_NULL) return;
  const double number = Arguments(1, &value).number(0);
  Spread& spread = state_of<Spread>(context);
  ++spread.count;
  const double distance = number - spread.mean;
  spread.mean += distance / static_cast<double>(spread.count);
  spread.squares += distance * (number - spread.mean);
}

// kLeftOut: 1 for a sample, 0 for a population.
template <int kLeftOut, bool kRoot>
void give_spread(sqlite3_context* context) {
  const Spread* const spread = state_if_any<Spread>(context);
  if (spread == nullptr || spread->count <= kLeftOut) return sqlite3_result_null(context);
  const double variance = spread->squares / static_cast<double>(spread->count - kLeftOut);
  give(context, kRoot ? std::sqrt(variance) : variance);
}

// The value of one row of the group, null like any other.
struct Chosen {
  sqlite3_value* value;
};

void keep(Chosen& chosen, sqlite3_value* value) {
  sqlite3_value* const copy = sqlite3_value_dup(value);
  if (copy == nullptr) throw run_time_error(RunTime::out_of_memory);
  sqlite3_value_free(chosen.value);
  chosen.value = copy;
}

template <bool kLast>
void choose_step(sqlite3_context* context, sqlite3_value* value) {
  Chosen& chosen = state_of<Chosen>(context);
  if (kLast || chosen.value == nullptr) keep(chosen, value);
}

// Positive when the row's value is to stand for the group's: kSign 1 for the largest, -1 for the smallest.
template <int kSign>
void end_step(sqlite3_context* context, sqlite3_value* value) {
  if (sqlite3_value_type(value) == SQLITE_NULL) return;
  Chosen& chosen = state_of<Chosen>(context);
  if (chosen.value == nullptr) return keep(chosen, value);
  const LocaleInfo& locale = platform::locale();
  const Variant ours = value_of(chosen.value);
  const Variant other = value_of(value);
  const bool exact = ours.get_if<Decimal>() != nullptr || other.get_if<Decimal>() != nullptr;
  int order = 0;
  if (exact) {
    order = compare(to_decimal(other, locale), to_decimal(ours, locale));
  } else {
    const double a = to_double(other, locale);
    const double b = to_double(ours, locale);
    order = a < b ? -1 : (a > b ? 1 : 0);
  }
  if (order * kSign > 0) keep(chosen, value);
}

void give_chosen(sqlite3_context* context) noexcept {
  const Chosen* const chosen = state_if_any<Chosen>(context);
  if (chosen == nullptr || chosen->value == nullptr) return sqlite3_result_null(context);
  sqlite3_result_value(context, chosen->value);
  sqlite3_value_free(chosen->value);
}

struct Aggregate {
  const char* name;
  void (*step)(sqlite3_context*, int, sqlite3_value**);
  void (*finish)(sqlite3_context*);
  void (*current)(sqlite3_context*) = nullptr;  // with `leave`: usable over windows
  void (*leave)(sqlite3_context*, int, sqlite3_value**) = nullptr;
};

constexpr Aggregate kAggregates[] = {
    {"Sum", step<sum_step<1>>, finish_sum<give_sum>, answer<give_sum>, step<sum_step<-1>>},
    {"Avg", step<sum_step<1>>, finish_sum<give_average>, answer<give_average>, step<sum_step<-1>>},
    {"StDev", step<spread_step>, answer<give_spread<1, true>>},
    {"StDevP", step<spread_step>, answer<give_spread<0, true>>},
    {"Var", step<spread_step>, answer<give_spread<1, false>>},
    {"VarP", step<spread_step>, answer<give_spread<0, false>>},
    {"First", step<choose_step<false>>, give_chosen},
    {"Last", step<choose_step<true>>, give_chosen},
    {"jet_min_exact", step<end_step<-1>>, give_chosen},
    {"jet_max_exact", step<end_step<1>>, give_chosen},
};

}  // namespace

void register_aggregates(sqlite3* database) {
  constexpr int kFlags = SQLITE_UTF8 | SQLITE_DETERMINISTIC | SQLITE_INNOCUOUS;
  for (const Aggregate& row : kAggregates) {
    expect_ok(sqlite3_create_window_function(database, row.name, 1, kFlags, nullptr, row.step, row.finish,
                                             row.current, row.leave, nullptr));
  }
}

}  // namespace quarno::desktop
