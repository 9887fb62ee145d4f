#include "data/sql_literal.h"

#include "common/date_text.h"
#include "common/text.h"
#include "data/connection_settings.h"

namespace quarno::data {

std::string text_literal(std::string_view text, bool trim) {
  const std::string doubled = text::replace_all(text, "'", "''");
  return "'" + std::string(trim ? text::trim(doubled) : std::string_view(doubled)) + "'";
}

std::string date_literal(Date date, bool with_hour, std::int32_t kind) {
  switch (kind) {
    case Conn_ODBC: return "'" + date_text(date, with_hour ? "yyyymmdd  hh:mm" : "yyyymmdd ") + "'";
    case Conn_Jet: return "#" + date_text(date, with_hour ? "mm/dd/yyyy  hh:mm:ss" : "mm/dd/yyyy ") + "#";
    default: return "'" + date_text(date, with_hour ? "yyyymmdd hh:mm" : "yyyymmdd") + "'";
  }
}

}  // namespace quarno::data
