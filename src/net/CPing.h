// CPing: sends one ICMP echo request and tells whether a reply came back within half a second. Nothing is
// raised. Used on the thread that created it.
#pragma once

#include <cstdint>
#include <string>

#include "automation/automation.h"

namespace quarno {

class CPing : public automation::Automation<CPing> {
 public:
  static constexpr std::string_view kClassName = "CPing";
  static std::span<const automation::Member> members();

  bool Ping(const std::string& Address);

  /// What the last Ping ended with, as text; empty after a success. No member shows it to hosts.
  const std::string& last_message() const { return last_message_; }

 private:
  std::string last_message_;
};

}  // namespace quarno
