// The names that a snapshot file gives to the types of columns, both ways.
#pragma once

#include <cstdint>
#include <optional>
#include <string_view>

#include "ado/enums.h"

namespace quarno::ado::persist {

/// Types that only such files bring: their values are decimals, and moments.
inline constexpr DataType kVarNumeric{139};
inline constexpr DataType kFileTime{64};

/// Bits of a field's attributes that nothing but these files tells.
enum FileFieldAttribute : std::int32_t {
  adFldMayDefer = 2,
  adFldUnknownUpdatable = 8,
  adFldRowID = 0x100,
  adFldRowVersion = 0x200,
  adFldCacheDeferred = 0x1000,
};

/// How a type is written.
struct TypeName {
  DataType type;
  std::string_view name;         // dt:type
  std::string_view source_type;  // rs:dbtype; empty when there is none
  std::uint32_t size = 0;        // bytes; 0: the column's own size
  bool is_fixed = false;
};
/// Null for a type that no file can hold.
const TypeName* type_name_of(DataType type);

/// Size of a column of long texts or bytes without a limit of its own.
std::int64_t longest_of(DataType type);
/// The type of its kind that has no limit; any other type than texts and bytes as it is.
DataType unlimited(DataType type);

/// What a file says of a column's type.
struct DeclaredType {
  std::string_view name;  // empty when it says none
  std::string_view source_type;
  bool is_sized = false;
  bool is_fixed = false;
  bool is_long = false;
};
/// Nothing for a name that is no type.
std::optional<DataType> declared_type(const DeclaredType& declared);

}  // namespace quarno::ado::persist
