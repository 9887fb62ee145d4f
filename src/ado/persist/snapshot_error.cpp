#include "ado/persist/snapshot_error.h"

#include "ado/ado_error.h"

namespace quarno::ado::persist {
namespace {

constexpr const char* kSource = "ADODB.Recordset";

}  // namespace

Error no_snapshot(std::string_view detail) {
  std::string text =
      "Recordset cannot be created from the specified source. The source file or stream must contain "
      "Recordset "
      "data in XML or ADTG format.";
  if (!detail.empty()) text.append(" ").append(detail);
  return {kUnspecified, std::move(text), kSource};
}

Error bad_value(std::uint64_t line, std::string_view column) {
  std::string text = "Data provider or other service returned an E_FAIL status. Line ";
  text.append(std::to_string(line)).append(", column '").append(column).append("'.");
  return {kUnspecified, std::move(text), kSource};
}

Error unwritable_value(std::size_t row, std::string_view column, std::string_view reason) {
  std::string text(reason);
  text.append(" (");
  if (row > 0) text.append("row ").append(std::to_string(row)).append(", ");
  text.append("column '").append(column).append("')");
  return {kMultipleStep, std::move(text), kSource};
}

}  // namespace quarno::ado::persist
