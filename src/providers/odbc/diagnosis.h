// What a driver says about a failure, and what the object model makes of it.
#pragma once

#include <sql.h>

#include <cstdint>
#include <string>
#include <string_view>

#include "common/error.h"

namespace quarno::odbc {

struct Diagnosis {
  std::string sql_state;  // of the first record that is no warning
  std::int32_t native = 0;
  std::string text;  // of all records, a line each
};

/// Everything the last call on the handle left. Warnings only, or nothing at all, still make a diagnosis.
Diagnosis diagnosis_of(SQLSMALLINT kind, SQLHANDLE handle);

/// The error the object model raises for it. `password` is struck out of the text.
Error error_from(const Diagnosis& diagnosis, std::string_view password, std::string_view statement);

}  // namespace quarno::odbc
