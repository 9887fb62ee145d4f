#include "data/failure_text.h"

#include "common/date_text.h"
#include "common/text.h"

namespace quarno::data {

std::string failure_log_line(Date time, std::string_view context, const ErrorRecord& failure) {
  return text::join({date_text(time, "dd/mm/yyyy hh:nn:ss"), std::string(context), failure.source,
                     std::to_string(failure.number), failure.description},
                    "\t");
}

std::string failure_box_text(std::string_view prefix, const ErrorRecord& failure) {
  return std::string(prefix) + "\r\nNumber : " + std::to_string(failure.number) +
         "\r\nSource : " + failure.source + "\r\nDescription : " + failure.description;
}

void name_duplicate_key(Error& error) {
  // Told by SQLSTATE, never by the text, which differs by engine and language.
  if (error.sql_state == "23505") error.description = "Duplicated Key!";
}

}  // namespace quarno::data
