#include "providers/desktop/dbase/module.h"

#include <algorithm>
#include <charconv>
#include <cstring>
#include <new>

#include "ado/ado_error.h"
#include "common/date_text.h"
#include "common/text.h"
#include "providers/desktop/dbase/commit.h"
#include "providers/desktop/dbase/values.h"
#include "providers/desktop/functions/functions.h"

namespace quarno::desktop::dbase {
namespace {

constexpr std::size_t kBlockBytes = std::size_t{256} * 1024;
// Plans beside reading all: by a record's number, and by what columns hold.
constexpr int kOneRecord = 1;
constexpr int kByValues = 2;
constexpr int kMostColumns = 8;

using TablePtr = std::shared_ptr<TableFile>;

struct Table : sqlite3_vtab {
  explicit Table(TablePtr table_file) : sqlite3_vtab{}, file(std::move(table_file)) {}
  TablePtr file;
};

struct Cursor : sqlite3_vtab_cursor {
  explicit Cursor(TableFile& table) : sqlite3_vtab_cursor{}, file(table) { file.begin_reading(); }
  ~Cursor() { file.end_reading(); }
  Cursor(const Cursor&) = delete;
  Cursor& operator=(const Cursor&) = delete;

  void start(std::uint32_t first, std::uint32_t behind, std::size_t block_bytes);
  void start_at(std::shared_ptr<const Lookup> found_by, std::span<const Lookup::Entry> found);
  void go_on();
  void settle();
  const char* locate();

  TableFile& file;
  std::uint32_t record = 0;
  std::uint32_t end = 0;
  const char* now = nullptr;  // bytes of the record; null behind the last
  std::vector<char> block;
  std::uint32_t block_first = 0;
  std::uint32_t block_records = 0;
  std::uint32_t most_records = 1;
  std::uint64_t version = 0;
  std::shared_ptr<const Lookup> lookup;  // what `hits` is a part of; null when all records are read
  std::span<const Lookup::Entry> hits;
  std::string own;  // a changed record, which the statement itself may change again
  std::string text;
};

void Cursor::start(std::uint32_t first, std::uint32_t behind, std::size_t block_bytes) {
  const std::uint32_t length = file.layout().record_length;
  most_records = static_cast<std::uint32_t>(std::max<std::size_t>(1, block_bytes / length));
  lookup = nullptr;
  record = first;
  end = std::min(behind, file.count());
  settle();
}

void Cursor::start_at(std::shared_ptr<const Lookup> found_by, std::span<const Lookup::Entry> found) {
  const std::size_t length = file.layout().record_length;
  // Wherever the hits are: one after the other, or the whole table when it is small.
  const bool is_small = file.count() <= kBlockBytes / length;
  most_records = is_small ? std::max<std::uint32_t>(1, file.count()) : 1;
  lookup = std::move(found_by);
  hits = found;
  end = file.count();
  record = hits.empty() ? end : hits.front().record;
  settle();
}

void Cursor::go_on() {
  if (lookup == nullptr) {
    ++record;
  } else {
    hits = hits.subspan(1);
    record = hits.empty() ? end : hits.front().record;
  }
}

// Goes on to the next record that is not deleted. New ones may have been rolled back meanwhile.
void Cursor::settle() {
  for (; record < std::min(end, file.count()); go_on()) {
    now = locate();
    if (*now != kDeleted) return;
  }
  now = nullptr;
}

const char* Cursor::locate() {
  const std::uint32_t length = file.layout().record_length;
  if (const char* changed = file.changed(record)) {
    own.assign(changed, length);
    return own.data();
  }
  const bool inside = record - block_first < block_records && version == file.version();
  if (!inside) {
    block_records = 0;
    const std::uint32_t first = most_records >= file.count() ? 0 : record;
    const std::uint32_t count = file.in_file(first, most_records);
    block.resize(std::size_t{count} * length);
    file.read_records(first, block);
    block_first = first;
    block_records = count;
    version = file.version();
  }
  return block.data() + std::size_t{record - block_first} * length;
}

int code_of(const Error& error) {
  switch (static_cast<RunTime>(error.number)) {
    case RunTime::out_of_memory: return SQLITE_NOMEM;
    case RunTime::disk_full: return SQLITE_FULL;
    case RunTime::device_io_error: return SQLITE_IOERR;
    default: break;
  }
  if (error.number == ado::kReadOnly) return SQLITE_READONLY;
  if (error.sql_state == "HYT00") return SQLITE_BUSY;
  if (error.sql_state == "22001") return SQLITE_TOOBIG;
  if (error.sql_state == "22018") return SQLITE_MISMATCH;
  return SQLITE_ERROR;
}

// Every entry from the engine goes through here: no exception may cross it.
template <class Work>
int guarded(sqlite3_vtab* table, Work&& work) {
  Error error(0, {});
  try {
    return work();
  } catch (...) {
    error = error_being_handled();
  }
  sqlite3_free(table->zErrMsg);
  table->zErrMsg = sqlite3_mprintf("%s", error.description.c_str());
  return code_of(error);
}

Table& table_of(sqlite3_vtab* table) { return *static_cast<Table*>(table); }
Cursor& cursor_of(sqlite3_vtab_cursor* cursor) { return *static_cast<Cursor*>(cursor); }
TableFile& file_of(sqlite3_vtab* table) { return *table_of(table).file; }

std::string declaration_of(const Layout& layout) {
  std::string text = "CREATE TABLE x(";
  for (const Field& field : layout.fields) {
    if (&field != &layout.fields.front()) text += ", ";
    text.push_back('"');
    for (const char c : field.name) text.append(c == '"' ? 2 : 1, c);
    text += "\" " + declaration(field);
    const bool is_text =
        field.kind == FieldKind::text || field.kind == FieldKind::memo || field.kind == FieldKind::unknown;
    if (is_text) text += " COLLATE JET";
  }
  return text + ")";
}

int connect(sqlite3* database, void* aux, int, const char* const*, sqlite3_vtab** table, char** message) {
  const auto& file = *static_cast<TablePtr*>(aux);
  const int result = sqlite3_declare_vtab(database, declaration_of(file->layout()).c_str());
  if (result != SQLITE_OK) {
    *message = sqlite3_mprintf("%s", sqlite3_errmsg(database));
    return result;
  }
  *table = new (std::nothrow) Table(file);
  return *table == nullptr ? SQLITE_NOMEM : SQLITE_OK;
}

int disconnect(sqlite3_vtab* table) {
  delete &table_of(table);
  return SQLITE_OK;
}

// Those of the engine's orders under which equal texts are found by their lookup.
bool finds_all_equal(std::string_view collation) {
  return collation == kCollation || collation == "NOCASE" || collation == "BINARY";
}

int plan_by_values(const Layout& layout, sqlite3_index_info* info) {
  std::string columns;
  int count = 0;
  for (int i = 0; i < info->nConstraint && count < kMostColumns; ++i) {
    const auto& constraint = info->aConstraint[i];
    if (constraint.usable == 0 || constraint.iColumn < 0 || constraint.op != SQLITE_INDEX_CONSTRAINT_EQ)
      continue;
    if (!can_be_sought(layout.fields[static_cast<std::size_t>(constraint.iColumn)]) ||
        !finds_all_equal(sqlite3_vtab_collation(info, i)))
      continue;
    info->aConstraintUsage[i].argvIndex = ++count;
    columns += std::to_string(constraint.iColumn) + " ";
  }
  if (count == 0) return SQLITE_OK;
  info->idxStr = sqlite3_mprintf("%s", columns.c_str());
  if (info->idxStr == nullptr) return SQLITE_NOMEM;
  info->needToFreeIdxStr = 1;
  info->idxNum = kByValues;
  info->estimatedRows = std::min<sqlite3_int64>(info->estimatedRows, 10);
  info->estimatedCost = 10 + static_cast<double>(info->estimatedRows);
  return SQLITE_OK;
}

int best_index(sqlite3_vtab* table, sqlite3_index_info* info) {
  const double rows = file_of(table).count();
  info->estimatedCost = rows + 30;
  info->estimatedRows = static_cast<sqlite3_int64>(rows) + 1;
  for (int i = 0; i < info->nConstraint; ++i) {
    const auto& constraint = info->aConstraint[i];
    if (constraint.usable == 0 || constraint.iColumn != -1 || constraint.op != SQLITE_INDEX_CONSTRAINT_EQ)
      continue;
    info->aConstraintUsage[i].argvIndex = 1;
    info->aConstraintUsage[i].omit = 1;
    info->idxNum = kOneRecord;
    info->idxFlags = SQLITE_INDEX_SCAN_UNIQUE;
    info->estimatedCost = 1;
    info->estimatedRows = 1;
    return SQLITE_OK;
  }
  return plan_by_values(file_of(table).layout(), info);
}

int open_cursor(sqlite3_vtab* table, sqlite3_vtab_cursor** cursor) {
  // A statement from before the table was dropped and made again: the engine prepares it anew.
  if (file_of(table).is_gone()) return SQLITE_SCHEMA;
  return guarded(table, [&] {
    *cursor = new Cursor(file_of(table));
    return SQLITE_OK;
  });
}

int close_cursor(sqlite3_vtab_cursor* cursor) {
  delete &cursor_of(cursor);
  return SQLITE_OK;
}

std::vector<std::size_t> numbers_in(const char* text) {
  std::vector<std::size_t> numbers;
  for (const std::string_view piece : text::split(text, " ")) {
    std::size_t number = 0;
    const auto result = std::from_chars(piece.data(), piece.data() + piece.size(), number);
    if (result.ec == std::errc()) numbers.push_back(number);
  }
  return numbers;
}

// False when the table has to be read for it.
bool seek(Cursor& cursor, const char* plan, sqlite3_value** values) {
  const std::vector<std::size_t> columns = numbers_in(plan);
  const Sought what = sought(cursor.file.layout(), columns, values);
  if (what.is == Sought::Is::nowhere) return cursor.start(UINT32_MAX, 0, 1), true;
  if (what.is == Sought::Is::anywhere) return false;
  auto lookup = cursor.file.lookups().for_columns(cursor.file, columns);
  if (lookup == nullptr) return false;
  const auto found = lookup->find(what.hash);
  cursor.start_at(std::move(lookup), found);
  return true;
}

int filter(sqlite3_vtab_cursor* cursor, int plan, const char* columns, int, sqlite3_value** values) {
  Cursor& self = cursor_of(cursor);
  return guarded(cursor->pVtab, [&] {
    if (plan == kByValues && seek(self, columns, values)) return SQLITE_OK;
    if (plan != kOneRecord) {
      self.start(0, UINT32_MAX, kBlockBytes);
      return SQLITE_OK;
    }
    // A text or a fraction that is no whole number finds nothing.
    const bool is_whole =
        sqlite3_value_numeric_type(values[0]) == SQLITE_INTEGER ||
        sqlite3_value_double(values[0]) == static_cast<double>(sqlite3_value_int64(values[0]));
    const sqlite3_int64 number = is_whole ? sqlite3_value_int64(values[0]) : 0;
    const bool inside =
        number >= 1 && number <= self.file.count() && sqlite3_value_type(values[0]) != SQLITE_NULL;
    const auto first = inside ? static_cast<std::uint32_t>(number - 1) : UINT32_MAX - 1;
    self.start(first, first + 1, 1);
    return SQLITE_OK;
  });
}

int next(sqlite3_vtab_cursor* cursor) {
  Cursor& self = cursor_of(cursor);
  return guarded(cursor->pVtab, [&] {
    self.go_on();
    self.settle();
    return SQLITE_OK;
  });
}

int at_end(sqlite3_vtab_cursor* cursor) { return cursor_of(cursor).now == nullptr ? 1 : 0; }

int row_id(sqlite3_vtab_cursor* cursor, sqlite3_int64* number) {
  *number = sqlite3_int64{cursor_of(cursor).record} + 1;
  return SQLITE_OK;
}

void give_text(sqlite3_context* context, std::string_view text) {
  sqlite3_result_text64(context, text.data(), text.size(), SQLITE_TRANSIENT, SQLITE_UTF8);
}

void give_memo(Cursor& cursor, sqlite3_context* context, const Field& field, std::string_view bytes) {
  MemoFile* const memo = cursor.file.memo();
  const auto text = memo == nullptr ? std::nullopt : memo->read(read_block_number(bytes));
  if (!text) return;
  if (field.kind == FieldKind::binary) {
    return sqlite3_result_blob64(context, text->data(), text->size(), SQLITE_TRANSIENT);
  }
  give_text(context, cursor.file.text_form().decode(*text, cursor.text));
}

void give_value(Cursor& cursor, sqlite3_context* context, const Field& field) {
  const std::string_view bytes(cursor.now + field.offset, field.width);
  switch (field.kind) {
    case FieldKind::number:
      if (const auto number = read_number(bytes)) sqlite3_result_double(context, *number);
      return;
    case FieldKind::date:
      if (const auto days = read_date(bytes)) sqlite3_result_double(context, *days);
      return;
    case FieldKind::logical:
      if (const auto value = read_logical(bytes)) sqlite3_result_int(context, *value ? -1 : 0);
      return;
    case FieldKind::memo:
    case FieldKind::binary: return give_memo(cursor, context, field, bytes);
    default:
      // A field has no other way to say that it has no value.
      if (const auto text = read_text(bytes); !text.empty()) {
        give_text(context, cursor.file.text_form().decode(text, cursor.text));
      }
  }
}

int column(sqlite3_vtab_cursor* cursor, sqlite3_context* context, int index) {
  Cursor& self = cursor_of(cursor);
  // What an update leaves alone needs no value.
  if (sqlite3_vtab_nochange(context) != 0) return SQLITE_OK;
  return guarded(cursor->pVtab, [&] {
    give_value(self, context, self.file.layout().fields[static_cast<std::size_t>(index)]);
    return SQLITE_OK;
  });
}

std::string_view text_of(sqlite3_value* value) {
  const auto* const text = reinterpret_cast<const char*>(sqlite3_value_text(value));
  return {text == nullptr ? "" : text, static_cast<std::size_t>(sqlite3_value_bytes(value))};
}

Error wrong_type(const Field& field) {
  return refusal(ado::kTypeMismatchInCriteria, "The value cannot be kept in field '" + field.name + "'.",
                 "22018");
}

Error too_wide(const Field& field) {
  return refusal(ado::kMultipleStep,
                 "Field '" + field.name + "' is too small to accept the value you attempted to add.",
                 "22001");
}

// Text for a text field: numbers as they are read elsewhere, 12 and not 12.0.
std::string plain_text(sqlite3_value* value) {
  std::string text(text_of(value));
  if (sqlite3_value_type(value) == SQLITE_FLOAT && text.ends_with(".0")) text.resize(text.size() - 2);
  return text;
}

std::string encoded(TableFile& file, const Field& field, sqlite3_value* value) {
  if (sqlite3_value_type(value) == SQLITE_BLOB) throw wrong_type(field);
  const auto bytes = file.text_form().encode(plain_text(value));
  if (!bytes) {
    throw refusal(
        ado::kTypeMismatchInCriteria,
        "A character in the value for field '" + field.name + "' does not exist in the table's code page.",
        "22018");
  }
  return *bytes;
}

void put_text(TableFile& file, const Field& field, std::span<char> bytes, sqlite3_value* value) {
  const std::string text = encoded(file, field, value);
  // Reading would end there.
  if (text.find('\0') != std::string::npos) {
    throw refusal(ado::kMultipleStep, "Field '" + field.name + "' cannot keep a NUL character.", "22001");
  }
  if (!write_text(bytes, text)) throw too_wide(field);
}

void put_memo(TableFile& file, const Field& field, std::span<char> bytes, sqlite3_value* value) {
  const std::string text = encoded(file, field, value);
  if (text.empty()) return std::fill(bytes.begin(), bytes.end(), ' ');
  if (file.memo() == nullptr) {
    throw refusal(ado::kUnspecified, "The memo file of '" + file.name() + "' is missing.");
  }
  const auto block = file.memo()->append(text);
  if (!block) throw wrong_type(field);
  if (!write_block_number(bytes, *block)) throw too_wide(field);
}

void put_number(const Field& field, std::span<char> bytes, sqlite3_value* value) {
  const int type = sqlite3_value_type(value);
  bool fits = false;
  if (type == SQLITE_INTEGER) {
    fits = write_number(bytes, std::int64_t{sqlite3_value_int64(value)}, field.decimals);
  } else if (type == SQLITE_FLOAT) {
    fits = write_number(bytes, sqlite3_value_double(value), field.decimals);
  } else {
    // Exact numbers come as text or as the bytes of one.
    const std::string_view text = text_of(value);
    const auto number = read_number(text);
    if (!number) throw wrong_type(field);
    fits = write_number(bytes, *number, field.decimals);
  }
  if (!fits) throw too_wide(field);
}

void put_date(const Field& field, std::span<char> bytes, sqlite3_value* value) {
  std::optional<Date> date;
  const int type = sqlite3_value_type(value);
  if (type == SQLITE_INTEGER || type == SQLITE_FLOAT) date = Date{sqlite3_value_double(value)};
  if (type == SQLITE_TEXT) date = parse_date(text_of(value), LocaleInfo{});
  // There is no room for a time of day.
  if (!date || !write_date(bytes, date->days)) throw wrong_type(field);
}

void put_logical(const Field& field, std::span<char> bytes, sqlite3_value* value) {
  if (bytes.empty()) throw too_wide(field);
  std::optional<bool> truth;
  const int type = sqlite3_value_type(value);
  if (type == SQLITE_INTEGER || type == SQLITE_FLOAT) truth = sqlite3_value_double(value) != 0;
  if (type == SQLITE_TEXT) truth = read_logical(text_of(value));
  if (!truth) throw wrong_type(field);
  std::fill(bytes.begin(), bytes.end(), ' ');
  bytes.front() = *truth ? 'T' : 'F';
}

void put_value(TableFile& file, const Field& field, std::string& record, sqlite3_value* value) {
  const std::span<char> bytes(record.data() + field.offset, field.width);
  if (sqlite3_value_type(value) == SQLITE_NULL) return std::fill(bytes.begin(), bytes.end(), ' ');
  switch (field.kind) {
    case FieldKind::text: return put_text(file, field, bytes, value);
    case FieldKind::number: return put_number(field, bytes, value);
    case FieldKind::date: return put_date(field, bytes, value);
    case FieldKind::logical: return put_logical(field, bytes, value);
    case FieldKind::memo: return put_memo(file, field, bytes, value);
    default: throw wrong_type(field);
  }
}

// The record that a row number names; raises when there is none.
std::uint32_t record_of(const TableFile& file, sqlite3_value* value) {
  const sqlite3_int64 number = sqlite3_value_int64(value);
  if (number < 1 || number > file.count()) {
    throw refusal(ado::kErrorsInCommand, "There is no record of that number.", "42000");
  }
  return static_cast<std::uint32_t>(number - 1);
}

void insert(TableFile& file, sqlite3_value** values, sqlite3_int64* number) {
  if (sqlite3_value_type(values[1]) != SQLITE_NULL) {
    throw refusal(ado::kErrorsInCommand, "A record's number is its place in the file and cannot be chosen.",
                  "42000");
  }
  const Layout& layout = file.layout();
  std::string record(layout.record_length, ' ');
  for (std::size_t i = 0; i < layout.fields.size(); ++i)
    put_value(file, layout.fields[i], record, values[i + 2]);
  *number = sqlite3_int64{file.append(record)} + 1;
}

void change(TableFile& file, sqlite3_value** values) {
  const std::uint32_t number = record_of(file, values[0]);
  if (sqlite3_value_int64(values[1]) != sqlite3_value_int64(values[0])) {
    throw refusal(ado::kErrorsInCommand, "A record's number is its place in the file and cannot be changed.",
                  "42000");
  }
  const Layout& layout = file.layout();
  std::string record = file.record(number);
  for (std::size_t i = 0; i < layout.fields.size(); ++i) {
    if (sqlite3_value_nochange(values[i + 2]) == 0) put_value(file, layout.fields[i], record, values[i + 2]);
  }
  file.replace(number, record);
}

int update(sqlite3_vtab* table, int count, sqlite3_value** values, sqlite3_int64* number) {
  return guarded(table, [&] {
    TableFile& file = file_of(table);
    if (count == 1) {
      const std::uint32_t deleted = record_of(file, values[0]);
      std::string record = file.record(deleted);
      record[0] = kDeleted;
      file.replace(deleted, record);
    } else if (sqlite3_value_type(values[0]) == SQLITE_NULL) {
      insert(file, values, number);
    } else {
      change(file, values);
    }
    return SQLITE_OK;
  });
}

int begin(sqlite3_vtab* table) {
  if (file_of(table).is_gone()) return SQLITE_SCHEMA;
  return guarded(table, [&] {
    file_of(table).begin_writing();
    return SQLITE_OK;
  });
}

// All tables of the connection are committed together, when the engine asks the first of them.
int sync(sqlite3_vtab* table) {
  return guarded(table, [&] {
    commit(file_of(table).site());
    return SQLITE_OK;
  });
}

int end_transaction(sqlite3_vtab* table) {
  file_of(table).end_writing();
  return SQLITE_OK;
}

template <void (Changes::*step)(int)>
int to_changes(sqlite3_vtab* table, int level) {
  return guarded(table, [&] {
    (file_of(table).changes().*step)(level);
    return SQLITE_OK;
  });
}

const sqlite3_module kModule = {
    .iVersion = 2,
    .xCreate = nullptr,  // tables exist by their module's name alone
    .xConnect = connect,
    .xBestIndex = best_index,
    .xDisconnect = disconnect,
    .xDestroy = disconnect,
    .xOpen = open_cursor,
    .xClose = close_cursor,
    .xFilter = filter,
    .xNext = next,
    .xEof = at_end,
    .xColumn = column,
    .xRowid = row_id,
    .xUpdate = update,
    .xBegin = begin,
    .xSync = sync,
    .xCommit = end_transaction,
    .xRollback = end_transaction,
    .xFindFunction = nullptr,
    .xRename = nullptr,
    .xSavepoint = to_changes<&Changes::savepoint>,
    .xRelease = to_changes<&Changes::release>,
    .xRollbackTo = to_changes<&Changes::rollback_to>,
    .xShadowName = nullptr,
};

void release_aux(void* aux) { delete static_cast<TablePtr*>(aux); }

void require(int result, sqlite3* database) {
  if (result != SQLITE_OK) throw refusal(ado::kUnspecified, sqlite3_errmsg(database));
}

}  // namespace

void bring_table(sqlite3* database, const std::string& name, std::shared_ptr<TableFile> table) {
  // The engine releases what it is given, also when it fails.
  auto* const aux = new TablePtr(std::move(table));
  require(sqlite3_create_module_v2(database, name.c_str(), &kModule, aux, release_aux), database);
}

void forget_table(sqlite3* database, const std::string& name) {
  require(sqlite3_create_module_v2(database, name.c_str(), nullptr, nullptr, nullptr), database);
}

}  // namespace quarno::desktop::dbase
