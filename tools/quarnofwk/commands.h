// The commands. Each writes its result to standard output and raises what fails.
#pragma once

#include "arguments.h"

namespace tool {

void list_providers();

/// Raises quarnofwk::Error with what the library recorded.
void run_query(const Arguments& arguments);

}  // namespace tool
