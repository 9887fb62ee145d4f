#include "common/variant.h"

#include <array>

namespace quarno {

VariantType Variant::type() const {
  using enum VariantType;
  // In the order of Storage's alternatives.
  static constexpr std::array<VariantType, std::variant_size_v<Storage>> kTypes = {
      empty,    null,    missing, int16,   int32, int64, byte,  single, real,
      currency, decimal, date,    boolean, text,  bytes, array, object};
  return kTypes[storage_.index()];
}

}  // namespace quarno
