#include "ado/persist/snapshot_writer.h"

#include <algorithm>
#include <charconv>
#include <unordered_set>

#include "ado/ado_error.h"
#include "ado/persist/schema.h"
#include "ado/persist/snapshot_error.h"
#include "ado/persist/value_text.h"
#include "ado/persist/value_type.h"
#include "common/text.h"

namespace quarno::ado::persist {
namespace {

constexpr std::string_view kLine = "\r\n";

// A name that can be an attribute's as it is. Those that begin with "xml" mean something to parsers.
bool is_plain(std::string_view name) {
  const auto is_letter = [](char c) { return (c >= 'a' && c <= 'z') || (c >= 'A' && c <= 'Z') || c == '_'; };
  const auto is_digit = [](char c) { return c >= '0' && c <= '9'; };
  if (name.empty() || !is_letter(name.front()) || text::equal_fold(name.substr(0, 3), "xml")) return false;
  // A short form of another column.
  if ((name.front() == 'c' || name.front() == 'C') && name.size() > 1 &&
      std::ranges::all_of(name.substr(1), is_digit)) {
    return false;
  }
  return std::ranges::all_of(name, [&](char c) { return is_letter(c) || is_digit(c); });
}

// What a value is to the format: an empty binary value cannot be told from null in it.
bool is_absent(const Variant& value) {
  const auto* const bytes = value.get_if<Variant::Bytes>();
  return value.is_null() || value.is_empty() || (bytes != nullptr && bytes->empty());
}

// A size of 0 sets no limit here. Other readers would cut the values to nothing.
Column with_size(Column column) {
  column.type = column.defined_size == 0 ? unlimited(column.type) : column.type;
  if (column.defined_size != 0 || !is_long(column.type)) return column;
  column.defined_size = longest_of(column.type);
  column.attributes = (column.attributes & ~adFldFixed) | adFldLong;
  return column;
}

class TableWriter {
 public:
  TableWriter(const TableToSave& table, Output& output);

  void write_schema(const std::string& indent, std::string_view element, const ChapterToSave* chapter,
                    const TableWriter* parent);
  /// One row with its children; those that were written before are marked.
  void write_row(std::string_view indent, std::size_t row, std::string_view element, bool is_duplicate);
  void write_rows(std::span<const std::size_t> order);
  /// Looks at the values once: a file in which they do not fit their columns could not be read again.
  void fit_columns(std::span<const std::size_t> order);

 private:
  enum class Part { all, original, assigned, new_row };

  void write_column(const std::string& indent, std::size_t index) const;
  void write_type(const Column& column) const;
  void write_fields(std::size_t row, Part part);
  void write_changed_row(std::size_t row);
  void text_attribute(std::string_view name, std::string_view text, std::string_view of_column) const;
  void number_attribute(std::string_view name, std::int64_t number) const;
  void put(std::string_view text) const { output_.put(text); }
  // Whose rows and description come from the table's chapters.
  bool is_chapter(std::size_t column) const { return columns_[column].type == DataType::chapter; }
  const RowSet::Pending* pending(std::size_t row) const {
    const auto found = rows_.pending().find(row);
    return found == rows_.pending().end() ? nullptr : &found->second;
  }

  const TableToSave& table_;
  RowSet& rows_;
  Output& output_;
  std::vector<Column> columns_;         // as they are written
  std::vector<std::uint32_t> numbers_;  // of the columns
  std::vector<std::string> keys_;       // names of the columns' attributes in rows
  std::vector<std::string> openings_;   // what stands before a column's value
  std::vector<TableWriter> chapters_;
  std::vector<std::string> chapter_keys_;
  std::vector<bool> written_;  // rows of a chapter
  std::size_t written_count_ = 0;
};

TableWriter::TableWriter(const TableToSave& table, Output& output)
    : table_(table), rows_(*table.rows), output_(output) {
  for (const Column& column : rows_.columns()) columns_.push_back(with_size(column));
  std::unordered_set<std::string> taken;
  const auto key_for = [&](const std::string& name, std::uint32_t number) {
    const bool is_kept = is_plain(name) && taken.insert(text::lower_ascii(name)).second;
    return is_kept ? name : "c" + std::to_string(number - 1);
  };
  std::uint32_t number = 1;
  const auto is_taken = [&] {
    return std::ranges::any_of(table.chapters,
                               [&](const ChapterToSave& c) { return c.position + 1 == number; });
  };
  for (const Column& column : columns_) {
    if (column.type == DataType::chapter) {
      numbers_.push_back(0);
      keys_.emplace_back();
      openings_.emplace_back();
      continue;
    }
    while (is_taken()) ++number;
    keys_.push_back(key_for(column.name, number));
    openings_.push_back(" " + keys_.back() + "='");
    numbers_.push_back(number++);
  }
  for (const ChapterToSave& chapter : table.chapters) {
    chapters_.emplace_back(chapter.table, output);
    chapter_keys_.push_back(key_for(chapter.name, static_cast<std::uint32_t>(chapter.position + 1)));
  }
}

void TableWriter::fit_columns(std::span<const std::size_t> order) {
  for (std::size_t i = 0; i < columns_.size(); ++i) {
    Column& column = columns_[i];
    if (is_chapter(i)) continue;
    const bool may_be_null = (column.attributes & (adFldIsNullable | adFldMayBeNull)) != 0;
    const bool is_bounded = is_text(column.type) && column.type != DataType::guid &&
                            column.defined_size > 0 && column.defined_size < longest_of(column.type);
    if (may_be_null && !is_bounded) continue;
    const auto look_at = [&](const Variant& value, bool counts_null) {
      if (counts_null && is_absent(value)) column.attributes |= adFldIsNullable;
      const auto* const text = is_bounded ? value.get_if<std::string>() : nullptr;
      if (text != nullptr && text->size() > static_cast<std::size_t>(column.defined_size)) {
        column.defined_size = std::max(column.defined_size, static_cast<std::int64_t>(text::length(*text)));
      }
    };
    for (const std::size_t row : order) look_at(rows_.value(row, i), pending(row) == nullptr);
    for (const auto& [row, change] : rows_.pending()) {
      if (change.kind != adRecNew) look_at(rows_.original_value(row, i), true);
    }
  }
  for (TableWriter& chapter : chapters_) {
    std::vector<std::size_t> all(chapter.rows_.row_count());
    for (std::size_t i = 0; i < all.size(); ++i) all[i] = i;
    chapter.fit_columns(all);
  }
}

void TableWriter::text_attribute(std::string_view name, std::string_view text,
                                 std::string_view of_column) const {
  put(" ");
  put(name);
  put("='");
  if (const Refusal refusal = write_text(output_, text); !refusal.empty()) {
    throw unwritable_value(0, of_column, refusal);
  }
  put("'");
}

void TableWriter::number_attribute(std::string_view name, std::int64_t number) const {
  put(" ");
  put(name);
  put("='");
  char* const at = output_.room(24);
  output_.end_at(std::to_chars(at, at + 24, number).ptr);
  put("'");
}

void TableWriter::write_schema(const std::string& indent, std::string_view element,
                               const ChapterToSave* chapter, const TableWriter* parent) {
  put(indent);
  put("<s:ElementType");
  text_attribute("name", element, element);
  if (chapter != nullptr && element != chapter->name) text_attribute("rs:name", chapter->name, chapter->name);
  put(" content='eltOnly'");
  if (table_.command_timeout) number_attribute("rs:CommandTimeout", *table_.command_timeout);
  if (table_.is_updatable) put(" rs:updatable='true'");
  if (!table_.reshape_name.empty()) text_attribute("rs:ReshapeName", table_.reshape_name, element);
  if (chapter != nullptr) {
    std::string words;
    const auto add = [&](std::uint32_t word) {
      for (int shift = 0; shift < 32; shift += 8) words += static_cast<char>(word >> shift & 0xFF);
    };
    for (const auto& [parent_column, own_column] : chapter->relation) {
      add(parent->numbers_.at(parent_column));
      add(numbers_.at(own_column));
      add(chapter->is_computed ? 1 : 0);
    }
    put(" rs:relation='");
    write_bytes(output_, words);
    put("'");
  }
  put(">\r\n");
  for (std::size_t i = 0; i < columns_.size(); ++i) {
    if (!is_chapter(i)) write_column(indent, i);
  }
  for (std::size_t i = 0; i < chapters_.size(); ++i) {
    chapters_[i].write_schema(indent + "\t", chapter_keys_[i], &table_.chapters[i], this);
  }
  put(indent);
  put("\t<s:extends type='rs:rowbase'/>\r\n");
  put(indent);
  put("</s:ElementType>\r\n");
}

void TableWriter::write_column(const std::string& indent, std::size_t index) const {
  const Column& column = columns_[index];
  put(indent);
  put("\t<s:AttributeType");
  text_attribute("name", keys_[index], column.name);
  if (keys_[index] != column.name) text_attribute("rs:name", column.name, column.name);
  number_attribute("rs:number", numbers_[index]);
  const auto flag = [&](std::int32_t bit, std::string_view word) {
    if ((column.attributes & bit) != 0) put(word);
  };
  flag(adFldRowID, " rs:rowid='true'");
  flag(adFldIsNullable, " rs:nullable='true'");
  flag(adFldMayDefer, " rs:maydefer='true'");
  flag(adFldCacheDeferred, " rs:cachedeferred='true'");
  flag(adFldRowVersion, " rs:rowver='true'");
  flag(adFldUpdatable, " rs:write='true'");
  if ((column.attributes & adFldUpdatable) == 0) flag(adFldUnknownUpdatable, " rs:writeunknown='true'");
  if (table_.is_updatable && !column.base_table.empty()) {
    text_attribute("rs:basetable", column.base_table, column.name);
    text_attribute("rs:basecolumn", column.base_column, column.name);
    if (column.key || (column.attributes & adFldKeyColumn) != 0) put(" rs:keycolumn='true'");
  }
  if (column.hidden) put(" rs:hidden='true'");
  if (column.auto_increment) put(" rs:autoincrement='true'");
  put(">\r\n");
  put(indent);
  put("\t\t<s:datatype");
  write_type(column);
  put("/>\r\n");
  put(indent);
  put("\t</s:AttributeType>\r\n");
}

void TableWriter::write_type(const Column& column) const {
  const TypeName* const name = type_name_of(column.type);
  if (name == nullptr) throw unwritable_value(0, column.name, "A file has no columns of this type.");
  const bool is_made = !table_.command_timeout;
  text_attribute("dt:type", name->name, column.name);
  if (!name->source_type.empty()) text_attribute("rs:dbtype", name->source_type, column.name);
  const std::int64_t size = name->size != 0 ? name->size : column.defined_size;
  if (size != 0 && column.type != DataType::variant) number_attribute("dt:maxLength", size);
  const bool is_timestamp = column.type == DataType::db_timestamp;
  const bool has_scale = layout_of(column.type) == Layout::decimal || column.type == kVarNumeric ||
                         is_timestamp || column.type == kFileTime;
  if (has_scale && column.scale != 255) {
    number_attribute("rs:scale", column.scale);
  } else if (is_made && is_timestamp) {
    put(" rs:scale='0'");
  }
  if (column.precision != 255 || is_made) {
    number_attribute("rs:precision", column.precision == 255 ? 0 : column.precision);
  }
  if (name->is_fixed || (column.attributes & adFldFixed) != 0) put(" rs:fixedlength='true'");
  if (is_long(column.type) || column.type == DataType::bstr) put(" rs:long='true'");
  if ((column.attributes & adFldMayBeNull) == 0) put(" rs:maybenull='false'");
}

void TableWriter::write_fields(std::size_t row, Part part) {
  const RowSet::Pending* const change =
      part == Part::assigned || part == Part::new_row ? pending(row) : nullptr;
  std::string nulls;
  for (std::size_t i = 0; i < columns_.size(); ++i) {
    const bool is_assigned = change != nullptr && change->assigned[i];
    if (is_chapter(i) || (part == Part::assigned && !is_assigned)) continue;
    const Variant value = part == Part::original ? rows_.original_value(row, i) : rows_.value(row, i);
    if (is_absent(value)) {
      if (is_assigned) nulls.append(nulls.empty() ? "" : " ").append(keys_[i]);
      continue;
    }
    put(openings_[i]);
    if (const Refusal refusal = write_value(output_, columns_[i], value); !refusal.empty()) {
      throw unwritable_value(written_count_ + 1, columns_[i].name, refusal);
    }
    output_.put('\'');
  }
  if (!nulls.empty()) text_attribute("rs:forcenull", nulls, "");
}

void TableWriter::write_row(std::string_view indent, std::size_t row, std::string_view element,
                            bool is_duplicate) {
  const Part part = pending(row) == nullptr ? Part::all : Part::new_row;
  put(indent);
  output_.put('<');
  put(element);
  write_fields(row, part);
  if (is_duplicate) put(" rs:duplicate='true'");
  ++written_count_;
  std::vector<std::size_t> children;
  bool is_open = false;
  for (std::size_t i = 0; i < chapters_.size(); ++i) {
    const ChapterToSave& chapter = table_.chapters[i];
    TableWriter& writer = chapters_[i];
    children.clear();
    chapter.children_of(row, children);
    for (const std::size_t child : children) {
      if (!is_open) put(">\r\n");
      is_open = true;
      if (writer.written_.size() <= child) writer.written_.resize(writer.rows_.row_count());
      writer.write_row(std::string(indent) + "\t", child, chapter_keys_[i], writer.written_[child]);
      writer.written_[child] = true;
    }
  }
  if (!is_open) return put("/>\r\n");
  put(indent);
  put("</");
  put(element);
  put(">\r\n");
}

void TableWriter::write_changed_row(std::size_t row) {
  put("\t<rs:update>\r\n\t\t<rs:original>\r\n\t\t\t<z:row");
  write_fields(row, Part::original);
  put("/>\r\n\t\t</rs:original>\r\n\t\t<z:row");
  write_fields(row, Part::assigned);
  put("/>\r\n\t</rs:update>\r\n");
  ++written_count_;
}

// New rows that are neighbours share one part; the deleted ones are the last, with what they were.
void TableWriter::write_rows(std::span<const std::size_t> order) {
  bool in_insert = false;
  const auto set_insert = [&](bool to) {
    if (in_insert != to) put(to ? "\t<rs:insert>\r\n" : "\t</rs:insert>\r\n");
    in_insert = to;
  };
  const bool is_changed = !rows_.pending().empty();
  for (const std::size_t row : order) {
    if (rows_.is_deleted(row)) continue;
    const RowSet::Pending* const change = is_changed ? pending(row) : nullptr;
    set_insert(change != nullptr && change->kind == adRecNew);
    if (change != nullptr && change->kind == adRecModified) {
      write_changed_row(row);
    } else {
      write_row(in_insert ? "\t\t" : "\t", row, "z:row", false);
    }
  }
  set_insert(false);
  bool in_delete = false;
  for (const auto& [row, change] : rows_.pending()) {
    if (change.kind != adRecDeleted) continue;
    if (!in_delete) put("\t<rs:delete>\r\n");
    in_delete = true;
    put("\t\t<z:row");
    write_fields(row, Part::original);
    put("/>\r\n");
    ++written_count_;
  }
  if (in_delete) put("\t</rs:delete>\r\n");
}

bool has_pending(const TableToSave& table) {
  return !table.rows->pending().empty() ||
         std::ranges::any_of(table.chapters, [](const ChapterToSave& c) { return has_pending(c.table); });
}

}  // namespace

void write_snapshot(const TableToSave& table, std::span<const std::size_t> order, const ByteSink& sink) {
  if (!table.chapters.empty() && has_pending(table)) throw model_error(Model::feature_not_available);
  Output output(sink);
  TableWriter writer(table, output);
  writer.fit_columns(order);
  const auto space = [&](std::string_view before, std::string_view uri) {
    output.put(before);
    output.put(uri);
    output.put("'");
  };
  space("<xml xmlns:s='", kSchemaSpace);
  space("\r\n\txmlns:dt='", kTypeSpace);
  space("\r\n\txmlns:rs='", kRowsetSpace);
  output.put("\r\n\txmlns:z='#RowsetSchema'>\r\n<s:Schema id='RowsetSchema'>\r\n");
  writer.write_schema("\t", "row", nullptr, nullptr);
  output.put("</s:Schema>\r\n<rs:data>\r\n");
  writer.write_rows(order);
  output.put("</rs:data>\r\n</xml>");
  output.flush();
}

void save_snapshot(std::string_view path, const TableToSave& table, std::span<const std::size_t> order,
                   OverFile over) {
  WholeFile file(path);
  write_snapshot(table, order, [&](std::string_view bytes) { file.write(bytes); });
  file.place(over);
}

}  // namespace quarno::ado::persist
