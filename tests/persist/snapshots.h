// Snapshots as tests need them: rows made up or read from bytes, written to bytes, and told as text.
#pragma once

#include <memory>
#include <string>
#include <vector>

#include "ado/cursor/row_set.h"
#include "ado/persist/snapshot_reader.h"
#include "ado/persist/snapshot_writer.h"
#include "ado/persist/value_text.h"
#include "ado/persist/value_type.h"

namespace quarno::test {

using namespace quarno::ado;  // NOLINT(google-build-using-namespace): tests of one folder

/// A result of these values.
class MadeRows : public Rows {
 public:
  MadeRows(std::vector<Column> columns, std::vector<std::vector<Variant>> rows)
      : columns_(std::move(columns)), rows_(std::move(rows)) {}
  const std::vector<Column>& columns() const override { return columns_; }
  std::size_t fetch(ColumnStore& store, std::size_t limit) override {
    std::size_t count = 0;
    for (; count < limit && next_ < rows_.size(); ++count, ++next_) {
      for (std::size_t i = 0; i < columns_.size(); ++i) store.column(i).append(rows_[next_][i]);
    }
    return count;
  }

 private:
  std::vector<Column> columns_;
  std::vector<std::vector<Variant>> rows_;
  std::size_t next_ = 0;
};

inline std::unique_ptr<RowSet> row_set(std::unique_ptr<Rows> rows, std::size_t block = 1000) {
  auto set = std::make_unique<RowSet>(std::move(rows));
  while (set->load(block)) continue;
  return set;
}

struct Opened {
  std::unique_ptr<RowSet> rows;
  std::shared_ptr<const persist::Extras> extras;
};

inline Opened opened(persist::ByteSource source, std::size_t block = 1000) {
  auto reader = std::make_unique<persist::SnapshotReader>(std::move(source));
  Opened result{nullptr, reader->extras()};
  result.rows = row_set(std::move(reader), block);
  persist::apply_pending(*result.extras, *result.rows);
  return result;
}
inline Opened opened(std::string_view bytes) { return opened(persist::memory_source(bytes)); }

/// What is saved, with the row sets of its chapters.
struct Saving {
  persist::TableToSave table;
  std::vector<std::unique_ptr<RowSet>> kept;
  std::vector<std::size_t> order;
};

inline std::vector<std::size_t> all_rows(const RowSet& rows) {
  std::vector<std::size_t> order(rows.row_count());
  for (std::size_t i = 0; i < order.size(); ++i) order[i] = i;
  return order;
}

inline void add_chapters(Saving& saving, persist::TableToSave& to,
                         const std::vector<persist::ChapterData>& chapters) {
  for (const persist::ChapterData& data : chapters) {
    std::vector<std::vector<Variant>> values(data.rows.row_count());
    for (std::size_t row = 0; row < values.size(); ++row) {
      for (std::size_t i = 0; i < data.columns.size(); ++i)
        values[row].push_back(data.rows.column(i).value(row));
    }
    RowSet* const parent = to.rows;
    RowSet* const child =
        saving.kept.emplace_back(row_set(std::make_unique<MadeRows>(data.columns, std::move(values)))).get();
    persist::ChapterToSave& chapter = to.chapters.emplace_back();
    chapter.name = data.name;
    chapter.position = data.position;
    chapter.relation = data.relation;
    chapter.is_computed = data.is_computed;
    chapter.table = {.rows = child,
                     .reshape_name = data.reshape_name,
                     .is_updatable = false,
                     .command_timeout = to.command_timeout,
                     .chapters = {}};
    chapter.children_of = [parent, child, relation = data.relation](std::size_t row, auto& children) {
      for (std::size_t candidate = 0; candidate < child->row_count(); ++candidate) {
        bool is_own = true;
        for (const auto& [from, own] : relation) {
          is_own = is_own && parent->value(row, from) == child->value(candidate, own);
        }
        if (is_own) children.push_back(candidate);
      }
    };
    add_chapters(saving, chapter.table, data.chapters);
  }
}

inline Saving saving(const Opened& from) {
  Saving result;
  result.table = {.rows = from.rows.get(),
                  .reshape_name = from.extras->reshape_name,
                  .is_updatable = from.extras->is_updatable,
                  .command_timeout = from.extras->command_timeout,
                  .chapters = {}};
  add_chapters(result, result.table, from.extras->chapters);
  result.order = all_rows(*from.rows);
  return result;
}

/// Rows that a host made.
inline Saving saving(RowSet& rows) {
  Saving result;
  result.table.rows = &rows;
  result.order = all_rows(rows);
  return result;
}

inline std::string saved(const Saving& what) {
  std::string bytes;
  persist::write_snapshot(what.table, what.order, [&](std::string_view part) { bytes += part; });
  return bytes;
}
inline std::string saved(const Opened& what) { return saved(saving(what)); }

/// A value as a snapshot has it; NULL for none.
inline std::string told(const Column& column, const Variant& value) {
  if (value.is_null()) return "NULL";
  std::string text;
  persist::Output output([&](std::string_view part) { text += part; });
  const auto refusal = persist::write_value(output, column, value);
  output.flush();
  return refusal.empty() ? text : std::string(refusal);
}

/// "name:type:size", with precision and scale where there are any.
inline std::string told(const std::vector<Column>& columns, bool with_all) {
  std::string text;
  for (const Column& c : columns) {
    text += (text.empty() ? "" : " ") + c.name + ":" + std::to_string(static_cast<int>(c.type)) + ":" +
            std::to_string(c.defined_size);
    if (c.scale != 255) text += "(" + std::to_string(c.precision) + "," + std::to_string(c.scale) + ")";
    if (c.hidden) text += "?";
    if (!with_all) continue;
    text += "/" + std::to_string(c.attributes) + "/" + std::to_string(c.precision) + "/" + c.base_table +
            "." + c.base_column + (c.key ? "!" : "") + (c.auto_increment ? "#" : "");
  }
  return text;
}

/// A row a line: "+" new, "*" changed (with what it was), "-" deleted, and its values.
inline std::string told(const RowSet& rows) {
  std::string text;
  for (std::size_t row = 0; row < rows.row_count(); ++row) {
    const auto pending = rows.pending().find(row);
    const auto kind = pending == rows.pending().end() ? adRecOK : pending->second.kind;
    text += kind == adRecNew ? "+" : kind == adRecModified ? "*" : kind == adRecDeleted ? "-" : "";
    for (std::size_t i = 0; i < rows.columns().size(); ++i) {
      const Column& column = rows.columns()[i];
      text += (i == 0 ? "" : "|") + told(column, rows.value(row, i));
      const bool is_assigned = kind != adRecOK && kind != adRecDeleted && pending->second.assigned[i];
      if (is_assigned) text += "=";
      if (kind == adRecModified && is_assigned) text += told(column, rows.original_value(row, i));
    }
    text += "\n";
  }
  return text;
}

inline std::string told(const std::vector<persist::ChapterData>& chapters) {
  std::string text;
  for (const persist::ChapterData& chapter : chapters) {
    text += chapter.name + "@" + std::to_string(chapter.position) + (chapter.is_computed ? "!" : "");
    for (const auto& [parent, own] : chapter.relation) {
      text += " " + std::to_string(parent) + "=" + std::to_string(own);
    }
    text += " [" + told(chapter.columns, false) + "]:";
    for (std::size_t row = 0; row < chapter.rows.row_count(); ++row) {
      for (std::size_t i = 0; i < chapter.columns.size(); ++i) {
        text += (i == 0 ? " " : "|") + told(chapter.columns[i], chapter.rows.column(i).value(row));
      }
    }
    text += "\n" + told(chapter.chapters);
  }
  return text;
}

inline std::string told(const Opened& what, bool with_all = true) {
  return told(what.rows->columns(), with_all) + "\n" + told(*what.rows) + told(what.extras->chapters);
}

/// A value of every type that a snapshot can hold, and how it is written.
struct TypeSample {
  std::string name;
  DataType type;
  std::int64_t size;
  Variant value;
  std::string written;
  std::uint8_t precision = 255;
  std::uint8_t scale = 255;
};

inline Date moment(int year, int month, int day, int hour = 0, int minute = 0, int second = 0,
                   int micro = 0) {
  return *date_from_civil({year, month, day, hour, minute, second, micro});
}

inline std::vector<TypeSample> type_samples() {
  using enum DataType;
  return {
      {"plain", integer, 4, std::int32_t{-2147483647 - 1}, "-2147483648"},
      {"c4", tiny_int, 1, std::int16_t{-128}, "-128"},
      {"ui 1", unsigned_tiny_int, 1, std::uint8_t{255}, "255"},
      {"PLAIN", small_int, 2, std::int16_t{-32768}, "-32768"},
      {"2nd", unsigned_small_int, 2, std::int32_t{65535}, "65535"},
      {"xmlns", unsigned_int, 4, std::int64_t{4294967295}, "4294967295"},
      {"Größe", big_int, 8, INT64_MIN, "-9223372036854775808"},
      {"COUNT(*)", unsigned_big_int, 8, *Decimal::parse("18446744073709551615"), "18446744073709551615"},
      {"r4", single, 4, 1.25F, "1.25"},
      {"r4_large", single, 4, 3.4028235e38F, "3.4028235E+38"},
      {"r8", real, 8, 3.14159, "3.1415899999999999"},
      {"r8_small", real, 8, 4.9406564584124654e-324, "4.9406564584124654E-324"},
      {"money", currency, 8, Currency{97'000}, "9.7"},
      {"money_least", currency, 8, Currency{INT64_MIN}, "-922337203685477.5808"},
      {"money_part", currency, 8, Currency{-500}, "-0.05"},
      {"dec", decimal, 16, *Decimal::parse("-12.3400"), "-12.34", 18, 4},
      {"dec_whole", decimal, 16, *Decimal::parse("79228162514264337593543950335"),
       "79228162514264337593543950335", 29, 0},
      {"num", numeric, 19, *Decimal::parse("-0.5"), "-.5000", 18, 4},
      {"num_zero", numeric, 19, Decimal(), ".00", 5, 2},
      {"num_long", numeric, 19, *Decimal::parse("6000.75"), "6000.7500", 18, 4},
      {"var_num", persist::kVarNumeric, 38, *Decimal::parse("12.5"), "12.5", 38, 255},
      {"yes", boolean, 2, true, "True"},
      {"no", boolean, 2, false, "False"},
      {"a_date", date, 16, moment(1899, 12, 29, 6), "1899-12-29T06:00:00"},
      {"first_day", date, 16, moment(100, 1, 1), "0100-01-01T00:00:00"},
      {"last_day", date, 16, moment(9999, 12, 31, 23, 59, 59), "9999-12-31T23:59:59"},
      {"d", db_date, 6, moment(2024, 2, 29), "2024-02-29"},
      {"t", db_time, 6, moment(1899, 12, 30, 23, 59, 58), "23:59:58"},
      {"ts", db_timestamp, 16, moment(2001, 2, 3, 4, 5, 6), "2001-02-03T04:05:06", 23, 3},
      {"ts_part", db_timestamp, 16, moment(2001, 2, 3, 4, 5, 6, 7000), "2001-02-03T04:05:06.007000000"},
      {"ft", persist::kFileTime, 16, moment(2001, 2, 3, 4, 5, 6, 500'000), "2001-02-03T04:05:06.500000000"},
      {"id", guid, 16, "{0123ABCD-4567-89EF-0123-456789ABCDEF}", "{0123ABCD-4567-89EF-0123-456789ABCDEF}"},
      {"s_char", char_, 5, "ab   ", "ab   "},
      {"s_wchar", wchar, 3, "€  ", "€  "},
      {"s_var", var_char, 20, "a&b'c\"d<e>f", "a&#x26;b&#x27;c&#x22;d&#x3c;e&#x3e;f"},
      {"s_wide", var_wchar, 20, "\tone\r\ntwo ", "&#x9;one&#xd;&#xa;two "},
      {"s_empty", var_wchar, 20, "", ""},
      {"s_long", long_var_char, 2147483647, "long", "long"},
      {"s_wide_long", long_var_wchar, 1073741823, "한글 𝄞", "한글 𝄞"},
      {"b_fixed", binary, 4, Variant::Bytes{0, 255, 1, 0}, "00ff0100"},
      {"b_var", var_binary, 10, Variant::Bytes{0x0a}, "0a"},
      {"b_long", long_var_binary, 2147483647, Variant::Bytes(1000, 0xCC), std::string(2000, 'c')},
      {"any", variant, 0, "text of a variant", "text of a variant"},
  };
}

/// A row of all samples and one of nulls; the columns come from a source.
inline std::unique_ptr<RowSet> sample_rows() {
  std::vector<Column> columns;
  std::vector<std::vector<Variant>> rows(2);
  for (const TypeSample& sample : type_samples()) {
    Column column;
    column.name = sample.name;
    column.type = sample.type;
    column.defined_size = sample.size;
    column.precision = sample.precision;
    column.scale = sample.scale;
    column.attributes = adFldUpdatable | adFldIsNullable | adFldMayBeNull |
                        (persist::type_name_of(sample.type)->is_fixed ? adFldFixed : 0) |
                        (is_long(sample.type) ? adFldLong : 0);
    columns.push_back(column);
    rows[0].push_back(sample.value);
    rows[1].push_back(Variant::null());
  }
  columns[0].base_table = "T<1>";
  columns[0].base_column = "plain";
  columns[0].key = columns[0].auto_increment = true;
  columns[0].attributes = adFldFixed | adFldKeyColumn;
  columns.back().hidden = true;
  rows[1][0] = std::int32_t{7};
  return row_set(std::make_unique<MadeRows>(columns, rows));
}

}  // namespace quarno::test
