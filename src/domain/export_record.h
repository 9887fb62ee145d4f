// One record of the regional export file, as text.
#pragma once

#include <cstdint>
#include <string>
#include <string_view>

namespace quarno::domain {

struct ExportRecord {
  std::string measuring_point;
  std::string date;  // formatted by the host
  std::int16_t pollutant_code = 0;
  std::int16_t unit_code = 0;
  std::int16_t datum_type = 0;
  std::string validity_flag;  // "S", "X" or "N"
  std::int16_t valid_percentage = 0;
  std::int16_t note_code = 0;
  double value = 0;
  double value_at_reference = 0;
};

/// "00" and "VAL" give "S", "X" gives "X", any other status code "N".
std::string_view validity_flag(std::string_view status);

/// The ten fields joined with "|", without a line end. Numbers have "." and no zero before it.
std::string export_record_text(const ExportRecord& record);

}  // namespace quarno::domain
