// Data sources behind ODBC drivers: the words of a connection string go to the driver manager, and a session
// serves what answers.
#pragma once

#include "ado/provider.h"

namespace quarno::odbc {

/// Serves connection strings whose words are ODBC's own: DRIVER, DSN or FILEDSN, UID, PWD and the driver's
/// keywords.
const ado::Provider& odbc_provider();

inline constexpr const char* kSourceName = "QuarnoFwk ODBC Provider";

}  // namespace quarno::odbc
