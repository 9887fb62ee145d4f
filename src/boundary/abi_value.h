// Automation values as the C interface carries them.
#pragma once

#include "automation/object.h"
#include "common/variant.h"
#include "quarnofwk/quarnofwk.h"

namespace quarno::boundary {

inline automation::Object* object_from_c(const qf_object* object) {
  return reinterpret_cast<automation::Object*>(const_cast<qf_object*>(object));
}
/// Without a reference of its own.
inline qf_object* object_to_c(automation::Object* object) { return reinterpret_cast<qf_object*>(object); }

/// Follows QF_BYREF. A type number the interface does not have raises 13.
Variant value_from_c(const qf_value& value);

/// Overwrites `target` without clearing it. What it then holds is the caller's.
void value_to_c(const Variant& value, qf_value& target);

void clear(qf_value& value) noexcept;
void set_text(qf_value& value, const char* data, std::uint64_t size);
void set_bytes(qf_value& value, const std::uint8_t* data, std::uint64_t size);
void set_array(qf_value& value, std::uint64_t count);

}  // namespace quarno::boundary
