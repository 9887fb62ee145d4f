// Sessions of the desktop engine.
#pragma once

#include <memory>
#include <string>

#include "ado/provider.h"
#include "providers/desktop/table_source.h"

namespace quarno::desktop::sqlite {

/// `native_path` must name a SQLite file or an empty one.
std::unique_ptr<ado::Session> open_session(const std::string& native_path);

/// On tables that come from elsewhere.
std::unique_ptr<ado::Session> open_session(std::unique_ptr<TableSource> source);

}  // namespace quarno::desktop::sqlite
