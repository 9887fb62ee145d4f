#include "providers/odbc/odbc_provider.h"

#include <array>

#include "ado/ado_error.h"
#include "common/text.h"
#include "providers/odbc/driver_text.h"
#include "providers/odbc/handles.h"
#include "providers/odbc/session.h"

namespace quarno::odbc {
namespace {

std::string value_of(const std::vector<Word>& words, std::string_view name) {
  for (const Word& word : words) {
    if (text::equal_fold(word.name, name)) return word.value;
  }
  return {};
}

// Calls `see` with each name the driver manager lists and what it says of it, until one is taken.
template <class List, class See>
void each_listed(const List& list, See&& see) {
  std::array<SQLCHAR, 256> name{};
  std::array<SQLCHAR, 4096> about{};
  SQLSMALLINT name_length = 0;
  SQLSMALLINT length = 0;
  for (SQLUSMALLINT direction = SQL_FETCH_FIRST;; direction = SQL_FETCH_NEXT) {
    about.fill(0);
    const SQLRETURN result = list(direction, name.data(), static_cast<SQLSMALLINT>(name.size()), &name_length,
                                  about.data(), static_cast<SQLSMALLINT>(about.size() - 2), &length);
    if (!SQL_SUCCEEDED(result)) return;
    if (see(reinterpret_cast<const char*>(name.data()), reinterpret_cast<const char*>(about.data()))) return;
  }
}

// The driver's name or file behind a data source, as the driver manager lists it; empty when it does not.
std::string driver_of(const Link& link, const std::string& source) {
  std::string driver;
  each_listed([&](auto... words) { return SQLDataSources(link.environment(), words...); },
              [&](const char* name, const char* about) {
                if (!text::equal_fold(name, source)) return false;
                driver = about;
                return true;
              });
  return driver;
}

// The name of a driver together with its file: a site may register a driver under any name.
std::string with_library(const Link& link, const std::string& driver) {
  std::string result = driver;
  constexpr std::string_view kFile = "Driver=";
  each_listed([&](auto... words) { return SQLDrivers(link.environment(), words...); },
              [&](const char* name, const char* about) {
                if (!text::equal_fold(name, driver)) return false;
                // A list of texts, the last one empty.
                for (std::string_view each = about; !each.empty(); each = each.data() + each.size() + 1) {
                  if (text::equal_fold(each.substr(0, kFile.size()), kFile))
                    result.append(" ").append(each.substr(kFile.size()));
                }
                return true;
              });
  return result;
}

class OdbcProvider : public ado::Provider {
 public:
  std::unique_ptr<ado::Session> open(const ado::ConnectionString& text,
                                     std::int32_t timeout_seconds) const override {
    std::vector<Word> words = odbc_words(text);
    std::string driver = value_of(words, "DRIVER");
    const std::string source = value_of(words, "DSN");
    if (driver.empty() && source.empty() && value_of(words, "FILEDSN").empty()) {
      // The driver manager would take any driver, which may make a file of that name.
      Error error = ado::provider_error(
          ado::kUnspecified, "Data source name not found and no default driver specified.", kSourceName);
      error.sql_state = "IM002";
      throw error;
    }
    auto link = std::make_shared<Link>();
    if (driver.empty()) driver = driver_of(*link, source);
    driver = with_library(*link, driver);
    add_driver_words(words, driver, timeout_seconds);
    std::string password = value_of(words, "PWD");
    if (password.empty()) password = value_of(words, "PASSWORD");
    if (timeout_seconds > 0) link->set(SQL_ATTR_LOGIN_TIMEOUT, static_cast<SQLULEN>(timeout_seconds));
    sqlite3* engine = nullptr;
    const auto connect = [&] { link->connect(driver_text(words, driver), std::move(password)); };
    if (text::lower_ascii(driver).find("sqlite") != std::string::npos) {
      engine = engine_opened_by(connect);
    } else {
      connect();
    }
    return session_on(std::move(link), engine);
  }
};

}  // namespace

const ado::Provider& odbc_provider() {
  static const OdbcProvider instance;
  return instance;
}

}  // namespace quarno::odbc
