// A value on its way into a column.
#pragma once

#include "ado/provider.h"
#include "common/locale_info.h"
#include "common/variant.h"

namespace quarno::ado {

/// The value as the column's own type; empty becomes null. Raises 3421 for a value of the wrong kind and
/// -2147217887 for a number out of range or a text longer than the column's defined size (0 sets no limit).
Variant coerced(const Variant& value, const Column& column, const LocaleInfo& locale);
/// The same into `to`, which keeps its value when this raises. A text goes into the room that `to` has.
void assign_coerced(Variant& to, const Variant& value, const Column& column, const LocaleInfo& locale);

}  // namespace quarno::ado
