// The members of CData that read and change the schema.
#include <algorithm>

#include "ado/ado_error.h"
#include "common/text.h"
#include "data/CData.h"

namespace quarno {
namespace {

using ado::DataType;

bool contains(const std::string& type, std::string_view word) {
  return text::upper(type).find(word) != std::string::npos;
}

// Of views and procedures alike; the caller's name comes back in capitals.
std::string command_of(const std::vector<ado::StoredQuery>& queries, const std::string& name) {
  const auto found = std::find_if(queries.begin(), queries.end(), [&](const ado::StoredQuery& query) {
    return text::upper(query.name) == name;
  });
  return found == queries.end() ? std::string() : found->text;
}

using Current = std::optional<ado::Table>;

const ado::ColumnDefinition* column_at(const Current& table, std::int16_t position) {
  const bool there =
      table && position >= 0 && static_cast<std::size_t>(position) < table->definition.columns.size();
  return there ? &table->definition.columns[static_cast<std::size_t>(position)] : nullptr;
}

const ado::ColumnDefinition* column_named(const Current& table, const std::string& name) {
  if (!table) return nullptr;
  const auto& columns = table->definition.columns;
  const std::string wanted = text::upper(name);
  const auto found = std::find_if(columns.begin(), columns.end(), [&](const ado::ColumnDefinition& column) {
    return text::upper(column.name) == wanted;
  });
  return found == columns.end() ? nullptr : &*found;
}

std::int32_t type_of(const ado::ColumnDefinition* column) {
  return column == nullptr ? 0 : static_cast<std::int32_t>(column->type);
}
std::int32_t length_of(const ado::ColumnDefinition* column) {
  return column == nullptr
             ? 0
             : static_cast<std::int32_t>(std::min<std::int64_t>(column->defined_size, INT32_MAX));
}

// The type a column is made with, by the kind of database.
std::int32_t used_type(std::int32_t kind, std::int32_t type) {
  const auto code = [](DataType t) { return static_cast<std::int32_t>(t); };
  if (kind == data::Conn_Jet) {
    if (type == code(DataType::char_)) return code(DataType::wchar);
    if (type == code(DataType::var_char)) return code(DataType::var_wchar);
    if (type == code(DataType::long_var_char)) return code(DataType::long_var_wchar);
  }
  if (kind == data::Conn_SQL && type == code(DataType::date)) return code(DataType::db_timestamp);
  return type;
}

}  // namespace

std::string CData::Tables_List(bool WithSO) {
  Failing failing{"Tables_List"};
  failing.prefix = "Table_List";
  return guarded(failing, [&] {
    std::vector<std::string> names;
    for (const ado::TableEntry& entry : worker_.catalog().tables()) {
      if (WithSO || (!contains(entry.type, "VIEW") && !contains(entry.type, "SYSTEM"))) {
        names.push_back(entry.name);
      }
    }
    return text::join(names, ",");
  });
}

std::string CData::Views_List(bool WithSO) {
  Failing failing{"Views_List"};
  failing.prefix = "View_List";
  return guarded(failing, [&] {
    std::vector<std::string> names;
    for (const ado::TableEntry& entry : worker_.catalog().tables()) {
      if (contains(entry.type, "VIEW") && (WithSO || !contains(entry.type, "SYSTEM"))) {
        names.push_back(entry.name);
      }
    }
    return text::join(names, ",");
  });
}

std::string CData::StoredProcs_List() {
  Failing failing{"StoredProcs_List"};
  failing.prefix = "STProc_List";
  return guarded(failing, [&] {
    std::vector<std::string> names;
    // Numbered procedures ("p;1") go by their name; equal names are kept.
    for (const ado::StoredQuery& procedure : worker_.catalog().procedures()) {
      names.push_back(procedure.name.substr(0, procedure.name.find(';')));
    }
    return text::join(names, ",");
  });
}

std::string CData::StoredProcs_Command(Ref<std::string> StName) {
  Failing failing{"StoredProcs_Command"};
  failing.prefix = "STProc_Cmd";
  return guarded(failing, [&] {
    StName.set(text::upper(StName.value()));
    return command_of(worker_.catalog().procedures(), StName.value());
  });
}

std::string CData::View_Command(Ref<std::string> StName) {
  Failing failing{"View_Command"};
  failing.prefix = "STProc_Cmd";  // the one of procedures: hosts know it so
  return guarded(failing, [&] {
    StName.set(text::upper(StName.value()));
    return command_of(worker_.catalog().views(), StName.value());
  });
}

bool CData::Table_Exist(const std::string& Tabella) {
  return guarded({"Table_Exist"}, [&] { return worker_.catalog().has_table(Tabella); });
}
bool CData::StoredProc_Exist(const std::string& StoredProc) {
  return guarded({"StoredProc_Exist"}, [&] { return worker_.catalog().has_procedure(StoredProc); });
}

bool CData::Table_Open(const std::string& strName) {
  return guarded({"Table_Open"}, [&] {
    worker_.current_table = worker_.catalog().table(strName);
    return true;
  });
}

std::int16_t CData::Table_ColumnsCount() const {
  return worker_.current_table ? static_cast<std::int16_t>(worker_.current_table->definition.columns.size())
                               : std::int16_t{0};
}
std::string CData::Table_ColumnName(std::int16_t ColPos) const {
  const auto* const column = column_at(worker_.current_table, ColPos);
  return column == nullptr ? std::string() : column->name;
}
std::int32_t CData::Table_ColumnPosType(std::int16_t ColPos) const {
  return type_of(column_at(worker_.current_table, ColPos));
}
std::int32_t CData::Table_ColumnType(const std::string& ColName) const {
  return type_of(column_named(worker_.current_table, ColName));
}
std::int32_t CData::Table_ColumnPosLength(std::int16_t ColPos) const {
  return length_of(column_at(worker_.current_table, ColPos));
}
std::int32_t CData::Table_ColumnLength(const std::string& ColName) const {
  return length_of(column_named(worker_.current_table, ColName));
}

bool CData::Table_ColumnKey(const std::string& ColName) const {
  if (!worker_.current_table) return false;
  // The first index with the column decides, even when a later one is the primary key.
  for (const ado::IndexDefinition& index : worker_.current_table->definition.indexes) {
    if (std::find(index.columns.begin(), index.columns.end(), ColName) != index.columns.end()) {
      return index.primary;
    }
  }
  return false;
}

bool CData::Table_ColumnExist(const std::string& ColName) const {
  return column_named(worker_.current_table, ColName) != nullptr;
}

bool CData::Table_Create(const std::string& strName) {
  return guarded({"Table_Create"}, [&] {
    worker_.catalog();
    // What is in the database keeps its name.
    if (!worker_.current_table || worker_.current_table->is_stored) worker_.current_table.emplace();
    worker_.current_table->definition.name = strName;
    return true;
  });
}

bool CData::Table_AddColumn(const std::string& ColName, Ref<std::int32_t> ColType, std::int16_t ColSize,
                            bool AllowNull) {
  return guarded({"Table_AddColumn"}, [&] {
    const std::int32_t type = used_type(worker_.settings.kind, ColType.value());
    ColType.set(type);
    ado::ColumnDefinition column;
    column.name = ColName;
    column.type = static_cast<DataType>(type);
    column.defined_size = ColSize;
    column.nullable = AllowNull;
    // Elsewhere an empty text is a value like any other.
    column.allow_zero_length = AllowNull || worker_.settings.kind != data::Conn_Jet;
    ado::Table& table = worker_.table_definition();
    worker_.catalog().append_column(table, column);
    return true;
  });
}

bool CData::Table_DeleteColumn(const std::string& ColName) {
  return guarded({"Table_DeleteColumn"}, [&] {
    ado::Table& table = worker_.table_definition();
    worker_.catalog().delete_column(table, ColName);
    return true;
  });
}

Variant CData::Table_AddIndex(const std::string& IndexName, bool PrimaryKey, bool Unique,
                              const std::string& Columns) {
  if (Columns.empty()) return true;
  return guarded({"Table_AddIndex"}, [&]() -> Variant {
    ado::IndexDefinition index{IndexName, PrimaryKey, Unique, {}};
    for (const std::string_view name : text::split(Columns, ",")) index.columns.emplace_back(name);
    ado::Table& table = worker_.table_definition();
    worker_.catalog().append_index(table, index);
    return true;
  });
}

bool CData::Table_Store() {
  return guarded({"Table_Store"}, [&] {
    ado::Table& table = worker_.table_definition();
    worker_.catalog().append(table);
    return true;
  });
}

bool CData::Table_CreateProcedure(const std::string& ProcName, const std::string& strProc) {
  return guarded({"Table_CreateProcedure"}, [&] {
    worker_.catalog().append_procedure(ProcName, strProc);
    return true;
  });
}

}  // namespace quarno
