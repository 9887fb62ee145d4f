// Values on their way into a prepared statement.
#pragma once

#include <cstdint>
#include <span>
#include <string>
#include <vector>

#include "common/variant.h"
#include "providers/odbc/dbms.h"
#include "providers/odbc/handles.h"

namespace quarno::odbc {

/// Binds a value to each "?". Both the values and this object have to outlive the execution.
class Parameters {
 public:
  /// Raises a multiple-step error for a value that no column can take.
  Parameters(const Statement& statement, std::span<const Variant> values, const Dbms& dbms);

 private:
  struct Slot {
    std::int64_t integer = 0;
    double real = 0;
    unsigned char bit = 0;
    SQL_TIMESTAMP_STRUCT timestamp{};
    std::string text;
    SQLLEN length = 0;
  };
  struct Bind;

  std::vector<Slot> slots_;
};

}  // namespace quarno::odbc
