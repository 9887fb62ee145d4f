// The commands. Each writes its result to standard output and raises what fails.
#pragma once

#include <string>

#include "arguments.h"

namespace tool {

/// From standard input or the environment, as the command line says; empty when there is none.
std::string password(const Arguments& arguments);

void list_providers();

/// Raises quarnofwk::Error with what the library recorded.
void run_query(const Arguments& arguments);

/// Raises quarno::Error; then there is no new file.
void run_convert(const Arguments& arguments);

}  // namespace tool
