#include "providers/odbc/driver_text.h"

#include <algorithm>
#include <charconv>
#include <iterator>

#include "ado/ado_error.h"
#include "common/text.h"
#include "providers/odbc/dbms.h"
#include "providers/odbc/odbc_provider.h"
#include "providers/sqlite_deadline.h"

namespace quarno::odbc {
namespace {

// Words of the object model and of the providers it knows; all others are a driver's.
constexpr std::string_view kModelWords[] = {
    "Provider",
    "Data Provider",
    "Remote Provider",
    "Remote Server",
    "File Name",
    "Data Source",
    "Initial Catalog",
    "User ID",
    "Extended Properties",
    "Persist Security Info",
    "Integrated Security",
    "Connection Timeout",
    "Connect Timeout",
    "Mode",
    "Prompt",
    "Location",
    "Readtimeout",
    "writetimeout",
    "wait_timeout",
};
constexpr std::string_view kDesktopPrefix = "jet oledb:";

bool is_for_a_driver(std::string_view name) {
  if (text::lower_ascii(name).starts_with(kDesktopPrefix)) return false;
  return std::none_of(std::begin(kModelWords), std::end(kModelWords),
                      [name](std::string_view word) { return text::equal_fold(word, name); });
}

// A driver manager looks at these first.
bool names_the_driver(const Word& word) {
  return text::equal_fold(word.name, "DRIVER") || text::equal_fold(word.name, "DSN") ||
         text::equal_fold(word.name, "FILEDSN");
}

Word* find(std::vector<Word>& words, std::string_view name) {
  const auto found = std::find_if(words.begin(), words.end(),
                                  [&](const Word& word) { return text::equal_fold(word.name, name); });
  return found == words.end() ? nullptr : &*found;
}

void add_if_missing(std::vector<Word>& words, std::string_view name, std::string value) {
  if (find(words, name) == nullptr) words.push_back({std::string(name), std::move(value)});
}

bool names_one_of(std::string_view driver, std::initializer_list<std::string_view> parts) {
  const std::string lower = text::lower_ascii(driver);
  return std::any_of(parts.begin(), parts.end(),
                     [&](std::string_view part) { return lower.find(part) != std::string::npos; });
}

bool is_freetds(std::string_view driver) { return names_one_of(driver, {"freetds", "tdsodbc"}); }

[[noreturn]] void refuse(const Word& word) {
  throw ado::provider_error(ado::kUnspecified,
                            "The value of " + word.name + " cannot be passed to the driver.", kSourceName);
}

// FreeTDS takes the text it connects by for Latin-1, whatever ClientCharset says.
std::string latin_1(const Word& word) {
  std::string result;
  for (std::size_t at = 0; at < word.value.size();) {
    const char32_t character = text::next_character(word.value, at);
    if (character > 0xFF) refuse(word);
    result += static_cast<char>(character);
  }
  return result;
}

// A "}" inside braces is doubled. FreeTDS does not undo that: for it the value ends at a "}" before a ";".
std::string written(const Word& word, std::string_view driver) {
  const bool doubles = !is_freetds(driver);
  const std::string value = doubles ? word.value : latin_1(word);
  if (value.find('\0') != std::string::npos || (!doubles && value.find("};") != std::string::npos))
    refuse(word);
  const bool plain = value.find_first_of(";{}=") == std::string::npos && text::trim(value) == value;
  if (plain && !text::equal_fold(word.name, "DRIVER")) return value;
  return "{" + (doubles ? text::replace_all(value, "}", "}}") : value) + "}";
}

}  // namespace

std::vector<Word> odbc_words(const ado::ConnectionString& text) {
  std::vector<Word> result;
  for (const auto& item : text.items()) {
    if (is_for_a_driver(item.name)) result.push_back({item.name, item.value});
  }
  std::stable_partition(result.begin(), result.end(), names_the_driver);
  return result;
}

void add_driver_words(std::vector<Word>& words, std::string_view driver, std::int32_t timeout_seconds) {
  if (names_one_of(driver, {"mysql", "maria", "maodbc", "myodbc"})) {
    // The login timeout attribute is accepted and ignored.
    if (timeout_seconds > 0) add_if_missing(words, "CONN_TIMEOUT", std::to_string(timeout_seconds));
    add_if_missing(words, "CHARSET", "utf8mb4");
    // An UPDATE counts the rows it finds; without the flag a row that stays the same would look like a
    // conflict.
    constexpr std::uint32_t kFoundRows = 2;
    add_if_missing(words, "OPTION", "0");
    std::string& option = find(words, "OPTION")->value;
    std::uint32_t flags = 0;
    std::from_chars(option.data(), option.data() + option.size(), flags);
    option = std::to_string(flags | kFoundRows);
  } else if (names_one_of(driver, {"postgres", "psqlodbc"})) {
    add_if_missing(words, "BoolsAsChar", "0");
    // Else columns without a length look like those of 255 characters.
    add_if_missing(words, "MaxVarcharSize", std::to_string(kPostgresLongestVarchar));
    // And long texts, to be told from short ones, have to be longer than those.
    add_if_missing(words, "MaxLongVarcharSize", "1073741824");
    add_if_missing(words, "ConnSettings", "SET client_encoding TO 'UTF8'");
  } else if (names_one_of(driver, {"sqlite"})) {
    // The driver would wait 200 s for a lock.
    add_if_missing(words, "Timeout", std::to_string(providers::kLockPatienceMs / 3));
  } else if (is_freetds(driver)) {
    // Left to itself the driver falls back to a protocol of Sybase and to Latin-1.
    add_if_missing(words, "TDS_Version", "7.4");
    add_if_missing(words, "ClientCharset", "UTF-8");
  }
}

std::string driver_text(const std::vector<Word>& words, std::string_view driver) {
  std::string result;
  for (const Word& word : words) {
    const bool may_be_empty = !names_one_of(word.name, {"driver", "dsn", "uid", "user", "pwd", "password"});
    if (word.value.empty() && !may_be_empty) continue;
    result.append(word.name).append("=").append(written(word, driver)).append(";");
  }
  return result;
}

}  // namespace quarno::odbc
