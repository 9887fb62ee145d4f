#include "providers/desktop/jet/types.h"

#include <algorithm>
#include <utility>

#include "common/text.h"

namespace quarno::desktop::jet {
namespace {

constexpr std::string_view kText = "VARCHAR(255)";
constexpr std::string_view kMemo = "LONGTEXT";

// The first that a declared type begins with; longer ones before what they begin with.
constexpr std::pair<std::string_view, Family> kFamilies[] = {
    {"DATE", Family::date},         {"TIME", Family::date},
    {"VARCHAR", Family::text},      {"NVARCHAR", Family::text},
    {"CHAR", Family::text},         {"NCHAR", Family::text},
    {"STRING", Family::text},       {"TEXT(", Family::text},
    {"GUID", Family::text},         {"UNIQUEIDENTIFIER", Family::text},
    {"LONGTEXT", Family::memo},     {"TEXT", Family::memo},
    {"MEMO", Family::memo},         {"CLOB", Family::memo},
    {"BOOL", Family::boolean},      {"YESNO", Family::boolean},
    {"BIT", Family::boolean},       {"LOGICAL", Family::boolean},
    {"CURRENCY", Family::currency}, {"MONEY", Family::currency},
    {"DECIMAL", Family::decimal},   {"NUMERIC", Family::decimal},
    {"DOUBLE", Family::real},       {"FLOAT", Family::real},
    {"REAL", Family::real},         {"SINGLE", Family::real},
    {"NUMBER", Family::real},       {"LONGBLOB", Family::binary},
    {"LONGBINARY", Family::binary}, {"BLOB", Family::binary},
    {"BINARY", Family::binary},     {"VARBINARY", Family::binary},
    {"IMAGE", Family::binary},      {"OLEOBJECT", Family::binary},
    {"INT", Family::whole},         {"LONG", Family::whole},
    {"BIGINT", Family::whole},      {"SMALLINT", Family::whole},
    {"TINYINT", Family::whole},     {"BYTE", Family::whole},
    {"SHORT", Family::whole},       {"COUNTER", Family::whole},
    {"MEDIUMINT", Family::whole},
};

struct Function {
  std::string_view names;  // each with blanks around it
  std::string_view type;
};
constexpr Function kFunctions[] = {
    {" left right mid ucase lcase upper lower trim ltrim rtrim space string str cstr chr hex oct format "
     "typename "
     "monthname weekdayname strreverse substr substring printf quote replace group_concat strconv curdir "
     "left$ right$ "
     "mid$ ucase$ lcase$ trim$ ltrim$ rtrim$ space$ string$ str$ chr$ hex$ oct$ format$ formatcurrency "
     "formatnumber formatpercent formatdatetime jet_left jet_right jet_cat ",
     kText},
    {" date time now cdate cvdate dateadd dateserial datevalue timeserial timevalue ", "DATETIME"},
    {" year month day hour minute second weekday datepart asc ascw sgn cint ", "SMALLINT"},
    {" len length instr instrrev clng datediff count strcomp lenb last_insert_rowid changes jet_mod "
     "jet_int_div ",
     "INTEGER"},
    {" cdbl val sqr exp log sin cos tan atn timer avg stdev stdevp var varp total power sqrt "
     "jet_div jet_power ",
     "DOUBLE"},
    {" csng rnd ", "SINGLE"},
    {" ccur ", "CURRENCY"},
    {" cbyte ", "TINYINT"},
    {" cbool isnull isdate isnumeric iserror isempty ", "BOOLEAN"},
};
constexpr std::string_view kReadsText =
    " left right mid ucase lcase trim ltrim rtrim len cstr instr instrrev replace strcomp asc upper lower "
    "str "
    "left$ right$ mid$ ucase$ lcase$ trim$ ltrim$ rtrim$ ";
constexpr std::string_view kAggregates =
    " sum avg count min max first last stdev stdevp var varp total group_concat ";

bool has(std::string_view list, std::string_view name) {
  const auto at = list.find(name);
  if (name.empty() || at == std::string_view::npos) return false;
  // A name may stand first as part of a longer one.
  for (auto found = at; found != std::string_view::npos; found = list.find(name, found + 1)) {
    if (list[found - 1] == ' ' && list[found + name.size()] == ' ') return true;
  }
  return false;
}

struct TypeName {
  std::string_view names;
  std::string_view sized;  // "%" stands for the sizes
  std::string_view plain;
};
// TEXT without a size is a memo here, as it is for hosts that come through a connection. No text may be
// declared with a name the engine takes for a number.
constexpr TypeName kTypeNames[] = {
    {" CHAR CHARACTER VARCHAR STRING ALPHANUMERIC NCHAR NVARCHAR CHARACTER_VARYING NATIONAL_CHAR "
     "NATIONAL_CHARACTER NATIONAL_CHAR_VARYING NATIONAL_CHARACTER_VARYING ",
     "VARCHAR%", "VARCHAR(255)"},
    {" TEXT ", "VARCHAR%", "LONGTEXT"},
    {" MEMO NOTE LONGTEXT LONGCHAR NTEXT HYPERLINK ", "LONGTEXT", "LONGTEXT"},
    {" YESNO BIT LOGICAL LOGICAL1 BOOLEAN BOOL ", "BOOLEAN", "BOOLEAN"},
    {" BYTE TINYINT INTEGER1 ", "TINYINT", "TINYINT"},
    {" SHORT SMALLINT INTEGER2 ", "SMALLINT", "SMALLINT"},
    {" LONG INT INTEGER INTEGER4 ", "INTEGER", "INTEGER"},
    {" SINGLE FLOAT4 IEEESINGLE ", "SINGLE", "SINGLE"},
    {" DOUBLE FLOAT FLOAT8 IEEEDOUBLE NUMBER ", "DOUBLE", "DOUBLE"},
    {" CURRENCY MONEY ", "CURRENCY", "CURRENCY"},
    {" DATETIME DATE TIME TIMESTAMP ", "DATETIME", "DATETIME"},
    {" DECIMAL DEC ", "DECIMAL%", "DECIMAL(18,0)"},
    {" GUID UNIQUEIDENTIFIER ", "GUIDTEXT", "GUIDTEXT"},
    {" BINARY VARBINARY BINARY_VARYING ", "BLOB%", "BLOB(510)"},
    {" IMAGE OLEOBJECT LONGBINARY GENERAL ", "LONGBLOB", "LONGBLOB"},
};

}  // namespace

Family family(std::string_view declared) {
  for (const auto& [name, kind] : kFamilies) {
    if (declared.size() >= name.size() && text::equal_fold(declared.substr(0, name.size()), name))
      return kind;
  }
  return Family::unknown;
}

std::string combined(char sign, std::string_view left, std::string_view right) {
  const Family a = family(left);
  const Family b = family(right);
  const auto one_is = [&](Family kind) { return a == kind || b == kind; };
  if (a == Family::unknown || b == Family::unknown) return {};
  if (is_text(a) && is_text(b)) return std::string(one_is(Family::memo) ? kMemo : kText);
  if (one_is(Family::date)) return a == b && sign == '-' ? "DOUBLE" : "DATETIME";
  if (one_is(Family::real) || is_text(a) || is_text(b)) return "DOUBLE";
  if (one_is(Family::currency)) return "CURRENCY";
  if (a == Family::decimal) return std::string(left);
  if (b == Family::decimal) return std::string(right);
  if (one_is(Family::binary)) return {};
  return text::equal_fold(left, "BIGINT") || text::equal_fold(right, "BIGINT") ? "BIGINT" : "INTEGER";
}

std::string either(std::string_view left, std::string_view right) {
  if (left.empty() || text::equal_fold(left, "NULL")) return std::string(right);
  if (right.empty() || text::equal_fold(right, "NULL") || text::equal_fold(left, right))
    return std::string(left);
  const Family a = family(left);
  const Family b = family(right);
  if (is_text(a) || is_text(b)) {
    return std::string(a == Family::memo || b == Family::memo ? kMemo : kText);
  }
  if (a == b && a != Family::whole) return std::string(left);
  if (a == Family::date || b == Family::date) return {};
  return combined('+', left, right);
}

std::string_view function_type(std::string_view lower_name) {
  for (const Function& function : kFunctions) {
    if (has(function.names, lower_name)) return function.type;
  }
  return {};
}

bool reads_text(std::string_view lower_name) { return has(kReadsText, lower_name); }
bool is_aggregate(std::string_view lower_name) { return has(kAggregates, lower_name); }

std::string declaration(std::string_view name, std::string_view sizes) {
  std::string upper = text::upper(name);
  std::replace(upper.begin(), upper.end(), ' ', '_');
  for (const TypeName& row : kTypeNames) {
    if (!has(row.names, upper)) continue;
    if (sizes.empty()) return std::string(row.plain);
    return text::replace_all(row.sized, "%", sizes);
  }
  return std::string(name) + std::string(sizes);
}

bool is_counter(std::string_view type_name) {
  return text::equal_fold(type_name, "COUNTER") || text::equal_fold(type_name, "AUTOINCREMENT") ||
         text::equal_fold(type_name, "IDENTITY");
}

}  // namespace quarno::desktop::jet
