// Names to positions, ignoring letter case (ASCII): members of a class, fields of a recordset.
#pragma once

#include <cstdint>
#include <string>
#include <string_view>
#include <vector>

namespace quarno {

class NameIndex {
 public:
  static constexpr std::int32_t kUnknown = -1;

  NameIndex() = default;
  /// The first of several equal names wins. Copies the names.
  explicit NameIndex(std::vector<std::string> names);
  std::int32_t find(std::string_view name) const;

 private:
  std::vector<std::string> names_;
  std::vector<std::int32_t> slots_;  // open addressing; the size is a power of two
};

}  // namespace quarno
