#include "data/select_text.h"

#include "common/text.h"

namespace quarno::data {
namespace {

std::string composed(const SelectParts& parts, const char* before_from) {
  std::string result =
      "SELECT " + (parts.columns.empty() ? "*" : parts.columns) + before_from + "FROM " + parts.table;
  if (!parts.where.empty()) result += " WHERE " + parts.where;
  if (!parts.group_by.empty()) result += " GROUP BY " + parts.group_by;
  if (!parts.order.empty()) result += " ORDER BY " + parts.order;
  return result;
}

}  // namespace

std::string qualified_table(const ConnectionSettings& settings, const std::string& table) {
  if (settings.kind != Conn_SQL || table.find('.') != std::string::npos) return table;
  return "[" + std::string(text::trim(settings.database)) + "]." + settings.owner + "." + table;
}

std::string select_text(const SelectParts& parts) { return composed(parts, " "); }
std::string fast_select_text(const SelectParts& parts) { return composed(parts, "  "); }

}  // namespace quarno::data
