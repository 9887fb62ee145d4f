// Everything goes to ODBC: stands in for the choice of a provider.
#include "providers/odbc/odbc_provider.h"

namespace quarno::ado {

const Provider* find_provider(const ConnectionString&) { return &odbc::odbc_provider(); }

}  // namespace quarno::ado
