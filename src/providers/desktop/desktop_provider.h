// Database files: what a file is, and the session that serves it.
#pragma once

#include "ado/provider.h"

namespace quarno::desktop {

/// Serves "Data Source=" naming a SQLite file, or an empty file, which becomes one.
const ado::Provider& desktop_provider();

inline constexpr const char* kSourceName = "QuarnoFwk Desktop Engine";

}  // namespace quarno::desktop
