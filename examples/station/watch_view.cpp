#include "watch_view.h"

#include <algorithm>
#include <array>
#include <charconv>
#include <cmath>
#include <utility>

#include "parameters.h"

namespace station {
namespace {

using namespace std::chrono_literals;

constexpr auto kHour = 1h;
constexpr auto kPatience = 2h;  // after the end of an hour, for the next one to arrive

constexpr std::int32_t rgb(int red, int green, int blue) { return red | green << 8 | blue << 16; }

struct Paint {
  const char* name;
  std::int32_t back, fore;
};
constexpr Paint kWhite{"white", rgb(255, 255, 255), rgb(32, 32, 32)};
constexpr Paint kYellow{"yellow", rgb(255, 224, 64), rgb(0, 0, 0)};
constexpr Paint kRed{"red", rgb(192, 32, 32), rgb(255, 255, 255)};

struct Meaning {
  State state;
  const char* text;
  Paint paint;
};
// In the order of the states.
constexpr Meaning kMeanings[] = {
    {State::valid, "valid", kWhite},
    {State::substituted, "substituted", kYellow},
    {State::not_valid, "not valid", kYellow},
    {State::no_data, "no data", kRed},
    {State::no_time, "no readable time", kRed},
    {State::ahead, "ahead of the clock", kRed},
    {State::late, "late", kRed},
    {State::unreadable, "database cannot be read", kRed},
};

const Meaning& meaning_of(State state) { return kMeanings[static_cast<std::size_t>(state)]; }

State state_of(const Latest& latest, Minute now) {
  if (latest.validity == State::no_data) return State::no_data;
  const auto start = parsed_minute(latest.day, latest.hour);
  if (!start) return State::no_time;
  if (*start > now) return State::ahead;
  if (now - *start > kHour + kPatience) return State::late;
  return latest.value && std::isfinite(*latest.value) ? latest.validity : State::not_valid;
}

// Names and messages come from outside: each stays on its line.
std::string one_line(std::string text) {
  for (char& c : text) {
    if (static_cast<unsigned char>(c) < ' ' || c == 0x7f) c = ' ';
  }
  return text;
}

std::string value_text(const Latest& latest) {
  if (!latest.value) return "-";
  const KnownParameter* const known = known_parameter(latest.parameter);
  constexpr double kTooLongWithDecimals = 1e12;
  std::array<char, 64> buffer;
  const auto [end, fault] = known != nullptr && std::abs(*latest.value) < kTooLongWithDecimals
                                ? std::to_chars(buffer.begin(), buffer.end(), *latest.value,
                                                std::chars_format::fixed, known->unit.decimals)
                                : std::to_chars(buffer.begin(), buffer.end(), *latest.value);
  std::string text(buffer.begin(), end);
  if (known != nullptr) text.append(" ").append(known->unit.text);
  return text;
}

std::string time_text(const Latest& latest) {
  const auto start = parsed_minute(latest.day, latest.hour);
  return start ? minute_text(*start) : one_line(latest.day + " " + latest.hour);
}

std::string state_text(const Latest& latest, State state) {
  std::string text = meaning_of(state).text;
  // A late hour's own validity counts as well.
  if (latest.validity != State::no_data && state != State::valid) {
    text += " (" + one_line(latest.status) + ")";
  }
  return text;
}

std::size_t characters(const std::string& text) {
  return static_cast<std::size_t>(
      std::count_if(text.begin(), text.end(), [](char c) { return (c & 0xc0) != 0x80; }));
}

// Lines of cells, each column as wide as its longest cell.
std::string aligned(const std::vector<std::vector<std::string>>& lines) {
  std::vector<std::size_t> widths;
  for (const auto& line : lines) {
    widths.resize(std::max(widths.size(), line.size()));
    for (std::size_t i = 0; i < line.size(); ++i) widths[i] = std::max(widths[i], characters(line[i]));
  }
  std::string text;
  for (const auto& line : lines) {
    for (std::size_t i = 0; i < line.size(); ++i) {
      text += line[i];
      if (i + 1 < line.size()) text.append(widths[i] - characters(line[i]) + 2, ' ');
    }
    text += "\n";
  }
  return text;
}

}  // namespace

Face face_of(const std::string& station, const Reading& reading, Minute now) {
  std::vector<std::pair<State, const Latest*>> rows;
  for (const Latest& latest : reading.rows) rows.emplace_back(state_of(latest, now), &latest);
  // Worst first: the window may be too small for all of them.
  std::stable_sort(rows.begin(), rows.end(), [](const auto& a, const auto& b) { return a.first > b.first; });
  State worst = rows.empty() ? State::no_data : rows.front().first;
  std::vector<std::vector<std::string>> lines;
  for (const auto& [state, latest] : rows) {
    lines.push_back(
        {one_line(latest->parameter), time_text(*latest), value_text(*latest), state_text(*latest, state)});
  }
  std::string text;
  if (!reading.fault.empty()) {
    worst = State::unreadable;
    text = "since " + minute_text(reading.fault_since) + ": " + one_line(reading.fault) + "\n";
    if (!lines.empty()) text += "last read:\n";
  }
  const Meaning& meaning = meaning_of(worst);
  return {"station " + station + ": " + meaning.text, text + aligned(lines), meaning.paint.name,
          meaning.paint.back, meaning.paint.fore};
}

}  // namespace station
