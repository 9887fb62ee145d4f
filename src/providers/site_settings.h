// What a site says about reaching its databases, and which ODBC drivers the machine has. The parsers are
// pure; the readers look the files up anew each time, so that a change counts from the next connection on.
#pragma once

#include <string>
#include <string_view>
#include <vector>

namespace quarno::providers {

struct SiteSettings {
  struct Name {
    std::string name;
    std::string value;
  };
  struct Keyword {
    std::string owner;  // a provider, a driver or a data source name
    std::string name;
    std::string value;
  };
  std::vector<Name> providers;    // provider: an ODBC driver, or ODBC words such as "DSN=x"
  std::vector<Name> drivers;      // what a host calls a driver: the driver that serves it
  std::vector<Keyword> keywords;  // added to the words of a connection
};

/// Raises -2147467259 with the line number for a text that cannot be used.
SiteSettings parse_site_settings(std::string_view text);

/// The drivers that an odbcinst.ini registers, in its order. Lines that say nothing are passed over, as the
/// driver manager does.
std::vector<std::string> driver_names(std::string_view text);

/// The file named by QUARNOFWK_PROVIDERS, else "quarnofwk-providers.ini" in the library's folder, else
/// "/etc/quarnofwk/providers.ini"; "" when there is none. A file named by the variable need not exist.
std::string site_settings_file(const std::string& library_folder);

/// The settings of that file; empty ones when there is no file. Raises -2147467259 for one that cannot be
/// read or used.
SiteSettings read_site_settings(const std::string& library_folder);

/// Drivers registered with the driver manager, read from where it reads them itself: odbcinst.ini (or
/// ODBCINSTINI) in the folder ODBCSYSINI (or /etc).
std::vector<std::string> registered_drivers();

/// A whole file, at most `limit` bytes of it. Raises run-time errors.
std::string file_bytes(const std::string& path, std::size_t limit);

}  // namespace quarno::providers
