// What an Access file says of a table: its columns, indexes and where its rows lie. Plain values.
#pragma once

#include <cstdint>
#include <optional>
#include <string>
#include <vector>

namespace quarno::desktop::access {

enum class ColumnType : std::uint8_t {
  boolean = 1,
  byte = 2,
  integer = 3,       // 16 bits
  long_integer = 4,  // 32 bits
  currency = 5,
  single = 6,
  real = 7,
  date = 8,
  binary = 9,
  text = 10,
  ole = 11,
  memo = 12,
  guid = 15,
  decimal = 16,
  long_binary = 17,  // of a fixed length
  complex = 18,      // the key of rows that a hidden table holds
  big_integer = 19,
  extended_date = 20,
};

struct Column {
  std::string name;
  ColumnType type{};  // of a calculated column: of its result
  bool is_autonumber = false;
  bool is_calculated = false;
  std::uint16_t length = 0;  // bytes of texts and binaries
  std::uint8_t precision = 0;
  std::uint8_t scale = 0;
  // What the properties say; their defaults.
  bool is_required = false;
  bool allows_empty_text = true;
  std::string default_value;  // an expression; empty: none
  std::string description;

  // How it is stored.
  std::uint16_t number = 0;    // its bit among the nulls
  std::uint16_t position = 0;  // in the order of the design
  bool is_fixed = false;
  std::uint16_t fixed_offset = 0;
  std::uint16_t variable_index = 0;
  int code_page = 0;  // of Jet 3 text; 0: the file's own
  ColumnType stored_type{};
};

struct IndexColumn {
  std::size_t column = 0;  // place in TableDesign::columns
  bool descending = false;
};

struct Index {
  std::string name;
  std::vector<IndexColumn> columns;
  bool is_primary = false;
  bool is_unique = false;
  bool ignores_nulls = false;
  bool is_required = false;  // none of its columns may be null
  bool is_foreign_key = false;
};

struct TableDesign {
  std::uint32_t page = 0;
  std::vector<Column> columns;  // in the order of SELECT *
  std::vector<Index> indexes;
  bool indexes_are_damaged = false;  // some could not be read
  bool is_system = false;
  std::uint32_t row_count = 0;        // as the file has it: a hint
  std::uint32_t last_autonumber = 0;  // the last one given
  std::string description;

  std::uint32_t usage_map = 0;  // a row pointer
  std::uint16_t columns_ever = 0;
  bool has_variable_columns = false;

  const Column* find(std::string_view name) const;
};

}  // namespace quarno::desktop::access
