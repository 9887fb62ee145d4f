// The form of a dBASE III or IV table: what its header and field descriptors say, and the header of a new
// table. Pure. Files that other programs wrote are taken as they come: a missing end mark, a record count
// that is too large, meaningless decimals, a name that occurs twice.
#pragma once

#include <cstdint>
#include <string>
#include <string_view>
#include <vector>

#include "common/date.h"
#include "common/error.h"
#include "providers/desktop/dbase/text_form.h"
#include "providers/desktop/table_source.h"

namespace quarno::desktop::dbase {

inline constexpr std::size_t kHeaderSize = 32;
inline constexpr char kDeleted = '*';
inline constexpr char kEndOfFile = '\x1A';

enum class FieldKind { text, number, date, logical, memo, binary, unknown };

struct Field {
  std::string name;  // unique in its table
  FieldKind kind = FieldKind::unknown;
  char type = ' ';  // as the file has it: C N F D L M
  std::uint32_t offset = 0;
  std::uint32_t width = 0;
  int decimals = 0;
};

struct Layout {
  std::uint8_t version = 0;
  std::uint8_t language_driver = 0;
  std::uint32_t header_length = 0;  // record 0 begins here
  std::uint32_t record_length = 0;  // with the mark of deletion
  std::vector<Field> fields;        // names are still bytes of the table's code page
  std::string why_read_only;        // empty when the table may be written

  bool has_memo_lengths() const { return version == 0x8B || version == 0xCB; }
  bool has_memo() const;
};

/// The 32 bytes at the beginning. Raises for what is no dBASE III or IV table; `name` is for the message.
Layout read_header(std::string_view header, std::string_view name);

/// Adds the fields from `descriptors`, the bytes between the first 32 and header_length.
void read_fields(Layout& layout, std::string_view descriptors, std::string_view name);

/// Field names as UTF-8 and none twice.
void name_fields(Layout& layout, TextForm& form);

/// How many whole records there are: the header may promise more than the file holds.
std::uint32_t record_count(const Layout& layout, std::string_view header, std::uint64_t file_size);

/// The column's type as the engine knows it: VARCHAR(20), DOUBLE, DATE, BOOLEAN, LONGTEXT.
std::string declaration(const Field& field);

/// Fields for a new table; raises for a type or a name that cannot be kept.
std::vector<Field> fields_for(const std::vector<NewColumn>& columns, TextForm& form);

/// The whole header of a new table of these fields.
std::string header_text(const std::vector<Field>& fields, int code_page, const CivilTime& today,
                        TextForm& form);

/// Bytes 1 to 7 of the header, which every change rewrites: date of the last change and number of records.
std::string change_mark(const CivilTime& today, std::uint32_t records);

/// A name as messages have it.
inline std::string quoted(std::string_view name) { return "'" + std::string(name) + "'"; }

/// What is in the way of the statement, as the provider's error.
Error refusal(std::int32_t number, std::string text, std::string_view sql_state = "HY000");

}  // namespace quarno::desktop::dbase
