// The bytes of a dBASE table, for folders that are found by the first one in them.
#pragma once

#include <string>

namespace quarno::test {

/// One field, A of one character, and no rows.
inline std::string empty_dbase_table() {
  std::string bytes("\3\x7E\1\1\0\0\0\0\x41\0\2\0", 12);
  bytes.resize(32);
  bytes += "A";
  bytes.resize(43);
  bytes += 'C';
  bytes.resize(48);
  bytes += '\1';
  bytes.resize(64);
  return bytes + "\r\x1A";
}

}  // namespace quarno::test
