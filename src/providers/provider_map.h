// Which data source a connection string reaches, and in which words. Hosts write the words of the provider
// they know; here, and only here, they become those of the driver that is really there. Pure: the site's
// settings and the registered drivers are given.
#pragma once

#include <string>
#include <vector>

#include "ado/connection_string.h"
#include "providers/site_settings.h"

namespace quarno::providers {

enum class Reach {
  none,     // nothing serves it
  desktop,  // a database file or folder
  odbc,     // an ODBC driver or data source
  udl,      // a data link file tells
};

struct Target {
  Reach reach = Reach::none;
  ado::ConnectionString words{};  // for ODBC its own: DSN or DRIVER first; otherwise as they came
  bool shaped = false;            // through the shape service: all else tells of its data provider
  std::string served_by{};        // the ODBC driver or data source, for a reader
  std::string missing{};  // with none: a sentence that says what is not there; "" for an unknown provider
  std::string package{};  // with none: the Debian package that would help, when there is one
};

/// Raises 3001 for "File Name" together with "Provider", and -2147467259 for an ODBC string that names no
/// data source and no driver (a driver manager would take any driver for an empty name).
Target map_target(const ado::ConnectionString& text, const SiteSettings& site,
                  const std::vector<std::string>& drivers);

/// "host\instance,port", each part but the first optional, as the SQL Server providers take it.
struct ServerAddress {
  std::string host;
  std::string instance;
  std::string port;
};
ServerAddress server_address(std::string_view text);

}  // namespace quarno::providers
