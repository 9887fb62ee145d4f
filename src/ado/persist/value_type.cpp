#include "ado/persist/value_type.h"

#include <algorithm>
#include <array>
#include <limits>

#include "common/text.h"

namespace quarno::ado::persist {
namespace {

using enum DataType;

// In the order in which a reader looks: where two rows share the names, the first one is meant.
constexpr TypeName kTypes[] = {
    {tiny_int, "i1", "", 1, true},
    {unsigned_tiny_int, "ui1", "", 1, true},
    {small_int, "i2", "", 2, true},
    {unsigned_small_int, "ui2", "", 2, true},
    {integer, "int", "", 4, true},
    {unsigned_int, "ui4", "", 4, true},
    {big_int, "i8", "", 8, true},
    {unsigned_big_int, "ui8", "", 8, true},
    {single, "r4", "", 4, true},
    {real, "float", "", 8, true},
    {currency, "number", "currency", 8, true},
    {decimal, "number", "decimal", 16},
    {numeric, "number", "numeric", 19, true},
    {kVarNumeric, "number", "varnumeric"},
    {boolean, "boolean", "", 2, true},
    {date, "dateTime", "variantdate", 16, true},
    {db_date, "date", "", 6, true},
    {db_time, "time", "", 6, true},
    {db_timestamp, "dateTime", "timestamp", 16, true},
    {kFileTime, "dateTime", "filetime", 16},
    {guid, "uuid", "", 16, true},
    {bstr, "string", "", 4'294'967'295},
    {char_, "string", "str", 0, true},
    {var_char, "string", "str"},
    {long_var_char, "string", "str"},
    {wchar, "string", "", 0, true},
    {var_wchar, "string", ""},
    {long_var_wchar, "string", ""},
    {binary, "bin.hex", "", 0, true},
    {var_binary, "bin.hex", ""},
    {long_var_binary, "bin.hex", ""},
    {variant, "string", "variant"},
};

// Types of the schema language without a type of their own here: their texts are taken as they are.
constexpr std::string_view kTextTypes[] = {
    "fixed.14.4", "dateTime.tz", "time.tz", "bin.base64", "uri",      "id",          "idref",   "idrefs",
    "nmtoken",    "nmtokens",    "char",    "entity",     "entities", "enumeration", "notation"};

constexpr std::array<std::string_view, 2> kAliases[] = {
    {"i4", "int"}, {"integer", "int"}, {"r8", "float"}, {"double", "float"}};

DataType text_type(const DeclaredType& declared) {
  const bool is_wide = !text::equal_fold(declared.source_type, "str");
  if (declared.is_long || !declared.is_sized) return is_wide ? long_var_wchar : long_var_char;
  if (declared.is_fixed) return is_wide ? wchar : char_;
  return is_wide ? var_wchar : var_char;
}

}  // namespace

const TypeName* type_name_of(DataType type) {
  const auto* const found = std::ranges::find(kTypes, type, &TypeName::type);
  return found == std::end(kTypes) ? nullptr : found;
}

std::int64_t longest_of(DataType type) {
  constexpr std::int64_t kLongest = std::numeric_limits<std::int32_t>::max();
  return is_wide_text(type) ? kLongest / 2 : kLongest;
}

DataType unlimited(DataType type) {
  if (type == char_ || type == var_char) return long_var_char;
  if (type == wchar || type == var_wchar) return long_var_wchar;
  return type == binary || type == var_binary ? long_var_binary : type;
}

std::optional<DataType> declared_type(const DeclaredType& declared) {
  const auto is_name = [&](std::string_view name) { return text::equal_fold(declared.name, name); };
  if (declared.name.empty()) return long_var_wchar;
  if (is_name("string")) {
    return text::equal_fold(declared.source_type, "variant") ? variant : text_type(declared);
  }
  if (is_name("bin.hex")) {
    if (declared.is_long || !declared.is_sized) return long_var_binary;
    return declared.is_fixed ? binary : var_binary;
  }
  std::string_view name = declared.name;
  for (const auto& [alias, meant] : kAliases) {
    if (is_name(alias)) name = meant;
  }
  std::optional<DataType> unsaid;
  for (const TypeName& row : kTypes) {
    if (!text::equal_fold(row.name, name)) continue;
    if (text::equal_fold(row.source_type, declared.source_type) || row.source_type.empty()) return row.type;
    unsaid = is_name("number") ? kVarNumeric : db_timestamp;
  }
  if (unsaid) return unsaid;
  if (std::ranges::any_of(kTextTypes, is_name)) {
    return text_type({.name = "",
                      .source_type = "",
                      .is_sized = declared.is_sized,
                      .is_fixed = false,
                      .is_long = declared.is_long});
  }
  return std::nullopt;
}

}  // namespace quarno::ado::persist
