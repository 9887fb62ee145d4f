#include "providers/desktop/access/query_text.h"

#include <algorithm>
#include <cctype>
#include <optional>
#include <set>
#include <string_view>

#include "common/text.h"

namespace quarno::desktop::access {
namespace {

// What a row's attribute says it is.
enum Attribute {
  kBegin = 0,
  kKind = 1,
  kParameter = 2,
  kOptions = 3,
  kOtherDatabase = 4,
  kSource = 5,
  kColumn = 6,
  kJoin = 7,
  kWhere = 8,
  kGroupBy = 9,
  kHaving = 10,
  kOrderBy = 11,
  kEnd = 255,
};

constexpr int kAllColumns = 1;
constexpr int kDistinct = 2;
constexpr int kOwnerAccess = 4;
constexpr int kDistinctRow = 8;
constexpr int kTop = 16;
constexpr int kPercent = 32;
constexpr int kPivotHeading = 1;
constexpr int kRowHeading = 2;
constexpr int kInsertedValue = 0x8000;
constexpr std::size_t kMostRows = 2000;
constexpr std::size_t kMostText = 1 << 20;

/// The rows hold something that is not understood.
struct NotUnderstood {};

// Words that stand in the texts made here or that engines read as their own: as names they need brackets.
constexpr std::string_view kWords[] = {
    "ADD",    "ALL",     "ALTER",      "AND",         "ANY",    "AS",      "ASC",         "BETWEEN",
    "BY",     "CASE",    "CHECK",      "COLUMN",      "CREATE", "CROSS",   "DATABASE",    "DEFAULT",
    "DELETE", "DESC",    "DISTINCT",   "DISTINCTROW", "DROP",   "ELSE",    "END",         "EXISTS",
    "FALSE",  "FOREIGN", "FROM",       "FULL",        "GROUP",  "HAVING",  "IN",          "INDEX",
    "INNER",  "INSERT",  "INTO",       "IS",          "JOIN",   "KEY",     "LEFT",        "LIKE",
    "LIMIT",  "MOD",     "NO",         "NOT",         "NULL",   "OFF",     "ON",          "OR",
    "ORDER",  "OUTER",   "PARAMETERS", "PERCENT",     "PIVOT",  "PRIMARY", "REFERENCES",  "RIGHT",
    "SELECT", "SET",     "TABLE",      "THEN",        "TO",     "TOP",     "TRANSACTION", "TRANSFORM",
    "TRUE",   "UNION",   "UNIQUE",     "UPDATE",      "USING",  "VALUES",  "VIEW",        "WHEN",
    "WHERE",  "WITH",    "YES",
};

bool is_plain(std::string_view name) {
  const auto is_letter = [](char c) { return std::isalpha(static_cast<unsigned char>(c)) != 0 || c == '_'; };
  const auto belongs = [&](char c) { return is_letter(c) || (c >= '0' && c <= '9'); };
  return !name.empty() && is_letter(name.front()) && std::all_of(name.begin(), name.end(), belongs) &&
         std::none_of(std::begin(kWords), std::end(kWords),
                      [&](std::string_view word) { return text::equal_fold(word, name); });
}

std::string quoted(const std::string& name) {
  if (name.empty() || name.find_first_of("[]") != std::string::npos) throw NotUnderstood();
  return is_plain(name) ? name : "[" + name + "]";
}

// Target columns may be written with their table, "a.b" or "[a].[b]".
std::string quoted_target(const std::string& name) {
  return name.find_first_of(".[]") == std::string::npos ? quoted(name) : name;
}

std::string without_end(std::string text) {
  text.erase(std::min(text.find('\0'), text.size()));
  while (!text.empty() && std::string_view(" ;\r\n\t").find(text.back()) != std::string_view::npos)
    text.pop_back();
  return text;
}

std::optional<QueryKind> kind_of_row(int flag) {
  constexpr QueryKind kKinds[] = {QueryKind::select,     QueryKind::make_table,   QueryKind::append,
                                  QueryKind::update,     QueryKind::remove,       QueryKind::crosstab,
                                  QueryKind::definition, QueryKind::pass_through, QueryKind::set_union};
  if (flag < 1 || flag > 9) return std::nullopt;
  return kKinds[flag - 1];
}

QueryKind kind_of_object(std::uint32_t flags) {
  switch (flags & 0xF0) {
    case 0x00: return QueryKind::select;
    case 0x10: return QueryKind::crosstab;
    case 0x20: return QueryKind::remove;
    case 0x30: return QueryKind::update;
    case 0x40: return QueryKind::append;
    case 0x50: return QueryKind::make_table;
    case 0x60: return QueryKind::definition;
    case 0x70: return QueryKind::pass_through;
    case 0x80: return QueryKind::set_union;
    default: return QueryKind::unknown;
  }
}

std::string parameter_type(const QueryRow& row) {
  switch (row.flag) {
    case 0: return "Value";
    case 1: return "Bit";
    case 2: return "Byte";
    case 3: return "Short";
    case 4: return "Long";
    case 5: return "Currency";
    case 6: return "Single";
    case 7: return "Double";
    case 8: return "DateTime";
    case 9: return "Binary";
    case 10: return "Text(" + std::to_string(row.extra > 0 ? row.extra : 255) + ")";
    case 11: return "LongBinary";
    case 12: return "LongText";
    case 15: return "Guid";
    case 16: return "Decimal";
    case 19: return "BigInt";
    default: throw NotUnderstood();
  }
}

// Tables that joins have put together.
struct Cluster {
  std::string text;
  std::set<std::string> names;  // folded
  bool is_joined = false;

  std::string operand() const { return is_joined ? "(" + text + ")" : text; }
};

class Composer {
 public:
  Composer(const std::vector<QueryRow>& rows, QueryKind kind) : rows_(rows), kind_(kind) {
    for (const QueryRow& row : rows_) {
      if (row.attribute == kOptions) options_ = row.flag, top_ = row.name1;
      if (row.attribute == kKind) target_ = row.name1, own_text_ = row.expression;
      if (row.attribute == kOtherDatabase) throw NotUnderstood();
    }
  }

  std::string text() {
    compose_from();
    switch (kind_) {
      case QueryKind::select: return parameters() + select("") + tail();
      case QueryKind::make_table: return parameters() + select(" INTO " + quoted(target_)) + tail();
      case QueryKind::append: return parameters() + append();
      case QueryKind::update: return parameters() + update();
      case QueryKind::remove: return parameters() + remove();
      case QueryKind::crosstab: return parameters() + crosstab();
      case QueryKind::set_union: return parameters() + set_union();
      case QueryKind::definition:
      case QueryKind::pass_through: return without_end(own_text_);
      case QueryKind::unknown: break;
    }
    throw NotUnderstood();
  }

 private:
  // Calls `piece` for the rows of one attribute and puts what it returns one behind the other; "" is left
  // out.
  template <class Piece>
  std::string list(int attribute, Piece&& piece, const char* separator = ", ") const {
    std::string result;
    for (const QueryRow& row : rows_) {
      if (row.attribute != attribute) continue;
      const std::string own = piece(row);
      if (own.empty()) continue;
      if (!result.empty()) result += separator;
      result += own;
    }
    return result;
  }
  static std::string clause(const char* word, const std::string& content) {
    return content.empty() ? "" : word + content;
  }
  static std::string expression(const QueryRow& row) { return row.expression; }
  static std::string named_column(const QueryRow& row) {
    return row.name1.empty() || row.expression.empty() ? row.expression
                                                       : row.expression + " AS " + quoted(row.name1);
  }

  std::string parameters() const {
    const std::string all = list(kParameter, [](const QueryRow& row) {
      const bool has_brackets = row.name1.starts_with('[');
      return (has_brackets ? row.name1 : "[" + row.name1 + "]") + " " + parameter_type(row);
    });
    return all.empty() ? "" : "PARAMETERS " + all + "; ";
  }

  void compose_from() {
    if (kind_ == QueryKind::set_union) return;
    std::vector<Cluster> clusters;
    for (const QueryRow& row : rows_) {
      if (row.attribute != kSource) continue;
      const bool is_query = row.name1.empty() && !row.expression.empty();
      Cluster cluster;
      cluster.text = is_query ? "(" + without_end(row.expression) + ")" : quoted(row.name1);
      if (!row.name2.empty()) cluster.text += " AS " + quoted(row.name2);
      cluster.names.insert(text::lower_ascii(row.name2.empty() ? row.name1 : row.name2));
      clusters.push_back(std::move(cluster));
    }
    // A table on the far side of an outer join may be inner-joined to a third one: these come first.
    std::vector<const QueryRow*> joins;
    for (const bool inner : {true, false}) {
      for (const QueryRow& row : rows_) {
        if (row.attribute == kJoin && (row.flag == 1) == inner) joins.push_back(&row);
      }
    }
    while (!joins.empty()) join(clusters, joins);
    for (const Cluster& cluster : clusters) from_ += (from_.empty() ? "" : ", ") + cluster.text;
  }

  // Does the first join, with all rows that are about the same two tables.
  void join(std::vector<Cluster>& clusters, std::vector<const QueryRow*>& joins) {
    const QueryRow first = *joins.front();
    std::vector<std::string> conditions;
    std::erase_if(joins, [&](const QueryRow* row) {
      const bool same = row->flag == first.flag && text::equal_fold(row->name1, first.name1) &&
                        text::equal_fold(row->name2, first.name2);
      if (same) conditions.push_back(row->expression);
      return same;
    });
    std::string condition = conditions.front();
    if (conditions.size() > 1) condition = "(" + text::join(conditions, ") AND (") + ")";
    const auto find = [&](const std::string& name) {
      const auto found = std::find_if(clusters.begin(), clusters.end(), [&](const Cluster& cluster) {
        return cluster.names.contains(text::lower_ascii(name));
      });
      if (found == clusters.end()) throw NotUnderstood();
      return found;
    };
    const auto left = find(first.name1);
    const auto right = find(first.name2);
    const char* const word = first.flag == 1   ? " INNER JOIN "
                             : first.flag == 2 ? " LEFT JOIN "
                             : first.flag == 3 ? " RIGHT JOIN "
                                               : throw NotUnderstood();
    if (left == right) {
      if (first.flag != 1) throw NotUnderstood();
      where_ += (where_.empty() ? "(" : " AND (") + condition + ")";
      return;
    }
    const auto first_of_both = std::min(left, right);
    Cluster both{left->operand() + word + right->operand() + " ON " + condition, left->names, true};
    if (both.text.size() > kMostText) throw NotUnderstood();
    both.names.insert(right->names.begin(), right->names.end());
    *first_of_both = std::move(both);
    clusters.erase(std::max(left, right));
  }

  std::string where() const {
    const std::string own = list(kWhere, expression, " AND ");
    if (own.empty() || where_.empty()) return clause(" WHERE ", own + where_);
    return " WHERE (" + own + ") AND " + where_;
  }
  std::string group_by() const {
    return clause(" GROUP BY ", list(kGroupBy, [&](const QueryRow& row) {
                    const bool left_out = kind_ == QueryKind::crosstab && row.flag == kPivotHeading;
                    return left_out ? "" : row.expression;
                  }));
  }
  std::string order_by() const {
    return clause(" ORDER BY ", list(kOrderBy, [](const QueryRow& row) {
                    return row.expression + (text::equal_fold(row.name1, "D") ? " DESC" : "");
                  }));
  }
  std::string tail() const {
    return clause(" FROM ", from_) + where() + group_by() +
           clause(" HAVING ", list(kHaving, expression, " AND ")) + order_by() +
           ((options_ & kOwnerAccess) != 0 ? " WITH OWNERACCESS OPTION" : "");
  }

  std::string select(const std::string& into) const {
    std::string result = "SELECT ";
    if ((options_ & kDistinct) != 0) result += "DISTINCT ";
    if ((options_ & kDistinctRow) != 0) result += "DISTINCTROW ";
    if ((options_ & kTop) != 0) {
      if (top_.empty() || top_.find_first_not_of("0123456789") != std::string::npos) throw NotUnderstood();
      result += "TOP " + top_ + ((options_ & kPercent) != 0 ? " PERCENT " : " ");
    }
    std::string columns = list(kColumn, named_column);
    if ((options_ & kAllColumns) != 0) columns += columns.empty() ? "*" : ", *";
    if (columns.empty()) throw NotUnderstood();
    return result + columns + into;
  }

  std::string append() const {
    const std::string names =
        list(kColumn, [](const QueryRow& row) { return row.name2.empty() ? "" : quoted_target(row.name2); });
    std::string result = "INSERT INTO " + quoted(target_);
    if (!names.empty()) result += " (" + names + ")";
    const bool has_values = std::any_of(rows_.begin(), rows_.end(), [](const QueryRow& row) {
      return row.attribute == kColumn && (row.flag & kInsertedValue) != 0;
    });
    if (has_values) return result + " VALUES (" + list(kColumn, expression) + ")";
    return result + " " + select("") + tail();
  }
  std::string update() const {
    const std::string values =
        list(kColumn, [](const QueryRow& row) { return quoted_target(row.name2) + " = " + row.expression; });
    if (values.empty() || from_.empty()) throw NotUnderstood();
    return "UPDATE " + from_ + " SET " + values + where();
  }
  std::string remove() const {
    std::string columns = list(kColumn, expression);
    if ((options_ & kAllColumns) != 0) columns += columns.empty() ? "*" : ", *";
    if (from_.empty()) throw NotUnderstood();
    return "DELETE " + columns + (columns.empty() ? "" : " ") + "FROM " + from_ + where();
  }
  std::string crosstab() const {
    const auto columns = [&](int flag) {
      return list(kColumn, [&](const QueryRow& row) { return row.flag == flag ? named_column(row) : ""; });
    };
    const std::string pivot =
        list(kColumn, [](const QueryRow& row) { return row.flag == kPivotHeading ? row.expression : ""; });
    if (columns(0).empty() || columns(kRowHeading).empty() || pivot.empty()) throw NotUnderstood();
    return "TRANSFORM " + columns(0) + " SELECT " + columns(kRowHeading) + tail() + " PIVOT " + pivot;
  }
  std::string set_union() const {
    const char* const word = (options_ & kDistinct) != 0 ? " UNION " : " UNION ALL ";
    const std::string branches = list(
        kSource, [](const QueryRow& row) { return without_end(row.expression); }, word);
    if (branches.empty()) throw NotUnderstood();
    return branches + order_by();
  }

  const std::vector<QueryRow>& rows_;
  QueryKind kind_;
  int options_ = 0;
  std::string top_;
  std::string target_;
  std::string own_text_;
  std::string from_;
  std::string where_;  // conditions of joins within one cluster
};

bool is_known(const QueryRow& row) {
  return (row.attribute >= kBegin && row.attribute <= kOrderBy) || row.attribute == kEnd;
}

}  // namespace

QueryText query_text(std::vector<QueryRow> rows, std::uint32_t object_flags) {
  QueryText result;
  result.kind = kind_of_object(object_flags);
  std::size_t size = 0;
  bool understood = rows.size() <= kMostRows;
  for (const QueryRow& row : rows) {
    if (row.attribute == kKind) result.kind = kind_of_row(row.flag).value_or(QueryKind::unknown);
    result.has_parameters |= row.attribute == kParameter;
    size += row.expression.size() + row.name1.size() + row.name2.size();
    understood &= is_known(row);
  }
  if (!understood || size > kMostText) return result;
  std::stable_sort(rows.begin(), rows.end(), [](const QueryRow& a, const QueryRow& b) {
    return a.attribute != b.attribute ? a.attribute < b.attribute : a.order < b.order;
  });
  try {
    result.text = Composer(rows, result.kind).text();
  } catch (const NotUnderstood&) {
    result.text.clear();
  }
  return result;
}

}  // namespace quarno::desktop::access
