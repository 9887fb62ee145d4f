#include "providers/desktop/access/database.h"

#include <algorithm>
#include <set>

#include "ado/ado_error.h"
#include "common/text.h"
#include "providers/desktop/access/long_value.h"
#include "providers/desktop/access/properties.h"
#include "providers/desktop/access/table_definition.h"
#include "providers/desktop/access/values.h"
#include "providers/desktop/desktop_provider.h"

namespace quarno::desktop::access {
namespace {

constexpr std::uint32_t kCataloguePage = 2;
constexpr std::uint32_t kSystemObject = 0x80000002;
constexpr std::uint32_t kHiddenObject = 0x8;

// Whole signed values: a report is -32764, whose low bits look like a linked table.
constexpr std::int64_t kLocalTable = 1;
constexpr std::int64_t kLinkedOdbcTable = 4;
constexpr std::int64_t kSavedQuery = 5;
constexpr std::int64_t kLinkedTable = 6;

constexpr std::int64_t kNotEnforced = 0x2;
constexpr std::int64_t kCascadesUpdate = 0x100;
constexpr std::int64_t kCascadesDelete = 0x1000;

Error unreadable(const std::string& description) {
  return ado::provider_error(ado::kUnspecified, description, kSourceName);
}
Error unrecognized(const std::string& path) {
  return unreadable("Unrecognized database format '" + path + "'.");
}

Header readable_header(platform::DataFile& file, const std::string& path, const Options& options) {
  std::string first_bytes(kHeaderBytes, '\0');
  first_bytes.resize(file.read_at(0, first_bytes));
  const Header result = header(first_bytes);
  switch (result.state) {
    case HeaderState::good: break;
    case HeaderState::foreign: throw unrecognized(path);
    case HeaderState::too_new:
      throw unreadable("'" + path + "' was written by a version of Access that this library does not know.");
    case HeaderState::encrypted:
      throw unreadable("'" + path + "' is an encrypted .accdb file, which this library cannot read.");
  }
  // The password of such a file is not its key: it can be read, and it is asked for all the same.
  const std::string password =
      result.jet3 ? platform::code_page().from_ansi(result.password) : result.password;
  if (password != options.password)
    throw ado::provider_error(ado::kLoginFailed, "Not a valid password.", kSourceName);
  return result;
}

bool begins_fold(std::string_view text, std::string_view prefix) {
  return text::equal_fold(text.substr(0, prefix.size()), prefix);
}

std::optional<Date> date_of(const Cell& cell) {
  if (cell.kind != Cell::Kind::real) return std::nullopt;
  return Date{cell.real};
}

// The flags are a signed number in the file.
std::uint32_t flags_of(const Cell& cell) { return static_cast<std::uint32_t>(cell.whole); }

}  // namespace

std::unique_ptr<Database> Database::open(const std::string& path, const Options& options) {
  return open(platform::data_files().open(path, platform::DataFiles::Access::read), path, options);
}

std::unique_ptr<Database> Database::open(std::unique_ptr<platform::DataFile> file, const std::string& path,
                                         const Options& options) {
  const Header header = readable_header(*file, path, options);
  std::unique_ptr<Database> result(new Database(std::move(file), header, path, options));
  result->read_catalogue();
  return result;
}

Database::Database(std::unique_ptr<platform::DataFile> file, const Header& header, std::string path,
                   Options options)
    : path_(std::move(path)),
      options_(std::move(options)),
      pages_(std::move(file), header),
      texts_(header.jet3, header.code_page, options_.code_page) {}

const Table* Database::find_table(std::string_view name) const {
  for (const Table& table : tables_) {
    if (text::equal_fold(table.name, name)) return &table;
  }
  return nullptr;
}

const TableDesign& Database::design(const Table& table) {
  if (table.kind == TableKind::linked || table.kind == TableKind::linked_odbc) {
    // What it is linked by may hold a password.
    const std::string place = table.database.empty() ? "another data source" : "'" + table.database + "'";
    throw unreadable("The table '" + table.name + "' is linked to " + place +
                     ", which this library does not open.");
  }
  const auto known = designs_.find(table.page);
  if (known != designs_.end()) return known->second;
  try {
    TableDesign design = table_definition(pages_, texts_, table.page);
    if (design.columns.empty()) throw Damaged();
    apply_properties(table, design);
    return designs_.emplace(table.page, std::move(design)).first->second;
  } catch (const Damaged&) {
    throw unreadable("The definition of the table '" + table.name + "' in '" + path_ + "' is damaged.");
  }
}

void Database::apply_properties(const Table& table, TableDesign& design) {
  if (table.properties.empty()) return;
  std::string value;
  try {
    std::uint64_t budget = pages_.size();
    append_long_value(pages_, Bytes(table.properties), budget, value);
  } catch (const Damaged&) {
    ++damage_.cells;
    return;
  }
  // The properties of one column stand together.
  std::string owner;
  Column* column = nullptr;
  const auto apply = [&](const Property& property) {
    const auto is = [&](std::string_view name) { return text::equal_fold(property.name, name); };
    // A description of the table itself has no owner.
    if (property.owner.empty()) {
      if (is("Description")) design.description = texts_.read(property.value);
      return;
    }
    if (property.owner != owner) {
      owner = property.owner;
      const auto found = std::find_if(design.columns.begin(), design.columns.end(),
                                      [&](const Column& each) { return text::equal_fold(each.name, owner); });
      column = found == design.columns.end() ? nullptr : &*found;
    }
    if (column == nullptr || property.value.empty()) return;
    const std::uint8_t byte = property.value.u8(0);
    if (is("Required")) {
      column->is_required = byte != 0;
    } else if (is("AllowZeroLength")) {
      column->allows_empty_text = byte != 0;
    } else if (is("DefaultValue")) {
      column->default_value = texts_.read(property.value);
    } else if (is("Description")) {
      column->description = texts_.read(property.value);
    } else if (is("ResultType") && column->is_calculated) {
      column->type = ColumnType{byte};
    }
  };
  if (!read_properties(Bytes(value), texts_, apply)) ++damage_.cells;
}

// Calls `take` with the named columns' values of every row; a column that is not there reads as null.
template <class Take>
void Database::read_rows(const TableDesign& design, const std::vector<std::string_view>& columns,
                         Take&& take) {
  std::vector<std::size_t> places;
  for (const std::string_view column : columns) {
    const Column* const found = design.find(column);
    places.push_back(found == nullptr ? SIZE_MAX : static_cast<std::size_t>(found - design.columns.data()));
  }
  TableRows rows(pages_, texts_, design);
  std::vector<Cell> cells(columns.size());
  while (rows.next()) {
    for (std::size_t i = 0; i < places.size(); ++i)
      cells[i] = places[i] == SIZE_MAX ? Cell() : rows.cell(places[i]);
    take(cells);
  }
  damage_.pages += rows.damage().pages;
  damage_.rows += rows.damage().rows;
  damage_.cells += rows.damage().cells;
}

const TableDesign* Database::system_design(std::string_view name) {
  const Table* const table = find_table(name);
  return table != nullptr && table->kind == TableKind::system ? &design(*table) : nullptr;
}

void Database::read_catalogue() {
  TableDesign design;
  try {
    design = table_definition(pages_, texts_, kCataloguePage);
  } catch (const Damaged&) {
    throw unrecognized(path_);
  }
  for (const char* const name : {"Id", "Name", "Type", "Flags"}) {
    if (design.find(name) == nullptr) throw unrecognized(path_);
  }
  // The properties stay where they are until their table is asked for.
  for (Column& column : design.columns) {
    if (text::equal_fold(column.name, "LvProp")) column.type = column.stored_type = ColumnType::binary;
  }
  std::set<std::uint32_t> pages;
  std::set<std::string> names;
  read_rows(design,
            {"Id", "Name", "Type", "Flags", "DateCreate", "DateUpdate", "Connect", "ForeignName", "Database",
             "LvProp"},
            [&](const std::vector<Cell>& cells) {
              const std::int64_t type = cells[2].whole;
              const bool is_query = type == kSavedQuery;
              if (!is_query && type != kLocalTable && type != kLinkedOdbcTable && type != kLinkedTable)
                return;
              Table table;
              table.name = cells[1].text.substr(0, cells[1].text.find('\0'));
              // Left over from deleted objects, or the sources of forms and reports.
              if (table.name.starts_with('~')) return;
              const std::uint32_t flags = flags_of(cells[3]);
              if (is_query) {
                saved_queries_.emplace(static_cast<std::int32_t>(cells[0].whole),
                                       SavedQuery{table.name, flags, date_of(cells[4]), date_of(cells[5])});
                return;
              }
              table.is_hidden = (flags & kHiddenObject) != 0;
              table.created = date_of(cells[4]);
              table.modified = date_of(cells[5]);
              table.connect = cells[6].text;
              table.foreign_name = cells[7].text;
              table.database = cells[8].text;
              table.properties = cells[9].text;
              if (type == kLocalTable) {
                const bool is_system = (flags & kSystemObject) != 0 || begins_fold(table.name, "MSys");
                table.kind = is_system ? TableKind::system : TableKind::local;
                table.page = static_cast<std::uint32_t>(cells[0].whole);
                // Two tables cannot share a definition, and one would be read as often as it is named.
                if (!pages.insert(table.page).second) {
                  ++damage_.rows;
                  return;
                }
              } else {
                table.kind = type == kLinkedTable ? TableKind::linked : TableKind::linked_odbc;
              }
              table.name = unused_name(table.name, "Table" + std::to_string(table.page), names);
              tables_.push_back(std::move(table));
            });
  // The catalogue lists itself.
  if (tables_.empty()) throw unrecognized(path_);
}

const std::vector<Query>& Database::queries() {
  if (queries_) return *queries_;
  std::map<std::int32_t, std::vector<QueryRow>> rows;
  if (const TableDesign* const design = system_design("MSysQueries")) {
    read_rows(*design, {"ObjectId", "Attribute", "Order", "Flag", "LvExtra", "Name1", "Name2", "Expression"},
              [&](const std::vector<Cell>& cells) {
                const auto id = static_cast<std::int32_t>(cells[0].whole);
                if (!saved_queries_.contains(id)) return;
                QueryRow row;
                row.attribute = static_cast<int>(cells[1].whole);
                row.order = cells[2].text;
                row.flag = static_cast<int>(cells[3].whole);
                row.extra = static_cast<std::int32_t>(cells[4].whole);
                row.name1 = cells[5].text;
                row.name2 = cells[6].text;
                row.expression = cells[7].text;
                rows[id].push_back(std::move(row));
              });
  }
  queries_.emplace();
  for (const auto& [id, saved] : saved_queries_) {
    if (saved.name.empty()) continue;
    queries_->push_back(
        {saved.name, query_text(std::move(rows[id]), saved.flags), saved.created, saved.modified});
  }
  std::sort(queries_->begin(), queries_->end(), [](const Query& a, const Query& b) {
    return text::lower_ascii(a.name) < text::lower_ascii(b.name);
  });
  return *queries_;
}

const std::vector<Relation>& Database::relations() {
  if (relations_) return *relations_;
  std::map<std::string, std::pair<Relation, std::map<std::int64_t, RelationColumns>>> found;
  if (const TableDesign* const design = system_design("MSysRelationships")) {
    read_rows(*design,
              {"szRelationship", "szObject", "szReferencedObject", "szColumn", "szReferencedColumn",
               "icolumn", "grbit"},
              [&](const std::vector<Cell>& cells) {
                // The window of objects keeps its own tables related.
                if (begins_fold(cells[1].text, "MSys") || begins_fold(cells[2].text, "MSys")) return;
                auto& [relation, columns] = found[std::string(cells[0].text)];
                relation.name = cells[0].text;
                relation.foreign_table = cells[1].text;
                relation.referenced_table = cells[2].text;
                relation.cascades_update = (cells[6].whole & kCascadesUpdate) != 0;
                relation.cascades_delete = (cells[6].whole & kCascadesDelete) != 0;
                relation.is_enforced = (cells[6].whole & kNotEnforced) == 0;
                columns[cells[5].whole] = {std::string(cells[3].text), std::string(cells[4].text)};
              });
  }
  relations_.emplace();
  for (auto& [name, entry] : found) {
    for (auto& [place, columns] : entry.second) entry.first.columns.push_back(std::move(columns));
    relations_->push_back(std::move(entry.first));
  }
  return *relations_;
}

std::string declaration(const Column& column, bool jet3) {
  const auto sized = [](const char* name, std::size_t size) {
    return name + ("(" + std::to_string(size) + ")");
  };
  const std::size_t characters = std::max<std::size_t>(jet3 ? column.length : column.length / 2, 1);
  switch (column.type) {
    case ColumnType::boolean: return "BOOLEAN";
    case ColumnType::byte: return "TINYINT";
    case ColumnType::integer: return "SMALLINT";
    case ColumnType::long_integer:
    case ColumnType::complex: return "INTEGER";
    case ColumnType::currency: return "CURRENCY";
    case ColumnType::single: return "SINGLE";
    case ColumnType::real: return "DOUBLE";
    case ColumnType::date:
    case ColumnType::extended_date: return "DATETIME";
    case ColumnType::binary:
      return column.is_calculated ? "LONGBLOB" : sized("BINARY", std::max<std::size_t>(column.length, 1));
    // What a calculated text can grow to is not said.
    case ColumnType::text:
      return column.is_calculated ? "VARCHAR(255)" : sized(column.is_fixed ? "CHAR" : "VARCHAR", characters);
    case ColumnType::memo: return "LONGTEXT";
    case ColumnType::guid: return "GUIDTEXT";
    case ColumnType::big_integer: return "BIGINT";
    case ColumnType::decimal:
      // The precision of a calculated one differs from value to value.
      if (column.precision == 0 || column.precision > Decimal::kMaxScale || column.scale > column.precision) {
        return "DECIMAL(28," + std::to_string(std::min<int>(column.scale, Decimal::kMaxScale)) + ")";
      }
      return "DECIMAL(" + std::to_string(column.precision) + "," + std::to_string(column.scale) + ")";
    case ColumnType::ole:
    case ColumnType::long_binary: break;
  }
  return "LONGBLOB";
}

}  // namespace quarno::desktop::access
