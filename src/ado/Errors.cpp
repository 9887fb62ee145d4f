#include "ado/Errors.h"

#include "ado/collection.h"
#include "automation/member_table.h"

namespace quarno::ado {

Ptr<ErrorObject> Errors::Item(const Variant& Index) const {
  const auto no_names = [](const std::string&) { return -1; };
  return items_[item_position(Index, items_.size(), no_names, "ADODB.Errors")];
}

void Errors::report(const Error& error) {
  items_.clear();
  items_.push_back(make<ErrorObject>(error));
}

namespace {

using namespace automation;

constexpr Member kErrorMembers[] = {
    read_only<&ErrorObject::Number>("Number", "Number of the error: a negative HRESULT."),
    read_only<&ErrorObject::Description>("Description", "Text of the data source."),
    read_only<&ErrorObject::Source>("Source", "Name of the data source's engine or driver."),
    read_only<&ErrorObject::SQLState>("SQLState", "Five characters, or \"\" when the source gives none."),
    read_only<&ErrorObject::NativeError>("NativeError", "The engine's own code, 0 when it gives none."),
};

constexpr Member kErrorsMembers[] = {
    read_only<&Errors::Count>("Count", "Number of errors the last failing operation left."),
    method<&Errors::Item>("Item", {param("Index")},
                          "The error at a position from 0. Raises 3265 beyond the last."),
    method<&Errors::Clear>("Clear", "Forgets all errors."),
};

}  // namespace

std::span<const automation::Member> ErrorObject::members() { return kErrorMembers; }
std::span<const automation::Member> Errors::members() { return kErrorsMembers; }

}  // namespace quarno::ado
