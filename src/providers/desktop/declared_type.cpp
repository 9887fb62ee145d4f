#include "providers/desktop/declared_type.h"

#include <array>
#include <charconv>

#include "common/text.h"

namespace quarno::desktop {
namespace {

using ado::DataType;

constexpr std::int64_t kMemoCharacters = 536'870'910;
constexpr std::int64_t kLongBytes = 1'073'741'823;

enum class Sizing { fixed, text, memo, binary, blob, number };

struct Row {
  std::string_view name;
  DataType type;
  Sizing sizing;
  std::int64_t size;  // bytes of a fixed type, the size of a text without one
  std::uint8_t precision = 255;
};

// REAL is a double here, not a single: files of other programs keep eight-byte numbers in it, and reading
// those as singles would change them.
constexpr Row kRows[] = {
    {"BOOLEAN", DataType::boolean, Sizing::fixed, 2},
    {"BOOL", DataType::boolean, Sizing::fixed, 2},
    {"YESNO", DataType::boolean, Sizing::fixed, 2},
    {"LOGICAL", DataType::boolean, Sizing::fixed, 2},
    {"BIT", DataType::boolean, Sizing::fixed, 2},
    {"TINYINT", DataType::unsigned_tiny_int, Sizing::fixed, 1, 3},
    {"BYTE", DataType::unsigned_tiny_int, Sizing::fixed, 1, 3},
    {"SMALLINT", DataType::small_int, Sizing::fixed, 2, 5},
    {"SHORT", DataType::small_int, Sizing::fixed, 2, 5},
    {"INT2", DataType::small_int, Sizing::fixed, 2, 5},
    {"INTEGER", DataType::integer, Sizing::fixed, 4, 10},
    {"INT", DataType::integer, Sizing::fixed, 4, 10},
    {"MEDIUMINT", DataType::integer, Sizing::fixed, 4, 10},
    {"LONG", DataType::integer, Sizing::fixed, 4, 10},
    {"COUNTER", DataType::integer, Sizing::fixed, 4, 10},
    {"BIGINT", DataType::big_int, Sizing::fixed, 8, 19},
    {"INT8", DataType::big_int, Sizing::fixed, 8, 19},
    {"SINGLE", DataType::single, Sizing::fixed, 4, 7},
    {"FLOAT4", DataType::single, Sizing::fixed, 4, 7},
    {"REAL", DataType::real, Sizing::fixed, 8, 15},
    {"DOUBLE", DataType::real, Sizing::fixed, 8, 15},
    {"DOUBLE PRECISION", DataType::real, Sizing::fixed, 8, 15},
    {"FLOAT", DataType::real, Sizing::fixed, 8, 15},
    {"FLOAT8", DataType::real, Sizing::fixed, 8, 15},
    {"NUMBER", DataType::real, Sizing::number, 8, 15},
    {"CURRENCY", DataType::currency, Sizing::fixed, 8, 19},
    {"MONEY", DataType::currency, Sizing::fixed, 8, 19},
    {"DECIMAL", DataType::real, Sizing::number, 8, 15},
    {"NUMERIC", DataType::real, Sizing::number, 8, 15},
    {"DATETIME", DataType::date, Sizing::fixed, 8},
    {"TIMESTAMP", DataType::date, Sizing::fixed, 8},
    {"DATE", DataType::date, Sizing::fixed, 8},
    {"TIME", DataType::date, Sizing::fixed, 8},
    {"VARCHAR", DataType::var_wchar, Sizing::text, 255},
    {"NVARCHAR", DataType::var_wchar, Sizing::text, 255},
    {"CHAR", DataType::var_wchar, Sizing::text, 255},
    {"NCHAR", DataType::var_wchar, Sizing::text, 255},
    {"CHARACTER", DataType::var_wchar, Sizing::text, 255},
    {"STRING", DataType::var_wchar, Sizing::text, 255},
    {"TEXT", DataType::var_wchar, Sizing::memo, kMemoCharacters},
    {"LONGTEXT", DataType::long_var_wchar, Sizing::memo, kMemoCharacters},
    {"MEMO", DataType::long_var_wchar, Sizing::memo, kMemoCharacters},
    {"CLOB", DataType::long_var_wchar, Sizing::memo, kMemoCharacters},
    {"BINARY", DataType::var_binary, Sizing::binary, 510},
    {"VARBINARY", DataType::var_binary, Sizing::binary, 510},
    {"BLOB", DataType::var_binary, Sizing::blob, kLongBytes},
    {"LONGBLOB", DataType::long_var_binary, Sizing::blob, kLongBytes},
    {"IMAGE", DataType::long_var_binary, Sizing::blob, kLongBytes},
    {"LONGBINARY", DataType::long_var_binary, Sizing::blob, kLongBytes},
    {"OLEOBJECT", DataType::long_var_binary, Sizing::blob, kLongBytes},
    {"GUID", DataType::guid, Sizing::fixed, 16},
    {"GUIDTEXT", DataType::guid, Sizing::fixed, 16},
    {"UNIQUEIDENTIFIER", DataType::guid, Sizing::fixed, 16},
};

// The numbers in "(18, 4)"; how many there are.
std::size_t read_sizes(std::string_view text, std::array<std::int64_t, 2>& sizes) {
  std::size_t count = 0;
  for (const std::string_view piece : text::split(text, ",")) {
    const std::string_view digits = text::trim(piece);
    std::int64_t value = 0;
    const auto result = std::from_chars(digits.data(), digits.data() + digits.size(), value);
    if (count == sizes.size() || result.ec != std::errc() || value < 0) break;
    sizes[count++] = value;
  }
  return count;
}

}  // namespace

DeclaredType declared_type(std::string_view declaration) {
  const auto parenthesis = declaration.find('(');
  const std::string_view name = text::trim(declaration.substr(0, parenthesis));
  std::array<std::int64_t, 2> sizes{};
  std::size_t size_count = 0;
  if (parenthesis != std::string_view::npos) {
    const auto end = declaration.find(')', parenthesis);
    size_count = read_sizes(declaration.substr(parenthesis + 1, end - parenthesis - 1), sizes);
  }
  DeclaredType result;
  result.defined_size = 255;
  for (const Row& row : kRows) {
    if (!text::equal_fold(row.name, name)) continue;
    result.type = row.type;
    result.defined_size = row.size;
    result.precision = row.precision;
    const bool sized = size_count > 0;
    switch (row.sizing) {
      case Sizing::fixed: break;
      case Sizing::text:
      case Sizing::binary:
        if (sized) result.defined_size = sizes[0];
        break;
      case Sizing::memo:
        // TEXT(50) is a text of fifty characters, TEXT alone one without bounds.
        if (sized) result.defined_size = sizes[0];
        if (!sized) result.type = DataType::long_var_wchar;
        break;
      case Sizing::blob:
        if (sized) result.defined_size = sizes[0];
        if (!sized) result.type = DataType::long_var_binary;
        break;
      case Sizing::number:
        // Without digits it is the engine's plain number; with them it is exact.
        if (!sized || sizes[0] > 28 || sizes[1] > sizes[0]) break;
        result.type = DataType::numeric;
        result.defined_size = 19;
        result.precision = static_cast<std::uint8_t>(sizes[0]);
        result.scale = static_cast<std::uint8_t>(size_count > 1 ? sizes[1] : 0);
        break;
    }
    break;
  }
  return result;
}

}  // namespace quarno::desktop
