// The text handed to the driver manager. Pure text.
#pragma once

#include <cstdint>
#include <string>
#include <string_view>
#include <vector>

#include "ado/connection_string.h"

namespace quarno::odbc {

struct Word {
  std::string name;
  std::string value;
};

/// The words of a connection string that are for ODBC: all but the object model's own, those that name the
/// driver first.
std::vector<Word> odbc_words(const ado::ConnectionString& text);

/// Adds what a driver needs to speak UTF-8, count the rows an UPDATE finds, and give up connecting in time.
/// `driver` is the driver's name or file; words that are there already stay, but for MariaDB's OPTION, which
/// gets a flag more.
void add_driver_words(std::vector<Word>& words, std::string_view driver, std::int32_t timeout_seconds);

/// "NAME=value;" for each word. Empty DSN, UID and PWD are left out: a driver would let them override what
/// the data source holds, or make a file of that name. Raises when the driver has no way to take a value.
std::string driver_text(const std::vector<Word>& words, std::string_view driver);

}  // namespace quarno::odbc
