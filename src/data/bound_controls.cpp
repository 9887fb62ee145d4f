#include "data/bound_controls.h"

#include <algorithm>
#include <optional>

#include "common/convert.h"
#include "common/error.h"
#include "common/text.h"
#include "data/CRecorset.h"
#include "platform/locale.h"

namespace quarno::data {
namespace {

constexpr const char* kValue = "Value";
constexpr const char* kText = "Text";

bool has_property(automation::Object& control, std::string_view name) {
  const ErrorRecord before = current_error();
  try {
    automation::get_property(control, name);
    return true;
  } catch (const Error& error) {
    if (error.number != static_cast<std::int32_t>(RunTime::unknown_member)) throw;
    // An answer, and no failure to leave a trace.
    current_error() = before;
    return false;
  }
}

bool is_number(const Variant& value, const LocaleInfo& locale) {
  return is_numeric(value, locale) && !value.is_empty() && !value.is_text() &&
         value.get_if<bool>() == nullptr;
}

}  // namespace

void BoundControls::bind(const Ptr<automation::Object>& control, const std::string& field,
                         std::string property) {
  if (!control) throw run_time_error(RunTime::object_not_set);
  if (property.empty()) property = has_property(*control, kValue) ? kValue : kText;
  if (property != kValue) automation::get_property(*control, property);
  const auto bound = std::find_if(bindings_.begin(), bindings_.end(), [&](const Binding& each) {
    return each.control == control && text::equal_fold(each.property, property);
  });
  if (bound != bindings_.end()) {
    bound->field = field;
  } else {
    bindings_.push_back({control, field, property});
  }
}

// A control may call back and bind another: both walk over a copy.

void BoundControls::load(const CRecorset& worker) const {
  const LocaleInfo& locale = platform::locale();
  std::optional<Error> failure;
  for (const auto& [control, field, property] : std::vector(bindings_)) {
    try {
      const ado::DataType type = worker.column(field).type;
      const Variant value = worker.field_value(field);
      const Variant now =
          type == ado::DataType::boolean ? automation::get_property(*control, property) : Variant();
      automation::put_property(*control, property, value_to_show(type, value, property, now, locale));
    } catch (const Error& error) {
      if (!failure) failure = error;
    }
  }
  if (failure) throw Error(*failure);
}

void BoundControls::save(CRecorset& worker) const {
  for (const auto& [control, field, property] : std::vector(bindings_)) {
    const Variant value = automation::get_property(*control, property);
    const ado::DataType type = worker.column(field).type;
    const Variant given = value_from_control(type, value, property);
    // What is computed can be shown, and a row is not written for what stayed the same.
    if (!worker.holds(field, given)) worker.set_field_value(field, given);
  }
}

Variant value_to_show(ado::DataType type, const Variant& value, std::string_view property, const Variant& now,
                      const LocaleInfo& locale) {
  if (text::equal_fold(property, kText)) return value.is_null() ? Variant("") : to_text(value, locale);
  const bool is_check_box = type == ado::DataType::boolean && is_number(now, locale);
  if (!is_check_box) return value;
  return std::int16_t{!value.is_null() && to_bool(value, locale)};
}

Variant value_from_control(ado::DataType type, const Variant& value, std::string_view property) {
  const bool no_date = ado::is_date(type) && text::equal_fold(property, kText) && value == Variant("");
  return no_date ? Variant() : value;
}

}  // namespace quarno::data
