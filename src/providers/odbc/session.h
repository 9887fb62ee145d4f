// A session on a connected link.
#pragma once

#include <memory>

#include "ado/provider.h"
#include "providers/odbc/clock.h"
#include "providers/odbc/handles.h"

namespace quarno::odbc {

/// `engine` is what engine_opened_by found, or null.
std::unique_ptr<ado::Session> session_on(std::shared_ptr<Link> link, sqlite3* engine);

}  // namespace quarno::odbc
