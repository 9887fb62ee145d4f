// The fields of a recordset, as hosts hold them. They keep their recordset alive; once it is closed or opened
// on other columns, a field of before raises 3420. A closed recordset takes fields of a table in memory.
#pragma once

#include "ado/Properties.h"
#include "ado/Recordset.h"
#include "automation/automation.h"

namespace quarno::ado {

class Field : public automation::Automation<Field> {
 public:
  static constexpr std::string_view kClassName = "Field";
  static std::span<const automation::Member> members();

  Field(Ptr<Recordset> recordset, std::size_t index);
  ~Field() override;

  std::string Name() const { return column().name; }
  std::int32_t Type() const { return static_cast<std::int32_t>(column().type); }
  std::int32_t DefinedSize() const { return static_cast<std::int32_t>(column().defined_size); }
  std::int32_t ActualSize() const;
  std::int32_t Precision() const { return column().precision; }
  void set_Precision(std::int32_t value);
  std::int32_t NumericScale() const { return column().scale; }
  void set_NumericScale(std::int32_t value);
  std::int32_t Attributes() const { return column().attributes; }
  Variant Value() const;
  void set_Value(const Variant& value);
  Variant OriginalValue() const;
  Ptr<ado::Properties> Properties() const;
  Variant GetChunk(std::int32_t Length);
  void AppendChunk(const Variant& Data);

 private:
  const Column& column() const;
  void require_long() const;

  Ptr<Recordset> recordset_;
  std::size_t index_;
  std::uint32_t generation_;
};

class Fields : public automation::Automation<Fields> {
 public:
  static constexpr std::string_view kClassName = "Fields";
  static std::span<const automation::Member> members();

  explicit Fields(Ptr<Recordset> recordset) : recordset_(std::move(recordset)) {}
  ~Fields() override;

  std::int32_t Count() const { return static_cast<std::int32_t>(recordset_->columns().size()); }
  Ptr<Field> Item(const Variant& Index) const;
  void Append(const std::string& Name, std::int32_t Type, std::int32_t DefinedSize = 0,
              std::int32_t Attrib = -1);

 private:
  Ptr<Recordset> recordset_;
};

}  // namespace quarno::ado
