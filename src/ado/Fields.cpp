#include "ado/Fields.h"

#include "ado/ado_error.h"
#include "ado/collection.h"
#include "ado/persist/value_type.h"
#include "automation/member_table.h"
#include "common/text.h"

namespace quarno::ado {
namespace {

constexpr const char* kSource = "ADODB.Field";

std::int32_t size_of(const Variant& value, const Column& column) {
  if (value.is_null() || value.is_empty()) return 0;
  if (const auto* text = value.get_if<std::string>()) return static_cast<std::int32_t>(text::length(*text));
  if (const auto* bytes = value.get_if<Variant::Bytes>()) return static_cast<std::int32_t>(bytes->size());
  return static_cast<std::int32_t>(column.defined_size);
}

std::uint8_t digits(std::int32_t value) {
  if (value < 0 || value > 255) throw model_error(Model::invalid_argument, kSource);
  return static_cast<std::uint8_t>(value);
}

// A column of a table in memory. Raises 3001 for what is none.
Column column_of(const std::string& name, std::int32_t type, std::int32_t size, std::int32_t attributes) {
  constexpr std::int32_t kUnspecified = -1;
  // Chapters, addresses, streams and folders need a source.
  constexpr std::int32_t kRefused = adFldIsChapter | 0x10000 | 0x20000 | 0x40000;
  const auto data_type = static_cast<DataType>(type);
  const persist::TypeName* const known = persist::type_name_of(data_type);
  // These are taken, but there are no values of them.
  const bool is_bare =
      data_type == DataType::dispatch || data_type == DataType::error || data_type == DataType::unknown;
  const bool is_type = is_bare || (known != nullptr && data_type != persist::kVarNumeric);
  if (attributes == kUnspecified) attributes = 0;
  if (name.empty() || !is_type || size < 0 || attributes < 0 || (attributes & kRefused) != 0) {
    throw model_error(Model::invalid_argument, "ADODB.Fields");
  }
  const bool has_own_size = known != nullptr && known->size != 0 && data_type != DataType::bstr;
  Column column;
  column.name = name;
  column.type = data_type;
  column.defined_size = has_own_size ? known->size : size;
  column.attributes = attributes | adFldUpdatable | (known != nullptr && known->is_fixed ? adFldFixed : 0) |
                      (is_long(data_type) ? adFldLong : 0);
  return column;
}

}  // namespace

Field::Field(Ptr<Recordset> recordset, std::size_t index)
    : recordset_(std::move(recordset)), index_(index), generation_(recordset_->generation_) {
  recordset_->field_objects_[index_] = this;
}

Field::~Field() {
  if (generation_ == recordset_->generation_) recordset_->field_objects_[index_] = nullptr;
}

const Column& Field::column() const {
  if (generation_ != recordset_->generation_) throw model_error(Model::object_not_set, kSource);
  return recordset_->columns()[index_];
}

std::int32_t Field::ActualSize() const { return size_of(Value(), column()); }

Variant Field::Value() const {
  column();
  return recordset_->value(index_);
}

void Field::set_Value(const Variant& value) {
  column();
  recordset_->set_value(index_, value);
}

void Field::set_Precision(std::int32_t value) {
  column();
  recordset_->made_column(index_).precision = digits(value);
}

void Field::set_NumericScale(std::int32_t value) {
  column();
  recordset_->made_column(index_).scale = digits(value);
}

void Field::require_long() const {
  if (!is_long(column().type)) throw model_error(Model::illegal_operation, kSource);
}

Variant Field::GetChunk(std::int32_t Length) {
  require_long();
  if (Length < 1) throw model_error(Model::invalid_argument, kSource);
  return recordset_->next_piece(index_, static_cast<std::size_t>(Length));
}

void Field::AppendChunk(const Variant& Data) {
  require_long();
  recordset_->append_piece(index_, Data);
}

Variant Field::OriginalValue() const {
  column();
  return recordset_->original_value(index_);
}

Ptr<ado::Properties> Field::Properties() const {
  const Column& info = column();
  auto properties = make<ado::Properties>();
  properties->add("BASETABLENAME", info.base_table.empty() ? Variant::null() : Variant(info.base_table));
  properties->add("BASECOLUMNNAME", info.base_column.empty() ? Variant::null() : Variant(info.base_column));
  properties->add("KEYCOLUMN", info.key);
  properties->add("ISAUTOINCREMENT", info.auto_increment);
  return properties;
}

Fields::~Fields() { recordset_->fields_object_ = nullptr; }

Ptr<Field> Fields::Item(const Variant& Index) const {
  const auto find = [this](const std::string& name) { return recordset_->find_column(name); };
  const std::size_t index = item_position(Index, recordset_->columns().size(), find, "ADODB.Fields");
  Field* const held = recordset_->field_objects_[index];
  return held != nullptr ? Ptr<Field>(held) : make<Field>(recordset_, index);
}

void Fields::Append(const std::string& Name, std::int32_t Type, std::int32_t DefinedSize,
                    std::int32_t Attrib) {
  recordset_->append_column(column_of(Name, Type, DefinedSize, Attrib));
}

namespace {

using namespace automation;

constexpr Member kFieldMembers[] = {
    read_only<&Field::Name>("Name", "Name of the column."),
    read_only<&Field::Type>("Type", "Type code of the column, one of the F_ad constants."),
    read_only<&Field::DefinedSize>("DefinedSize", "Characters a text may have, bytes for any other type."),
    read_only<&Field::ActualSize>("ActualSize", "Characters or bytes of the current value; 0 for null."),
    property<&Field::Precision, &Field::set_Precision>(
        "Precision",
        "Digits of a number; 255 when the type has none. Settable of an appended field before it is opened, "
        "later raises 3219."),
    property<&Field::NumericScale, &Field::set_NumericScale>(
        "NumericScale", "Decimals of a number; 255 when the type has none. Settable as Precision."),
    read_only<&Field::Attributes>(
        "Attributes",
        "Sum of 4 updatable, 16 fixed length, 32 accepts null, 64 may be null, 128 long, "
        "8192 chapter, 32768 key."),
    property<&Field::Value, &Field::set_Value>(
        "Value",
        "Value in the current row, null when it has none; of a chapter a recordset of the rows that belong "
        "to "
        "the current one. Writing begins an edit; raises 3421 for a value of "
        "the wrong kind, -2147217887 for one that does not fit, 3021 without a current row."),
    read_only<&Field::OriginalValue>("OriginalValue", "Value before the edit in progress."),
    read_only<&Field::Properties>("Properties",
                                  "BASETABLENAME, BASECOLUMNNAME, KEYCOLUMN and ISAUTOINCREMENT."),
    method<&Field::GetChunk>(
        "GetChunk", {param("Length")},
        "The next characters or bytes of a long field, at most Length of them; null behind the last and for "
        "a null. Begins anew once another row or field was touched. Raises 3219 for other fields."),
    method<&Field::AppendChunk>(
        "AppendChunk", {param("Data")},
        "Puts a text or bytes behind what was appended to a long field; the first piece since another row "
        "or field was touched takes the place of the value. Raises 3219 for other fields, 3421 for data of "
        "the other kind."),
};

constexpr Member kFieldsMembers[] = {
    read_only<&Fields::Count>("Count", "Number of fields."),
    method<&Fields::Item>("Item", {param("Index")},
                          "The field of a name or at a position from 0. Raises 3265 for any other."),
    method<&Fields::Append>(
        "Append", {param("Name"), param("Type"), param("DefinedSize", 0), param("Attrib", -1)},
        "Adds a field to a closed recordset without a connection (3219), which Open without a source then "
        "makes a table in memory. DefinedSize is the most characters of a text or bytes, 0 for no limit; "
        "Attrib is 32 where it may be null. Raises 3367 for a name that is taken, 3001 for no name and for a "
        "type that it cannot have."),
};

}  // namespace

std::span<const automation::Member> Field::members() { return kFieldMembers; }
std::span<const automation::Member> Fields::members() { return kFieldsMembers; }

}  // namespace quarno::ado
