// CParam: the host's settings in a flat text file of lines TAG=value, in the system's ANSI code page; no
// sections, comments or quotes. Only GetStringIni raises a platform failure; the other members give false or
// nothing. A file is written whole or not at all, also when the process dies or the disk is full. Used on the
// thread that created it.
#pragma once

#include <optional>
#include <string>

#include "automation/automation.h"
#include "common/ref.h"
#include "common/variant.h"

namespace quarno {

class CParam : public automation::Automation<CParam> {
 public:
  static constexpr std::string_view kClassName = "CParam";
  static std::span<const automation::Member> members();

  CParam();

  std::string ParamFile() const { return param_file_; }
  void set_ParamFile(const std::string& value) { param_file_ = value; }

  bool GetIniString(Ref<std::string> TagString, Ref<std::string> str);
  std::string GetStringIni(Ref<std::string> TagString);
  Variant SetStringIni(Ref<std::string> TagString, const std::string& Value);
  bool Exist();

 private:
  // The value of the first line that holds the tag; nothing when there is none, or no file.
  std::optional<std::string> value(Ref<std::string>& tag);
  void change(Ref<std::string>& tag, const std::string& value);
  // A path with "*" or "?" finds files, but names none: raises 52.
  void refuse_pattern() const;

  std::string param_file_;
};

}  // namespace quarno
