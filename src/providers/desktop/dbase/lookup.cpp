#include "providers/desktop/dbase/lookup.h"

#include <algorithm>
#include <bit>
#include <string>

#include "providers/desktop/dbase/table_file.h"
#include "providers/desktop/dbase/values.h"
#include "providers/desktop/functions/folding.h"

namespace quarno::desktop::dbase {
namespace {

constexpr std::size_t kBlockBytes = std::size_t{256} * 1024;
constexpr std::size_t kMostLookups = 4;
constexpr std::uint32_t kMostRecords = 16u << 20;  // 128 MB a lookup

class Hash {
 public:
  void add(std::uint64_t value) {
    state_ = (state_ ^ value) * 0x9E37'79B9'7F4A'7C15;
    state_ ^= state_ >> 29;
  }
  // 0.0 and -0.0 are equal.
  void add(double value) { add(std::bit_cast<std::uint64_t>(value == 0 ? 0.0 : value)); }
  // Texts that any of the engine's orders takes for equal are equal when folded.
  void add(std::string_view text) {
    for (std::size_t at = 0; at < text.size();) add(std::uint64_t{folded(next_distinct(text, at))});
  }
  std::uint32_t value() const { return static_cast<std::uint32_t>(state_ >> 32); }

 private:
  std::uint64_t state_ = 0;
};

// False for a null, which equals nothing.
bool add_field(Hash& hash, TextForm& form, const Field& field, const char* record, std::string& buffer) {
  const std::string_view bytes(record + field.offset, field.width);
  if (field.kind == FieldKind::text) {
    const auto text = read_text(bytes);
    hash.add(form.decode(text, buffer));
    return !text.empty();
  }
  const auto number = field.kind == FieldKind::date ? read_date(bytes) : read_number(bytes);
  if (number) hash.add(*number);
  return number.has_value();
}

}  // namespace

bool can_be_sought(const Field& field) {
  return field.kind == FieldKind::text || field.kind == FieldKind::number || field.kind == FieldKind::date;
}

Sought sought(const Layout& layout, const std::vector<std::size_t>& columns, sqlite3_value** values) {
  Hash hash;
  Sought result;
  for (std::size_t i = 0; i < columns.size(); ++i) {
    const bool is_text = layout.fields[columns[i]].kind == FieldKind::text;
    // A number in a text is compared as one, also "05" with 5.
    const int type = is_text ? sqlite3_value_type(values[i]) : sqlite3_value_numeric_type(values[i]);
    const bool is_number = type == SQLITE_INTEGER || type == SQLITE_FLOAT;
    if (type == SQLITE_NULL || (!is_text && !is_number)) return {Sought::Is::nowhere};
    if (!is_text) {
      hash.add(sqlite3_value_double(values[i]));
    } else if (type == SQLITE_TEXT) {
      const auto* const text = reinterpret_cast<const char*>(sqlite3_value_text(values[i]));
      hash.add(std::string_view(text, static_cast<std::size_t>(sqlite3_value_bytes(values[i]))));
    } else {
      result.is = Sought::Is::anywhere;
    }
  }
  result.hash = hash.value();
  return result;
}

Lookup::Lookup(TableFile& file, const std::vector<std::size_t>& columns) {
  const Layout& layout = file.layout();
  std::string block;
  std::string buffer;
  const std::size_t most = std::max<std::size_t>(1, kBlockBytes / layout.record_length);
  const auto add = [&](std::uint32_t number, const char* record) {
    Hash hash;
    const bool holds = *record != kDeleted && std::all_of(columns.begin(), columns.end(), [&](std::size_t i) {
      return add_field(hash, file.text_form(), layout.fields[i], record, buffer);
    });
    if (holds) entries_.push_back({hash.value(), number});
  };
  for (std::uint32_t first = 0; first < file.count();) {
    const std::uint32_t stored = file.in_file(first, static_cast<std::uint32_t>(most));
    block.resize(std::size_t{stored} * layout.record_length);
    if (stored > 0) file.read_records(first, block);
    const std::uint32_t behind = first + std::max<std::uint32_t>(stored, 1);
    for (std::uint32_t number = first; number < behind; ++number) {
      const char* const changed = file.changed(number);
      add(number, changed != nullptr ? changed : &block[std::size_t{number - first} * layout.record_length]);
    }
    first = behind;
  }
  std::sort(entries_.begin(), entries_.end());
}

std::span<const Lookup::Entry> Lookup::find(std::uint32_t hash) const {
  const auto first = std::lower_bound(entries_.begin(), entries_.end(), Entry{hash, 0});
  auto end = first;
  while (end != entries_.end() && end->hash == hash) ++end;
  return {first, end};
}

std::shared_ptr<const Lookup> Lookups::for_columns(TableFile& file, const std::vector<std::size_t>& columns) {
  if (file.count() > kMostRecords) return nullptr;
  if (const std::uint64_t now = file.state(); state_ != now) {
    known_.clear();
    state_ = now;
  }
  const auto found = std::find_if(known_.begin(), known_.end(),
                                  [&](const Known& candidate) { return candidate.columns == columns; });
  if (found == known_.end()) {
    if (known_.size() == kMostLookups) known_.erase(known_.begin());
    known_.push_back({columns, nullptr});
    return nullptr;
  }
  if (found->lookup == nullptr) found->lookup = std::make_shared<Lookup>(file, columns);
  return found->lookup;
}

}  // namespace quarno::desktop::dbase
