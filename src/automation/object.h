// What a host holds: an object whose members are found by name and invoked late-bound. An object belongs to
// the thread that created it.
#pragma once

#include <cstdint>
#include <memory>
#include <span>
#include <string_view>

#include "automation/owner_thread.h"
#include "common/name_index.h"
#include "common/referenced.h"
#include "common/variant.h"

namespace quarno::automation {

/// A member of one object's class; found once, it can be invoked any number of times.
using MemberId = std::int32_t;
inline constexpr MemberId kUnknownMember = NameIndex::kUnknown;

enum class Access {
  call,  // a method, or the value of a property
  get,   // the value of a property
  put,   // the last argument becomes the property's value
};

class TableObject;

class Object : public Referenced {
 public:
  /// Gives back a reference that a host held, on whatever thread it lets go.
  void release_from_any_thread() const {
    const std::shared_ptr<OwnerThread> owner = owner_;  // outlives the object
    owner->release(this);
  }

  virtual std::string_view class_name() const = 0;
  /// Itself, when its class has a table of members; cheaper than a cast, as every call asks.
  virtual TableObject* as_table() { return nullptr; }
  /// Letter case is ignored. kUnknownMember when there is none.
  virtual MemberId find(std::string_view name) = 0;
  /// Arguments are by position; one that is left out is `missing`. A member that writes an argument back
  /// writes it into its slot. Raises what the member raises, 438 for an access the member does not have, 450,
  /// 449 and 13 for arguments that do not fit.
  virtual Variant invoke(MemberId member, Access access, std::span<Variant> arguments) = 0;

 private:
  std::shared_ptr<OwnerThread> owner_ = OwnerThread::current();
};

/// Finds and invokes; 438 with the name when there is no such member.
Variant invoke(Object& object, std::string_view name, Access access, std::span<Variant> arguments);

/// The value of a property, or of a method without arguments.
Variant get_property(Object& object, std::string_view name);
void put_property(Object& object, std::string_view name, Variant value);

/// The object inside a value; 424 when it holds none.
Ptr<Object> object_of(const Variant& value);

}  // namespace quarno::automation
