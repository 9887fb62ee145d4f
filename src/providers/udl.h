// Data link files: three lines, the last of which is a connection string.
#pragma once

#include <string>
#include <string_view>

#include "ado/connection_string.h"

namespace quarno::providers {

/// The connection string in a data link file's bytes: UTF-16LE or UTF-8 with a byte order mark, else the ANSI
/// code page. Raises -2147467259 "Invalid UDL file: ..." for bytes that are no such file. Pure.
std::string udl_connection_text(std::string_view bytes);

/// The words of a data link file. Raises -2147467259 for a file that is missing, invalid, or names another
/// data link file.
ado::ConnectionString read_udl(const std::string& path);

}  // namespace quarno::providers
