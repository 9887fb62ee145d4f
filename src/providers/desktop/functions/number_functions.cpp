// Numbers. A null argument gives null.
#include <array>
#include <bit>
#include <charconv>
#include <cmath>

#include "common/convert.h"
#include "common/exact_sum.h"
#include "common/number_text.h"
#include "platform/locale.h"
#include "providers/desktop/functions/call.h"

namespace quarno::desktop {
namespace {

// A number as it came, a text as the number it says.
Variant numeric(const Arguments& args, std::size_t i) {
  Variant value = args.value(i);
  return value.is_text() ? Variant(to_double(value, platform::locale())) : value;
}

Decimal plus(const Decimal& a, const Decimal& b) {
  ExactSum sum;
  sum.add(a);
  sum.add(b);
  const auto result = sum.result();
  if (!result) throw run_time_error(RunTime::overflow);
  return *result;
}

Decimal negated(const Decimal& v) { return {!v.negative(), v.high(), v.low(), v.scale()}; }

Decimal cut(const Decimal& value) {
  const std::string digits = value.text();
  return Decimal::parse(digits.substr(0, digits.find('.'))).value();
}

Variant absolute(const Arguments& args) {
  const Variant value = numeric(args, 0);
  if (const auto* whole = value.get_if<std::int64_t>()) {
    if (*whole == INT64_MIN) throw run_time_error(RunTime::overflow);
    return *whole < 0 ? -*whole : *whole;
  }
  if (const auto* exact = value.get_if<Decimal>()) return exact->negative() ? negated(*exact) : *exact;
  return value.is_null() ? value : Variant(std::fabs(to_double(value, platform::locale())));
}

Variant sign(const Arguments& args) {
  if (args.any_null()) return Variant::null();
  const double number = args.number(0);
  return std::int32_t{number > 0 ? 1 : (number < 0 ? -1 : 0)};
}

// Int goes down for a negative number, Fix to zero.
template <bool kDown>
Variant without_fraction(const Arguments& args) {
  const Variant value = numeric(args, 0);
  if (value.is_null() || value.get_if<std::int64_t>() != nullptr) return value;
  if (const auto* exact = value.get_if<Decimal>()) {
    const Decimal whole = cut(*exact);
    return kDown && exact->negative() && !(whole == *exact) ? plus(whole, Decimal(-1)) : whole;
  }
  const double number = to_double(value, platform::locale());
  return kDown ? std::floor(number) : std::trunc(number);
}

// Half to even, by the digits the number is written with: 0.285 is a half, though no double is.
Variant round(const Arguments& args) {
  if (args.any_null()) return Variant::null();
  const Variant value = numeric(args, 0);
  const std::int32_t decimals = args.whole_or(1, 0);
  if (decimals < 0 || decimals > 22) refuse();
  if (value.get_if<std::int64_t>() != nullptr) return value;
  if (const auto* exact = value.get_if<Decimal>())
    return exact->scale() <= decimals ? *exact : exact->rescaled(decimals).value();
  const double number = to_double(value, platform::locale());
  const auto exact = Decimal::from_double(number);
  if (!exact || exact->scale() <= decimals) return number;
  return exact->rescaled(decimals).value().to_double();
}

template <double (*function)(double)>
Variant of_double(const Arguments& args) {
  if (args.any_null()) return Variant::null();
  return function(args.number(0));
}

double root(double x) { return x < 0 ? (refuse(), 0) : std::sqrt(x); }
double logarithm(double x) { return !(x > 0) ? (refuse(), 0) : std::log(x); }
double exponential(double x) { return std::exp(x); }
double sine(double x) { return std::sin(x); }
double cosine(double x) { return std::cos(x); }
double tangent(double x) { return std::tan(x); }
double arc_tangent(double x) { return std::atan(x); }

// Negative numbers as 32 bits, larger ones as 64.
template <int kBase>
Variant in_base(const Arguments& args) {
  if (args.any_null()) return Variant::null();
  const Variant value = args.value(0);
  const std::int64_t number = to_int64(value, platform::locale());
  const auto bits = number >= INT32_MIN && number < 0
                        ? std::uint64_t{static_cast<std::uint32_t>(static_cast<std::int32_t>(number))}
                        : static_cast<std::uint64_t>(number);
  std::array<char, 24> digits;
  const auto end = std::to_chars(digits.data(), digits.data() + digits.size(), bits, kBase);
  std::string text(digits.data(), end.ptr);
  for (char& c : text) c = c >= 'a' ? static_cast<char>(c - 32) : c;
  return text;
}

Variant val(const Arguments& args) { return leading_number(args.text(0)); }

// A blank stands where a negative number has its sign.
Variant str(const Arguments& args) {
  if (args.any_null()) return Variant::null();
  const Variant value = numeric(args, 0);
  const auto* real = value.get_if<double>();
  std::string text = real != nullptr ? invariant_text(*real) : to_text(value, LocaleInfo{});
  return text.starts_with('-') ? text : " " + text;
}

std::string padded(const std::string& text, std::size_t width) {
  return std::string(width > text.size() ? width - text.size() : 0, ' ') + text;
}

// The range of `interval` numbers that a number lies in, as "20:29", all ranges equally wide.
Variant partition(const Arguments& args) {
  if (args.any_null()) return Variant::null();
  const std::int64_t number = args.whole(0);
  const std::int64_t start = args.whole(1);
  const std::int64_t stop = args.whole(2);
  const std::int64_t interval = args.whole(3);
  if (start < 0 || stop <= start || interval < 1) refuse();
  const std::size_t width = std::max(std::to_string(start - 1).size(), std::to_string(stop + 1).size());
  const auto side = [width](std::int64_t value) { return padded(std::to_string(value), width); };
  const std::string open(width, ' ');
  if (number < start) return open + ":" + side(start - 1);
  if (number > stop) return side(stop + 1) + ":" + open;
  const std::int64_t low = start + (number - start) / interval * interval;
  return side(low) + ":" + side(std::min(low + interval - 1, stop));
}

// The run time's own sequence: 24 bits, the same from every start. Belongs to one connection.
struct Random {
  std::uint32_t state = 0x50000;

  void advance() { state = (state * 0xFD43FDu + 0xC39EC3u) & 0xFFFFFFu; }
  // Negative: the number that belongs to it; 0: the last one again; else the next.
  double next(double argument) {
    if (argument < 0) {
      const auto bits = std::bit_cast<std::uint32_t>(static_cast<float>(argument));
      state = (bits + (bits >> 24)) & 0xFFFFFFu;
    }
    if (argument != 0) advance();
    return static_cast<double>(state) / 16'777'216.0;
  }
};

void random(sqlite3_context* context, int count, sqlite3_value** values) noexcept {
  try {
    if (count > 1) throw run_time_error(RunTime::wrong_argument_count);
    const Arguments args(count, values);
    const double argument = count == 0 || args.is_null(0) ? 1 : args.number(0);
    give(context, static_cast<Random*>(sqlite3_user_data(context))->next(argument));
  } catch (...) {
    give_error(context);
  }
}

constexpr Function kFunctions[] = {
    {"Abs", 1, 1, entry<absolute>},
    {"Sgn", 1, 1, entry<sign>},
    {"Int", 1, 1, entry<without_fraction<true>>},
    {"Fix", 1, 1, entry<without_fraction<false>>},
    {"Round", 1, 2, entry<round>},
    {"Sqr", 1, 1, entry<of_double<root>>},
    {"Log", 1, 1, entry<of_double<logarithm>>},
    {"Exp", 1, 1, entry<of_double<exponential>>},
    {"Sin", 1, 1, entry<of_double<sine>>},
    {"Cos", 1, 1, entry<of_double<cosine>>},
    {"Tan", 1, 1, entry<of_double<tangent>>},
    {"Atn", 1, 1, entry<of_double<arc_tangent>>},
    {"Hex", 1, 1, entry<in_base<16>>},
    {"Oct", 1, 1, entry<in_base<8>>},
    {"Val", 1, 1, entry<val>},
    {"Str", 1, 1, entry<str>},
    {"Partition", 4, 4, entry<partition>},
};

}  // namespace

std::span<const Function> number_functions() { return kFunctions; }

void register_random(sqlite3* database) {
  const auto destroy = [](void* state) { delete static_cast<Random*>(state); };
  // One entry for both numbers of arguments, because they share the sequence.
  expect_ok(sqlite3_create_function_v2(database, "Rnd", -1, SQLITE_UTF8 | SQLITE_INNOCUOUS, new Random,
                                       random, nullptr, nullptr, destroy));
}

}  // namespace quarno::desktop
