// Access files written by other programs, where they are there, and the values of a table as text.
#pragma once

#include <charconv>
#include <cstdio>
#include <cstdlib>
#include <filesystem>
#include <string>

#include "providers/desktop/access/database.h"

namespace quarno::test {

/// The folder of real files; it need not exist.
inline std::filesystem::path real_files(const char* kind) {
  const char* const own = std::getenv("QUARNOFWK_SHARED_DATA");
  const auto repository = std::filesystem::path(__FILE__).parent_path() / "../../..";
  return (own != nullptr ? std::filesystem::path(own) : repository / "../shared/data") / kind;
}

/// A cell as the checked contents beside the real files have it.
inline std::string cell_text(const desktop::access::Cell& cell, const desktop::access::Column& column) {
  using Kind = desktop::access::Cell::Kind;
  using desktop::access::ColumnType;
  char buffer[400];
  const auto shortest = [&](auto value) {
    return std::string(buffer, std::to_chars(buffer, buffer + sizeof buffer, value).ptr);
  };
  switch (cell.kind) {
    case Kind::null: return "\\N";
    case Kind::whole: return std::to_string(column.type == ColumnType::boolean ? -cell.whole : cell.whole);
    case Kind::currency:
      return cell.whole % 10000 == 0 ? std::to_string(cell.whole / 10000) + ".0000"
                                     : Currency{cell.whole}.to_decimal().text();
    case Kind::decimal: return cell.decimal.text();
    case Kind::real: {
      if (column.type == ColumnType::single) return shortest(static_cast<float>(cell.real));
      if (column.type != ColumnType::date && column.type != ColumnType::extended_date)
        return shortest(cell.real);
      const CivilTime t = civil_from_date({cell.real});
      std::snprintf(buffer, sizeof buffer, "%04d-%02d-%02d %02d:%02d:%02d.%03d", t.year, t.month, t.day,
                    t.hour, t.minute, t.second, t.microsecond / 1000);
      return buffer;
    }
    case Kind::bytes: {
      std::string hex;
      for (const char c : cell.text) {
        std::snprintf(buffer, sizeof buffer, "%02X", static_cast<unsigned char>(c));
        hex += buffer;
      }
      return hex;
    }
    case Kind::text: break;
  }
  std::string escaped;
  for (const char c : cell.text) {
    switch (c) {
      case '\n': escaped += "\\n"; break;
      case '\r': escaped += "\\r"; break;
      case '\t': escaped += "\\t"; break;
      case '\\': escaped += "\\\\"; break;
      default: escaped += c;
    }
  }
  return escaped;
}

}  // namespace quarno::test
