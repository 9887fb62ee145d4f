// CError: the error record of data access. A host can create its own; a data-access object hands out the one
// it fills.
#pragma once

#include <cstdint>
#include <string>

#include "automation/automation.h"

namespace quarno {

class CError : public automation::Automation<CError> {
 public:
  static constexpr std::string_view kClassName = "CError";
  static std::span<const automation::Member> members();

  std::int32_t m_Number = 0;  ///< 0 when no error has been recorded
  std::string m_Description;
  std::string m_Source;  ///< where the error arose
};

}  // namespace quarno
