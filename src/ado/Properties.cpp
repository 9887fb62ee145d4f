#include "ado/Properties.h"

#include "ado/collection.h"
#include "automation/member_table.h"
#include "common/text.h"

namespace quarno::ado {

Ptr<Property> Properties::Item(const Variant& Index) const {
  const auto find = [this](const std::string& name) {
    for (std::size_t i = 0; i < items_.size(); ++i) {
      if (text::equal_fold(items_[i]->Name(), name)) return static_cast<std::int32_t>(i);
    }
    return -1;
  };
  return items_[item_position(Index, items_.size(), find, "ADODB.Properties")];
}

namespace {

using namespace automation;

constexpr Member kPropertyMembers[] = {
    read_only<&Property::Name>("Name", "Name of the property."),
    property<&Property::Value>("Value", "Its value."),
};

constexpr Member kPropertiesMembers[] = {
    read_only<&Properties::Count>("Count", "Number of properties."),
    method<&Properties::Item>("Item", {param("Index")},
                              "The property of a name or at a position from 0. Raises 3265 for any other."),
};

}  // namespace

std::span<const automation::Member> Property::members() { return kPropertyMembers; }
std::span<const automation::Member> Properties::members() { return kPropertiesMembers; }

}  // namespace quarno::ado
