#include "providers/provider_map.h"

#include <algorithm>
#include <array>
#include <initializer_list>
#include <optional>

#include "ado/ado_error.h"
#include "common/text.h"
#include "providers/odbc/driver_text.h"
#include "providers/odbc/odbc_provider.h"

namespace quarno::providers {
namespace {

using ado::ConnectionString;
using Names = std::array<std::string_view, 4>;  // unused places are empty

// Which driver stands in for which. What a host asks for and what is registered are told by how the names
// begin, since they carry version numbers.
struct DriverFamily {
  std::string_view what;
  Names asked;
  Names registered;  // the most wanted first
  std::string_view package;
};

constexpr DriverFamily kSqlServer = {
    "SQL Server",
    {"SQL Server", "SQL Native Client", "ODBC Driver", "FreeTDS"},
    {"ODBC Driver 18 for SQL Server", "ODBC Driver 17 for SQL Server", "FreeTDS"},
    "tdsodbc"};
constexpr DriverFamily kOracle = {"Oracle", {"Oracle", "Microsoft ODBC for Oracle"}, {"Oracle"}, ""};
constexpr DriverFamily kOtherFamilies[] = {
    {"MySQL or MariaDB", {"MySQL", "MariaDB"}, {"MariaDB", "MySQL"}, "odbc-mariadb"},
    {"PostgreSQL", {"PostgreSQL"}, {"PostgreSQL Unicode", "PostgreSQL"}, "odbc-postgresql"},
    {"SQLite", {"SQLite"}, {"SQLite3"}, "libsqliteodbc"},
};

bool begins_with(std::string_view name, std::string_view beginning) {
  return text::equal_fold(name.substr(0, beginning.size()), beginning);
}

bool contains(const std::string& name, std::string_view part) {
  return text::lower_ascii(name).find(part) != std::string::npos;
}

// A provider is named with or without its version: "SQLOLEDB" also means "SQLOLEDB.1".
bool is_provider(std::string_view name, std::string_view asked) {
  return begins_with(asked, name) && (asked.size() == name.size() || asked[name.size()] == '.');
}

bool is_free_tds(const std::string& driver) {
  return contains(driver, "freetds") || contains(driver, "tdsodbc");
}
bool is_mariadb(const std::string& driver) {
  return contains(driver, "mariadb") || contains(driver, "maodbc");
}
bool is_oracle(const std::string& driver) { return begins_with(driver, kOracle.what); }
bool is_path(const std::string& driver) {
  return driver.find('/') != std::string::npos || driver.ends_with(".so");
}

const DriverFamily* family_of(const std::string& driver) {
  const auto belongs = [&](const DriverFamily& family) {
    return std::any_of(family.asked.begin(), family.asked.end(), [&](std::string_view beginning) {
      return !beginning.empty() && begins_with(driver, beginning);
    });
  };
  for (const DriverFamily& family : kOtherFamilies) {
    if (belongs(family)) return &family;
  }
  return belongs(kSqlServer) ? &kSqlServer : belongs(kOracle) ? &kOracle : nullptr;
}

// The value of the first of the words that says something.
std::string first_of(const ConnectionString& words, std::initializer_list<std::string_view> names) {
  for (const std::string_view name : names) {
    if (std::string value = words.value_or(name, ""); !value.empty()) return value;
  }
  return {};
}

void set_filled(ConnectionString& words, std::string_view name, std::string value) {
  if (!value.empty()) words.set(name, std::move(value));
}

// Adds the words of another string that are a driver's business; they are stronger.
void overlay(ConnectionString& words, const ConnectionString& stronger) {
  for (auto& word : odbc::odbc_words(stronger)) words.set(word.name, std::move(word.value));
}

// Words that are set apart from the rest, so that they stand first or are translated.
bool is_set_apart(std::string_view name) {
  constexpr std::string_view kApart[] = {
      "DSN", "DRIVER", "UID", "PWD", "USER", "PASSWORD",
      // The drivers these were written for passed them over; a newer driver may know them, and a statement
      // that runs longer than a second would then cost the connection.
      "Readtimeout", "writetimeout", "wait_timeout"};
  return std::any_of(std::begin(kApart), std::end(kApart),
                     [&](std::string_view apart) { return text::equal_fold(name, apart); });
}

class Mapper {
 public:
  Mapper(const ConnectionString& text, const SiteSettings& site, const std::vector<std::string>& drivers)
      : text_(text), site_(site), drivers_(drivers) {}

  Target map() const {
    const std::string provider = text_.value_or("Provider", "");
    if (!text_.value_or("File Name", "").empty()) {
      if (!provider.empty()) throw ado::model_error(ado::Model::invalid_argument, "ADODB.Connection");
      return {.reach = Reach::udl, .words = text_};
    }
    const bool shaped = is_provider("MSDataShape", provider);
    Target target =
        reached_by(shaped || provider.empty() ? text_.value_or("Data Provider", "") : provider, shaped);
    target.shaped = shaped;
    return target;
  }

 private:
  Target reached_by(const std::string& provider, bool shaped) const {
    if (const auto* route = site_route(provider)) return by_site(provider, route->value);
    for (const std::string_view engine : {"Microsoft.Jet.OLEDB", "Microsoft.ACE.OLEDB"}) {
      if (begins_with(provider, engine)) return desktop(provider);
    }
    for (const std::string_view name : {"SQLOLEDB", "SQLNCLI", "MSOLEDBSQL"}) {
      if (begins_with(provider, name)) return by_family(provider, kSqlServer);
    }
    for (const std::string_view name : {"OraOLEDB", "MSDAORA"}) {
      if (begins_with(provider, name)) return by_family(provider, kOracle);
    }
    const bool names_odbc = text_.find("DSN") || text_.find("DRIVER") || text_.find("FILEDSN");
    if (is_provider("MSDASQL", provider) || (provider.empty() && !shaped && names_odbc))
      return as_it_stands();
    return {};
  }

  Target desktop(const std::string& provider) const {
    Target target{.reach = Reach::desktop, .words = text_};
    add_keywords(target, provider);
    return target;
  }

  const SiteSettings::Name* site_route(const std::string& provider) const {
    const SiteSettings::Name* found = nullptr;
    for (const auto& route : site_.providers) {
      // The name that says more wins, and of the same name the last.
      if (is_provider(route.name, provider) &&
          (found == nullptr || route.name.size() >= found->name.size())) {
        found = &route;
      }
    }
    return found;
  }

  Target by_site(const std::string& provider, const std::string& value) const {
    ConnectionString words;
    if (value.find('=') == std::string::npos) {
      words.set("DRIVER", value);
    } else {
      words = ConnectionString::parse(value);
    }
    if (!first_of(words, {"DSN", "FILEDSN"}).empty()) return translated(provider, words, {});
    return by_driver(words.value_or("DRIVER", ""), [&](const std::string& driver) {
      words.set("DRIVER", driver);
      return translated(provider, words, driver);
    });
  }

  Target by_family(const std::string& provider, const DriverFamily& family) const {
    const std::string driver = registered_of(family);
    if (driver.empty()) return not_registered(family);
    ConnectionString words;
    words.set("DRIVER", driver);
    return translated(provider, words, driver);
  }

  // `given` is what the site or the choice of a driver says, and is stronger than what the host says.
  Target translated(const std::string& provider, const ConnectionString& given,
                    const std::string& driver) const {
    Target target{.reach = Reach::odbc};
    ConnectionString& words = target.words;
    for (const std::string_view name : {"DSN", "FILEDSN", "DRIVER"})
      set_filled(words, name, first_of(given, {name}));
    const std::string source = first_of(text_, {"Data Source", "SERVER"});
    if (is_oracle(driver)) {
      set_filled(words, "DBQ", source);
    } else {
      // A data source that the site names knows its server.
      if (!driver.empty()) {
        set_filled(words, "SERVER", source);
        set_filled(words, "PORT", first_of(text_, {"PORT"}));
      }
      set_filled(words, "DATABASE", first_of(text_, {"Initial Catalog", "DATABASE"}));
    }
    if (is_trusted() && family_of(driver) == &kSqlServer) {
      words.set("Trusted_Connection", "Yes");
    } else {
      add_login(words, text_);
    }
    set_filled(words, "APP", first_of(text_, {"Application Name"}));
    set_filled(words, "WSID", first_of(text_, {"Workstation ID"}));
    overlay(words, given);
    finish(target, provider, driver);
    return target;
  }

  bool is_trusted() const {
    const std::string value = text_.value_or("Integrated Security", "");
    return text::equal_fold(value, "SSPI") || text::equal_fold(value, "yes") ||
           text::equal_fold(value, "true");
  }

  // An empty name or password would take the place of what a data source has of its own.
  static void add_login(ConnectionString& words, const ConnectionString& from) {
    set_filled(words, "UID", first_of(from, {"User ID", "UID", "USER"}));
    set_filled(words, "PWD", first_of(from, {"Password", "PWD"}));
  }

  Target as_it_stands() const {
    ConnectionString from = ConnectionString::parse(text_.value_or("Extended Properties", ""));
    overlay(from, text_);
    for (const std::string_view name : {"Data Source", "Initial Catalog", "User ID", "Password"}) {
      set_filled(from, name, text_.value_or(name, ""));
    }
    ConnectionString words;
    const auto add_the_rest = [&](const std::string& driver) {
      Target target{.reach = Reach::odbc, .words = words};
      for (auto& word : odbc::odbc_words(from)) {
        if (!is_set_apart(word.name)) target.words.set(word.name, std::move(word.value));
      }
      set_filled(target.words, "DATABASE", first_of(from, {"Initial Catalog"}));
      add_login(target.words, from);
      finish(target, "MSDASQL", driver);
      return target;
    };
    const std::string source = first_of(from, {"DSN", "Data Source"});
    const std::string driver = first_of(from, {"DRIVER"});
    if (!source.empty()) {
      words.set("DSN", source);
      return add_the_rest({});
    }
    if (!driver.empty()) {
      return by_driver(driver, [&](const std::string& found) {
        words.set("DRIVER", found);
        return add_the_rest(found);
      });
    }
    if (first_of(from, {"FILEDSN"}).empty()) {
      Error error =
          ado::provider_error(ado::kUnspecified, "Data source name not found and no default driver specified",
                              "QuarnoFwk ODBC Provider");
      error.sql_state = "IM002";
      throw error;
    }
    return add_the_rest({});
  }

  // Gives the driver that serves `asked` to `use`, or says what is missing.
  template <class Use>
  Target by_driver(const std::string& asked, Use&& use) const {
    std::string wanted = asked;
    for (const auto& alias : site_.drivers) {
      if (text::equal_fold(alias.name, asked)) wanted = alias.value;
    }
    if (is_path(wanted)) return use(wanted);
    for (const std::string& driver : drivers_) {
      if (text::equal_fold(driver, wanted)) return use(driver);
    }
    const DriverFamily* const family = family_of(wanted);
    if (family == nullptr) {
      return {.missing = "No ODBC driver is registered under the name \"" + wanted + "\"."};
    }
    const std::string driver = registered_of(*family);
    return driver.empty() ? not_registered(*family, wanted) : use(driver);
  }

  std::string registered_of(const DriverFamily& family) const {
    for (const std::string_view beginning : family.registered) {
      std::string found;
      for (const std::string& driver : drivers_) {
        if (beginning.empty() || !begins_with(driver, beginning)) continue;
        // Of a driver's two builds the one for Unicode loses no character.
        if (found.empty() || (contains(driver, "unicode") && !contains(found, "unicode"))) found = driver;
      }
      if (!found.empty()) return found;
    }
    return {};
  }

  static Target not_registered(const DriverFamily& family, const std::string& wanted = {}) {
    std::string names = wanted;
    for (const std::string_view name : family.registered) {
      if (name.empty() || text::equal_fold(name, wanted)) continue;
      names += (names.empty() ? "" : ", ") + std::string(name);
    }
    return {.missing = "No ODBC driver for " + std::string(family.what) +
                       " is registered. Looked for: " + names + ".",
            .package = std::string(family.package)};
  }

  // What the driver itself needs, and what the site adds.
  void finish(Target& target, const std::string& provider, const std::string& driver) const {
    ConnectionString& words = target.words;
    if (is_free_tds(driver)) {
      // With "host,port" in Server this driver sends a broken server name to the server.
      const ServerAddress server = server_address(words.value_or("SERVER", ""));
      std::string port = first_of(words, {"PORT"});
      if (port.empty()) port = server.port.empty() && server.instance.empty() ? "1433" : server.port;
      set_filled(words, "SERVER", port.empty() ? server.host + "\\" + server.instance : server.host);
      set_filled(words, "PORT", port);
    }
    if (is_mariadb(driver)) {
      set_filled(words, "CONN_TIMEOUT", first_of(text_, {"Connection Timeout", "Connect Timeout"}));
    }
    target.served_by = driver.empty() ? first_of(words, {"DSN", "FILEDSN"}) : driver;
    add_keywords(target, provider);
  }

  void add_keywords(Target& target, const std::string& provider) const {
    for (const auto& keyword : site_.keywords) {
      if (is_provider(keyword.owner, provider) || text::equal_fold(keyword.owner, target.served_by)) {
        target.words.set(keyword.name, keyword.value);
      }
    }
  }

  const ConnectionString& text_;
  const SiteSettings& site_;
  const std::vector<std::string>& drivers_;
};

}  // namespace

ServerAddress server_address(std::string_view text) {
  text = text::trim(text);
  if (begins_with(text, "tcp:")) text.remove_prefix(4);
  ServerAddress address;
  if (const auto comma = text.find(','); comma != std::string_view::npos) {
    address.port = text::trim(text.substr(comma + 1));
    text = text.substr(0, comma);
  }
  if (const auto slash = text.find('\\'); slash != std::string_view::npos) {
    address.instance = text::trim(text.substr(slash + 1));
    text = text.substr(0, slash);
  }
  address.host = text::trim(text);
  if (address.host.empty() || address.host == "." || text::equal_fold(address.host, "(local)")) {
    address.host = "localhost";
  }
  return address;
}

Target map_target(const ConnectionString& text, const SiteSettings& site,
                  const std::vector<std::string>& drivers) {
  return Mapper(text, site, drivers).map();
}

}  // namespace quarno::providers
