// CSysUtils: lets the user choose a file, opens a document with the application registered for it, and prints
// one. It holds no state. Used on the thread that created it.
#pragma once

#include <cstdint>
#include <string>

#include "automation/automation.h"
#include "common/ref.h"

namespace quarno {

class CSysUtils : public automation::Automation<CSysUtils> {
 public:
  static constexpr std::string_view kClassName = "CSysUtils";
  static std::span<const automation::Member> members();

  std::string GetFileName(Ref<std::string> sFilter, Ref<std::string> InitialDir, std::int32_t HwndParent);
  std::int32_t StartDoc(const std::string& DocName);
  std::int32_t PrintDoc(const std::string& DocName);
};

}  // namespace quarno
