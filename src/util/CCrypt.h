// CCrypt: turns a short text that the host stores into printable hexadecimal and back, with a fixed key. It
// hides a text from a glance and from nobody who wants to read it. Used on the thread that created it.
#pragma once

#include <string>

#include "automation/automation.h"

namespace quarno {

class CCrypt : public automation::Automation<CCrypt> {
 public:
  static constexpr std::string_view kClassName = "CCrypt";
  static std::span<const automation::Member> members();

  std::string Crypt(const std::string& Value);
  std::string Decrypt(const std::string& Value);
};

}  // namespace quarno
