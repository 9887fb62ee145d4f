// INI text: sections in brackets, "key = value" lines, comment lines that begin with "#" or ";". Pure.
#pragma once

#include <string>
#include <string_view>
#include <vector>

namespace quarno::providers {

struct IniEntry {
  std::string section;
  std::string key;
  std::string value;  // everything behind the first "=", so it may hold ";" and "="
  int line = 0;       // counted from 1
};

struct IniProblem {
  int line = 0;
  std::string text;
};

struct IniText {
  std::vector<IniEntry> entries;
  std::vector<IniProblem> problems;  // lines that say nothing; the reader decides whether that matters
};

/// Blanks and tabs around names and values are dropped; CR LF and a byte order mark are understood.
IniText parse_ini(std::string_view text);

}  // namespace quarno::providers
