// Dynamic properties: what a provider knows about a connection or a field beyond the model's own members.
#pragma once

#include <string>
#include <vector>

#include "automation/automation.h"

namespace quarno::ado {

class Property : public automation::Automation<Property> {
 public:
  static constexpr std::string_view kClassName = "Property";
  static std::span<const automation::Member> members();

  Property(std::string name, Variant value) : Value(std::move(value)), name_(std::move(name)) {}
  std::string Name() const { return name_; }
  Variant Value;

 private:
  std::string name_;
};

class Properties : public automation::Automation<Properties> {
 public:
  static constexpr std::string_view kClassName = "Properties";
  static std::span<const automation::Member> members();

  std::int32_t Count() const { return static_cast<std::int32_t>(items_.size()); }
  Ptr<Property> Item(const Variant& Index) const;

  void add(std::string name, Variant value) {
    items_.push_back(make<Property>(std::move(name), std::move(value)));
  }
  const std::vector<Ptr<Property>>& items() const { return items_; }

 private:
  std::vector<Ptr<Property>> items_;
};

}  // namespace quarno::ado
