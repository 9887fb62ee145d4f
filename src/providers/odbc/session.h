// A session on a connected link.
#pragma once

#include <memory>

#include "ado/provider.h"
#include "providers/odbc/handles.h"

namespace quarno::odbc {

std::unique_ptr<ado::Session> session_on(std::shared_ptr<Link> link);

}  // namespace quarno::odbc
