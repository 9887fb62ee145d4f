#include "domain/export_record.h"

#include "common/number_text.h"
#include "common/text.h"
#include "domain/status_codes.h"

namespace quarno::domain {

std::string_view validity_flag(std::string_view status) {
  if (is_valid_status(status)) return "S";
  return status == "X" ? "X" : "N";
}

std::string export_record_text(const ExportRecord& r) {
  return text::join(
      {r.measuring_point, r.date, std::to_string(r.pollutant_code), std::to_string(r.unit_code),
       std::to_string(r.datum_type), r.validity_flag, std::to_string(r.valid_percentage),
       std::to_string(r.note_code), invariant_text(r.value), invariant_text(r.value_at_reference)},
      "|");
}

}  // namespace quarno::domain
