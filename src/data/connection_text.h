// Settings to connection string, for each kind of database. Pure.
#pragma once

#include <string>

#include "data/connection_settings.h"

namespace quarno::data {

/// The connection string of the settings' kind, to the letter; a UDL file takes its place. `version` must be
/// in upper case already for the SQL Server family.
std::string connection_text(const ConnectionSettings& settings);

/// Whether the kind is built as SQL Server.
bool is_sql_server_family(std::int32_t kind);

/// Whether the desktop file's password goes to the connection's "Jet OLEDB:Database Password" property
/// instead of into the string.
bool password_is_property(const ConnectionSettings& settings);

}  // namespace quarno::data
