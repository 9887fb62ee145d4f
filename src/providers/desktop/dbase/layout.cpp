#include "providers/desktop/dbase/layout.h"

#include <algorithm>
#include <set>

#include "ado/ado_error.h"
#include "common/text.h"
#include "providers/desktop/dbase/little_endian.h"
#include "providers/desktop/declared_type.h"
#include "providers/desktop/desktop_provider.h"

namespace quarno::desktop::dbase {
namespace {

constexpr std::size_t kDescriptorSize = 32;
constexpr std::size_t kNameSize = 10;
constexpr char kEndOfFields = '\x0D';
constexpr std::uint32_t kMemoWidth = 10;
// What dBASE III itself can open.
constexpr std::size_t kMostFields = 128;
constexpr std::uint32_t kLongestRecord = 4000;
constexpr std::uint32_t kWidestText = 254;
constexpr std::uint32_t kWidestNumber = 20;

std::string_view product_of(std::uint8_t version) {
  switch (version) {
    case 0x02: return "a dBASE II file";
    case 0x04:
    case 0x8C: return "a dBASE 7 file";
    case 0x30:
    case 0x31:
    case 0x32: return "a Visual FoxPro file";
    case 0xF5:
    case 0xFB: return "a FoxPro file";
    default: return {};
  }
}

FieldKind kind_of(char type) {
  switch (type) {
    case 'C': return FieldKind::text;
    case 'N':
    case 'F': return FieldKind::number;
    case 'D': return FieldKind::date;
    case 'L': return FieldKind::logical;
    case 'M': return FieldKind::memo;
    case 'B':
    case 'G':
    case 'P': return FieldKind::binary;
    default: return FieldKind::unknown;
  }
}

// Offsets of the fields, one behind the other; gives the length of a record.
std::uint32_t place(std::vector<Field>& fields) {
  std::uint32_t offset = 1;
  for (Field& field : fields) {
    field.offset = offset;
    offset += field.width;
  }
  return offset;
}

struct Form {
  char type;
  std::uint32_t width;
  int decimals;
};

Form number_form(const DeclaredType& declared) {
  using ado::DataType;
  switch (declared.type) {
    case DataType::unsigned_tiny_int: return {'N', 3, 0};
    case DataType::small_int: return {'N', 6, 0};
    case DataType::integer: return {'N', 11, 0};
    case DataType::big_int: return {'N', kWidestNumber, 0};
    case DataType::currency: return {'N', kWidestNumber, 4};
    case DataType::numeric: {
      const std::uint32_t point = declared.scale > 0 ? 1 : 0;
      return {'N', std::min<std::uint32_t>(kWidestNumber, declared.precision + 1u + point), declared.scale};
    }
    default: return {'N', kWidestNumber, 5};
  }
}

std::optional<Form> form_of(std::string_view declaration) {
  using ado::DataType;
  const DeclaredType declared = declared_type(declaration);
  switch (declared.type) {
    case DataType::boolean: return Form{'L', 1, 0};
    case DataType::date: return Form{'D', 8, 0};
    case DataType::long_var_wchar: return Form{'M', kMemoWidth, 0};
    case DataType::var_wchar: {
      const bool sized = declaration.find('(') != std::string_view::npos;
      if (!sized) return Form{'C', kWidestText, 0};
      if (declared.defined_size > kWidestText) return Form{'M', kMemoWidth, 0};
      return Form{'C', static_cast<std::uint32_t>(std::max<std::int64_t>(declared.defined_size, 1)), 0};
    }
    case DataType::var_binary:
    case DataType::long_var_binary:
    case DataType::guid: return std::nullopt;
    default: {
      const Form form = number_form(declared);
      // A sign, a digit and the point have to stand beside the decimals.
      if (form.decimals + 3 > static_cast<int>(kWidestNumber)) return std::nullopt;
      return form;
    }
  }
}

// Capital letters, cut to the length that a descriptor has room for.
std::string new_name(const std::string& name, TextForm& form) {
  std::string result = text::upper(text::trim(name));
  for (;;) {
    const auto bytes = form.encode(result);
    if (!bytes || bytes->empty() || bytes->find('\0') != std::string::npos) {
      throw refusal(ado::kErrorsInCommand, quoted(name) + " is not a valid name of a dBASE field.", "42000");
    }
    if (bytes->size() <= kNameSize) return result;
    result = text::left(result, text::length(result) - 1);
  }
}

}  // namespace

bool Layout::has_memo() const {
  return std::any_of(fields.begin(), fields.end(), [](const Field& field) {
    return field.kind == FieldKind::memo || field.kind == FieldKind::binary;
  });
}

Error refusal(std::int32_t number, std::string text, std::string_view sql_state) {
  Error error = ado::provider_error(number, std::move(text), kSourceName);
  error.sql_state = sql_state;
  return error;
}

Layout read_header(std::string_view header, std::string_view name) {
  const auto refuse = [&](const std::string& rest) {
    return refusal(ado::kUnspecified, quoted(name) + " is " + rest);
  };
  if (header.size() < kHeaderSize) throw refuse("too short for a dBASE table.");
  Layout layout;
  layout.version = number_at<std::uint8_t>(header, 0);
  if (const auto product = product_of(layout.version); !product.empty()) {
    throw refuse(std::string(product) + ", which cannot be used: only dBASE III and IV tables can.");
  }
  constexpr std::uint8_t kVersions[] = {0x03, 0x83, 0x8B, 0x43, 0x63, 0xCB};
  if (std::find(std::begin(kVersions), std::end(kVersions), layout.version) == std::end(kVersions)) {
    throw refuse("not a dBASE table.");
  }
  layout.header_length = number_at<std::uint16_t>(header, 8);
  layout.record_length = number_at<std::uint16_t>(header, 10);
  layout.language_driver = number_at<std::uint8_t>(header, 29);
  if (layout.header_length < kHeaderSize + kDescriptorSize || layout.record_length < 2) {
    throw refuse("damaged: its header makes no sense.");
  }
  if (header[14] != 0) layout.why_read_only = "another program's transaction on it is unfinished";
  if (header[15] != 0) layout.why_read_only = "it is encrypted";
  if ((header[28] & 1) != 0)
    layout.why_read_only = "its production index (.mdx) would no longer agree with it";
  return layout;
}

void read_fields(Layout& layout, std::string_view descriptors, std::string_view name) {
  for (; descriptors.size() >= kDescriptorSize; descriptors.remove_prefix(kDescriptorSize)) {
    if (descriptors[0] == kEndOfFields || descriptors[0] == '\0') break;
    Field field;
    const std::string_view padded = descriptors.substr(0, kNameSize);
    field.name = text::trim(padded.substr(0, padded.find('\0')));
    field.type = descriptors[11];
    field.kind = kind_of(field.type);
    field.width = number_at<std::uint8_t>(descriptors, 16);
    field.decimals = number_at<std::uint8_t>(descriptors, 17);
    layout.fields.push_back(std::move(field));
  }
  // A text longer than 255 bytes has the higher byte of its length where others have decimals; but those of
  // many texts mean nothing. The record's length tells.
  if (place(layout.fields) < layout.record_length) {
    std::vector<Field> longer = layout.fields;
    for (Field& field : longer) {
      if (field.kind == FieldKind::text) field.width += 256 * static_cast<std::uint32_t>(field.decimals);
    }
    if (place(longer) <= layout.record_length) layout.fields = std::move(longer);
  }
  if (layout.fields.empty() || place(layout.fields) > layout.record_length) {
    throw refusal(ado::kUnspecified, quoted(name) + " is damaged: its fields do not fit its records.");
  }
}

void name_fields(Layout& layout, TextForm& form) {
  std::set<std::string> taken;
  std::string buffer;
  int number = 0;
  for (Field& field : layout.fields) {
    ++number;
    std::string name(form.decode(field.name, buffer));
    if (name.empty()) name = "FIELD" + std::to_string(number);
    std::string candidate = name;
    for (int i = 2; !taken.insert(text::lower_ascii(candidate)).second; ++i) {
      candidate = name + "_" + std::to_string(i);
    }
    field.name = std::move(candidate);
  }
}

std::uint32_t record_count(const Layout& layout, std::string_view header, std::uint64_t file_size) {
  if (file_size < layout.header_length) return 0;
  const std::uint64_t whole = (file_size - layout.header_length) / layout.record_length;
  return static_cast<std::uint32_t>(std::min<std::uint64_t>(number_at<std::uint32_t>(header, 4), whole));
}

std::string declaration(const Field& field) {
  switch (field.kind) {
    case FieldKind::number: return "DOUBLE";
    case FieldKind::date: return "DATE";
    case FieldKind::logical: return "BOOLEAN";
    case FieldKind::memo: return "LONGTEXT";
    case FieldKind::binary: return "LONGBLOB";
    default: return "VARCHAR(" + std::to_string(std::max<std::uint32_t>(field.width, 1)) + ")";
  }
}

std::vector<Field> fields_for(const std::vector<NewColumn>& columns, TextForm& form) {
  std::vector<Field> fields;
  std::set<std::string> taken;
  for (const NewColumn& column : columns) {
    const auto kept = form_of(column.declaration);
    if (!kept) {
      throw refusal(ado::kErrorsInCommand,
                    "A dBASE table cannot keep the type " + column.declaration + " of column " +
                        quoted(column.name) + ".",
                    "42000");
    }
    Field field{new_name(column.name, form), kind_of(kept->type), kept->type, 0, kept->width, kept->decimals};
    if (!taken.insert(field.name).second) {
      throw refusal(ado::kErrorsInCommand,
                    "Two columns of a dBASE table would have the name " + quoted(field.name) + ".", "42S21");
    }
    fields.push_back(std::move(field));
  }
  if (fields.empty() || fields.size() > kMostFields || place(fields) > kLongestRecord) {
    throw refusal(ado::kErrorsInCommand, "A dBASE table has 1 to 128 columns and 4000 characters in a row.",
                  "54000");
  }
  return fields;
}

std::string header_text(const std::vector<Field>& fields, int code_page, const CivilTime& today,
                        TextForm& form) {
  Layout layout;
  layout.fields = fields;
  std::string text(1, layout.has_memo() ? '\x83' : '\x03');
  text += change_mark(today, 0);
  append_number(text, static_cast<std::uint16_t>(kHeaderSize + kDescriptorSize * fields.size() + 1));
  append_number(text, static_cast<std::uint16_t>(place(layout.fields)));
  text.resize(kHeaderSize, '\0');
  text[29] = static_cast<char>(driver_of_code_page(code_page));
  for (const Field& field : fields) {
    std::string descriptor = form.encode(field.name).value_or("");
    descriptor.resize(11, '\0');
    descriptor.push_back(field.type);
    descriptor.resize(16, '\0');
    descriptor.push_back(static_cast<char>(field.width));
    descriptor.push_back(static_cast<char>(field.decimals));
    descriptor.resize(kDescriptorSize, '\0');
    text += descriptor;
  }
  text.push_back(kEndOfFields);
  return text;
}

std::string change_mark(const CivilTime& today, std::uint32_t records) {
  std::string mark = {static_cast<char>(today.year - 1900), static_cast<char>(today.month),
                      static_cast<char>(today.day)};
  append_number(mark, records);
  return mark;
}

}  // namespace quarno::desktop::dbase
