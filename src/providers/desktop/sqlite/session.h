// A session on one SQLite file.
#pragma once

#include <memory>
#include <string>

#include "ado/provider.h"

namespace quarno::desktop::sqlite {

/// `native_path` must name a SQLite file or an empty one.
std::unique_ptr<ado::Session> open_session(const std::string& native_path);

}  // namespace quarno::desktop::sqlite
