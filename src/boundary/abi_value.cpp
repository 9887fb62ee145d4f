#include "boundary/abi_value.h"

#include <cstdlib>
#include <cstring>
#include <limits>

#include "common/error.h"

namespace quarno::boundary {
namespace {

// malloc, because a C host frees with qf_clear and must not meet operator new's handlers.
void* allocate(std::uint64_t size) {
  void* const memory = std::malloc(size == 0 ? 1 : static_cast<std::size_t>(size));
  if (memory == nullptr) throw run_time_error(RunTime::out_of_memory);
  return memory;
}

struct ToC {
  qf_value& target;

  void set_type(int type) const { target.type = static_cast<std::uint16_t>(type); }
  void operator()(std::monostate) const { set_type(QF_EMPTY); }
  void operator()(Variant::Null) const { set_type(QF_NULL); }
  void operator()(Variant::Missing) const { set_type(QF_MISSING); }
  void operator()(std::int16_t v) const { set_type(QF_INT16), target.as.int16 = v; }
  void operator()(std::int32_t v) const { set_type(QF_INT32), target.as.int32 = v; }
  void operator()(std::int64_t v) const { set_type(QF_INT64), target.as.int64 = v; }
  void operator()(std::uint8_t v) const { set_type(QF_BYTE), target.as.byte = v; }
  void operator()(float v) const { set_type(QF_SINGLE), target.as.single = v; }
  void operator()(double v) const { set_type(QF_DOUBLE), target.as.real = v; }
  void operator()(Currency v) const { set_type(QF_CURRENCY), target.as.currency = v.scaled; }
  void operator()(Date v) const { set_type(QF_DATE), target.as.date = v.days; }
  void operator()(bool v) const {
    set_type(QF_BOOLEAN), target.as.boolean = static_cast<std::int16_t>(v ? kTrue : 0);
  }
  void operator()(const Decimal& v) const {
    set_type(QF_DECIMAL);
    target.scale = v.scale();
    target.negative = v.negative() ? 1 : 0;
    target.high = v.high();
    target.as.low = v.low();
  }
  void operator()(const std::string& v) const { set_text(target, v.data(), v.size()); }
  void operator()(const Variant::Bytes& v) const { set_bytes(target, v.data(), v.size()); }
  void operator()(const Variant::Array& v) const {
    set_array(target, v.size());
    for (std::size_t i = 0; i < v.size(); ++i) value_to_c(v[i], target.as.array.items[i]);
  }
  void operator()(const Variant::Object& v) const {
    set_type(QF_OBJECT);
    auto* const object = dynamic_cast<automation::Object*>(v.get());
    if (object != nullptr) object->retain();
    target.as.object = object_to_c(object);
  }
};

}  // namespace

Variant value_from_c(const qf_value& value) {
  switch (value.type) {
    case QF_EMPTY: return {};
    case QF_NULL: return Variant::null();
    case QF_MISSING: return Variant::missing();
    case QF_INT16: return value.as.int16;
    case QF_INT32: return value.as.int32;
    case QF_INT64: return value.as.int64;
    case QF_BYTE: return value.as.byte;
    case QF_SINGLE: return value.as.single;
    case QF_DOUBLE: return value.as.real;
    case QF_CURRENCY: return Currency{value.as.currency};
    case QF_DATE: return Date{value.as.date};
    case QF_BOOLEAN: return value.as.boolean != 0;
    case QF_DECIMAL:
      if (value.scale > Decimal::kMaxScale) break;
      return Decimal(value.negative != 0, value.high, value.as.low, value.scale);
    case QF_TEXT:
      if (value.as.text.size == 0) return std::string();
      return std::string(value.as.text.data, static_cast<std::size_t>(value.as.text.size));
    case QF_BYTES: return Variant::Bytes(value.as.bytes.data, value.as.bytes.data + value.as.bytes.size);
    case QF_ARRAY: {
      Variant::Array items;
      items.reserve(static_cast<std::size_t>(value.as.array.count));
      for (std::uint64_t i = 0; i < value.as.array.count; ++i)
        items.push_back(value_from_c(value.as.array.items[i]));
      return items;
    }
    case QF_OBJECT:
      if (value.as.object == nullptr) return {};
      return Ptr<automation::Object>(object_from_c(value.as.object));
    case QF_BYREF:
      // One level only: a reference to a reference has no meaning.
      if (value.as.reference == nullptr || value.as.reference->type == QF_BYREF) break;
      return value_from_c(*value.as.reference);
    default: break;
  }
  throw run_time_error(RunTime::type_mismatch);
}

void value_to_c(const Variant& value, qf_value& target) {
  target = qf_value{};
  std::visit(ToC{target}, value.storage());
}

void clear(qf_value& value) noexcept {
  switch (value.type) {
    case QF_TEXT: std::free(value.as.text.data); break;
    case QF_BYTES: std::free(value.as.bytes.data); break;
    case QF_ARRAY:
      for (std::uint64_t i = 0; i < value.as.array.count; ++i) clear(value.as.array.items[i]);
      std::free(value.as.array.items);
      break;
    case QF_OBJECT:
      if (value.as.object != nullptr) object_from_c(value.as.object)->release_from_any_thread();
      break;
    default: break;
  }
  value = qf_value{};
}

void set_text(qf_value& value, const char* data, std::uint64_t size) {
  auto* const copy = static_cast<char*>(allocate(size));
  if (size > 0) std::memcpy(copy, data, static_cast<std::size_t>(size));
  value = qf_value{};
  value.type = QF_TEXT;
  value.as.text.data = copy;
  value.as.text.size = size;
}

void set_bytes(qf_value& value, const std::uint8_t* data, std::uint64_t size) {
  auto* const copy = static_cast<std::uint8_t*>(allocate(size));
  if (size > 0) std::memcpy(copy, data, static_cast<std::size_t>(size));
  value = qf_value{};
  value.type = QF_BYTES;
  value.as.bytes.data = copy;
  value.as.bytes.size = size;
}

void set_array(qf_value& value, std::uint64_t count) {
  if (count > std::numeric_limits<std::uint64_t>::max() / sizeof(qf_value)) {
    throw run_time_error(RunTime::out_of_memory);
  }
  auto* const items = static_cast<qf_value*>(allocate(count * sizeof(qf_value)));
  for (std::uint64_t i = 0; i < count; ++i) items[i] = qf_value{};
  value = qf_value{};
  value.type = QF_ARRAY;
  value.as.array.items = items;
  value.as.array.count = count;
}

}  // namespace quarno::boundary
