// The base of the library's own classes: members are found and invoked through the class's table.
#pragma once

#include <span>

#include "automation/member.h"
#include "automation/object.h"
#include "common/name_index.h"

namespace quarno::automation {

/// Names of a member table, to be hashed once per class.
NameIndex index_of(std::span<const Member> members);

/// An object with a table. Introspection (the member reference, a host's completion) asks here.
class TableObject : public Object {
 public:
  virtual std::span<const Member> member_table() const = 0;
  TableObject* as_table() final { return this; }
};

/// T provides `static std::span<const Member> members()` and `static constexpr std::string_view kClassName`.
template <class T>
class Automation : public TableObject {
 public:
  std::string_view class_name() const override { return T::kClassName; }
  std::span<const Member> member_table() const override { return T::members(); }
  MemberId find(std::string_view name) override {
    static const NameIndex index = index_of(T::members());
    return index.find(name);
  }
  Variant invoke(MemberId member, Access access, std::span<Variant> arguments) override {
    return invoke_member(*this, T::members()[static_cast<std::size_t>(member)], access, arguments);
  }
};

}  // namespace quarno::automation
