#include "ado/Fields.h"

#include "ado/ado_error.h"
#include "ado/collection.h"
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

namespace {

using namespace automation;

constexpr Member kFieldMembers[] = {
    read_only<&Field::Name>("Name", "Name of the column."),
    read_only<&Field::Type>("Type", "Type code of the column, one of the F_ad constants."),
    read_only<&Field::DefinedSize>("DefinedSize", "Characters a text may have, bytes for any other type."),
    read_only<&Field::ActualSize>("ActualSize", "Characters or bytes of the current value; 0 for null."),
    read_only<&Field::Precision>("Precision", "Digits of a number; 255 when the type has none."),
    read_only<&Field::NumericScale>("NumericScale", "Decimals of a number; 255 when the type has none."),
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
};

constexpr Member kFieldsMembers[] = {
    read_only<&Fields::Count>("Count", "Number of fields."),
    method<&Fields::Item>("Item", {param("Index")},
                          "The field of a name or at a position from 0. Raises 3265 for any other."),
};

}  // namespace

std::span<const automation::Member> Field::members() { return kFieldMembers; }
std::span<const automation::Member> Fields::members() { return kFieldsMembers; }

}  // namespace quarno::ado
