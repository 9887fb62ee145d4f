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

/// Raises quarnofwk::Error for a file that cannot be read, std::runtime_error for a setting that is not
/// there, or is not in the file afterwards.
void get_param(const Arguments& arguments);
void set_param(const Arguments& arguments);

/// The cipher text of the text on standard input, which no other user of the machine can see. Raises
/// std::runtime_error for a text that would not come back.
void encrypt();
void decrypt();

}  // namespace tool
