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

/// The values of one row in the form a driver takes them. What it points to lies in the values it was made
/// from, or in itself.
class Parameters {
 public:
  /// Raises a multiple-step error for a value that no column can take.
  Parameters(std::span<const Variant> values, const Dbms& dbms);
  Parameters(Parameters&&) = default;
  Parameters(const Parameters&) = delete;
  Parameters& operator=(const Parameters&) = delete;

  /// Binds each to its "?". Both the values and this object have to outlive the execution.
  void bind(const Statement& statement);

 private:
  friend class ParameterRows;
  struct Slot {
    SQLSMALLINT c_type = SQL_C_CHAR;
    SQLSMALLINT type = SQL_VARCHAR;
    SQLULEN size = 1;
    SQLSMALLINT digits = 0;
    const void* data = nullptr;  // null: in this slot itself
    SQLLEN length = SQL_NULL_DATA;
    union {
      std::int64_t integer;
      double real;
      unsigned char bit;
      SQL_TIMESTAMP_STRUCT timestamp;
    } own{};
    std::string text;

    const void* bytes() const {
      if (data != nullptr) return data;
      return text.empty() ? static_cast<const void*>(&own) : text.data();
    }
  };
  struct Encode;

  std::vector<Slot> slots_;
};

/// The same for many rows that are written by one execution. Empty, and binding nothing, when the rows do not
/// go together: values of one column in different forms, or too long for a block.
class ParameterRows {
 public:
  ParameterRows(std::span<const std::vector<Variant>> rows, const Dbms& dbms);

  bool empty() const { return columns_.empty(); }
  void bind(const Statement& statement);
  /// The statement takes single rows again.
  static void unbind(const Statement& statement);

 private:
  struct ColumnBlock {
    Parameters::Slot form;
    std::size_t width = 1;
    std::vector<char> values;
    std::vector<SQLLEN> lengths;
  };

  std::size_t row_count_;
  std::vector<ColumnBlock> columns_;
};

}  // namespace quarno::odbc
