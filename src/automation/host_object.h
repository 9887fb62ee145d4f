// An object the host hands in: a bound control, a recordset of its own. The library only asks for members by
// name; what it gets back and what fails is the host's business.
#pragma once

#include <string>
#include <vector>

#include "automation/object.h"

namespace quarno::automation {

class HostObject : public Object {
 public:
  std::string_view class_name() const override { return "HostObject"; }
  /// Names are remembered, not checked: only the host knows its members, and says so when one is invoked.
  MemberId find(std::string_view name) override;
  Variant invoke(MemberId member, Access access, std::span<Variant> arguments) override;

 protected:
  virtual Variant get(std::string_view name) = 0;
  virtual void put(std::string_view name, const Variant& value) = 0;
  virtual Variant call(std::string_view name, std::span<Variant> arguments) = 0;

 private:
  std::vector<std::string> names_;
};

}  // namespace quarno::automation
