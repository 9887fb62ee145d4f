// Controls of the host's that show fields of the current row. What a control is shows in what it offers: each
// is read and written late-bound, by one property.
#pragma once

#include <string>
#include <string_view>
#include <vector>

#include "ado/enums.h"
#include "automation/object.h"
#include "common/locale_info.h"
#include "common/variant.h"

namespace quarno::data {

class CRecorset;

class BoundControls {
 public:
  bool is_empty() const { return bindings_.empty(); }
  /// Without a property it is "Value" where the control has one, else "Text". The same control and property
  /// again follow the other field. Raises 91 without a control, 438 when it lacks the property.
  void bind(const Ptr<automation::Object>& control, const std::string& field, std::string property);
  /// Every control from its field. What fails keeps no other from being loaded; the first failure is raised.
  void load(const CRecorset& worker) const;
  /// Every control into its field, up to the first failure.
  void save(CRecorset& worker) const;

 private:
  struct Binding {
    Ptr<automation::Object> control;
    std::string field;
    std::string property;
  };
  std::vector<Binding> bindings_;
};

/// What a property is given for a field's value, pure: "Text" the text of it; a check box, which holds a
/// number now, 1 or 0 for a boolean field; any other the value itself.
Variant value_to_show(ado::DataType type, const Variant& value, std::string_view property, const Variant& now,
                      const LocaleInfo& locale);
/// What a field is given for a property's value, pure: an empty "Text" is no date.
Variant value_from_control(ado::DataType type, const Variant& value, std::string_view property);

}  // namespace quarno::data
