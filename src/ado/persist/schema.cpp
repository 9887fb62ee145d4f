#include "ado/persist/schema.h"

#include <algorithm>
#include <charconv>
#include <limits>
#include <unordered_set>

#include "ado/persist/snapshot_error.h"
#include "ado/persist/value_text.h"
#include "ado/persist/value_type.h"
#include "common/text.h"

namespace quarno::ado::persist {
namespace {

// Far beyond what queries have; each row looks for its own among them.
constexpr std::size_t kMostChapters = 1000;
constexpr std::uint64_t kLongest = std::numeric_limits<std::int32_t>::max();

std::optional<std::uint64_t> number_of(std::optional<std::string_view> text) {
  if (!text) return std::nullopt;
  std::uint64_t value = 0;
  const auto [end, error] = std::from_chars(text->data(), text->data() + text->size(), value);
  if (error != std::errc() || end != text->data() + text->size()) {
    throw no_snapshot("The schema holds a bad number.");
  }
  return value;
}

std::uint8_t small_number(std::optional<std::uint64_t> number) {
  return static_cast<std::uint8_t>(std::min<std::uint64_t>(number.value_or(255), 255));
}

std::int64_t size_of(DataType type, std::optional<std::uint64_t> declared) {
  const TypeName* const name = type_name_of(type);
  if (name->size != 0) return name->size;
  if (declared) return static_cast<std::int64_t>(std::min(*declared, kLongest));
  return is_long(type) ? longest_of(type) : 0;
}

// Groups of three numbers of 32 bits: column of the parent, own column, 1 where the chapter is a group of
// rows that its parent sums up.
std::vector<std::uint32_t> relation_numbers(std::string_view hex) {
  Variant::Bytes bytes;
  if (!read_bytes(hex, bytes) || bytes.size() % 12 != 0) {
    throw no_snapshot("The schema holds a bad relation.");
  }
  std::vector<std::uint32_t> numbers;
  for (std::size_t at = 0; at < bytes.size(); at += 4) {
    std::uint32_t number = 0;
    for (std::size_t i = 4; i-- > 0;) number = number << 8 | bytes[at + i];
    numbers.push_back(number);
  }
  return numbers;
}

std::size_t column_numbered(const std::vector<std::uint64_t>& numbers, std::uint32_t number) {
  const auto found = std::ranges::find(numbers, number);
  if (found == numbers.end()) throw no_snapshot("The schema relates a column that is not there.");
  return static_cast<std::size_t>(found - numbers.begin());
}

constexpr std::pair<std::string_view, std::int32_t> kFlags[] = {{"rowid", adFldRowID},
                                                                {"nullable", adFldIsNullable},
                                                                {"maydefer", adFldMayDefer},
                                                                {"cachedeferred", adFldCacheDeferred},
                                                                {"rowver", adFldRowVersion},
                                                                {"write", adFldUpdatable},
                                                                {"writeunknown", adFldUnknownUpdatable},
                                                                {"keycolumn", adFldKeyColumn}};

}  // namespace

Name Name::of(std::string_view parsed) {
  const std::size_t end = parsed.rfind(kSpaceEnd);
  if (end == std::string_view::npos) return {Space::none, parsed};
  const std::string_view space = parsed.substr(0, end);
  return {space == kRowsetSpace   ? Space::rowset
          : space == kTypeSpace   ? Space::type
          : space == kSchemaSpace ? Space::schema
                                  : Space::other,
          parsed.substr(end + 1)};
}

bool Name::is(Space of_space, std::string_view word) const {
  return space == of_space && text::equal_fold(local, word);
}

std::optional<std::string_view> Attributes::find(Space space, std::string_view word) const {
  for (const char** pair = pairs_; *pair != nullptr; pair += 2) {
    if (Name::of(pair[0]).is(space, word)) return pair[1];
  }
  return std::nullopt;
}

bool Attributes::is_true(Space space, std::string_view word) const {
  const std::string_view value = find(space, word).value_or("");
  return text::equal_fold(value, "true") || value == "1";
}

void SchemaReader::start(const Name& element, const Attributes& attributes) {
  const auto text_of = [&](Space space, std::string_view word) {
    return std::string(attributes.find(space, word).value_or(""));
  };
  if (element.is(Space::schema, "ElementType")) {
    if (!elements_.empty() && ++chapter_count_ > kMostChapters) {
      throw no_snapshot("It has too many chapters.");
    }
    std::vector<Element>& place = elements_.empty() ? rows_ : elements_.back()->chapters;
    Element& row = place.emplace_back();
    row.element = text_of(Space::none, "name");
    row.name = std::string(attributes.find(Space::rowset, "name").value_or(row.element));
    row.reshape_name = text_of(Space::rowset, "ReshapeName");
    row.relation = text_of(Space::rowset, "relation");
    row.command_timeout = number_of(attributes.find(Space::rowset, "CommandTimeout"));
    row.is_updatable = attributes.is_true(Space::rowset, "updatable");
    elements_.push_back(&row);
    return open_.push_back(Open::element);
  }
  if (element.is(Space::schema, "AttributeType")) {
    std::vector<Attribute>& place = elements_.empty() ? shared_ : elements_.back()->attributes;
    attribute_ = &place.emplace_back(declared(attributes));
    return open_.push_back(Open::attribute);
  }
  if (element.is(Space::schema, "attribute") && !elements_.empty()) {
    elements_.back()->order.push_back(text_of(Space::none, "type"));
  } else if (element.is(Space::schema, "datatype") && attribute_ != nullptr) {
    read_type(*attribute_, attributes);
  }
  open_.push_back(Open::other);
}

void SchemaReader::end() {
  if (open_.back() == Open::element) elements_.pop_back();
  if (open_.back() == Open::attribute) attribute_ = nullptr;
  open_.pop_back();
}

SchemaReader::Attribute SchemaReader::declared(const Attributes& attributes) {
  Attribute result;
  result.key = std::string(attributes.find(Space::none, "name").value_or(""));
  if (const auto name = attributes.find(Space::rowset, "name")) result.name = std::string(*name);
  result.number = number_of(attributes.find(Space::rowset, "number"));
  for (const auto& [word, flag] : kFlags) {
    if (attributes.is_true(Space::rowset, word)) result.flags |= flag;
  }
  result.base_table = std::string(attributes.find(Space::rowset, "basetable").value_or(""));
  result.base_column = std::string(attributes.find(Space::rowset, "basecolumn").value_or(""));
  result.is_hidden = attributes.is_true(Space::rowset, "hidden");
  result.is_auto_numbered = attributes.is_true(Space::rowset, "autoincrement");
  read_type(result, attributes);
  return result;
}

// On an element of its own or on the attribute's.
void SchemaReader::read_type(Attribute& attribute, const Attributes& attributes) {
  const auto take = [&](auto& to, Space space, std::string_view word) {
    const auto text = attributes.find(space, word);
    if (!text) return;
    if constexpr (std::is_same_v<std::remove_reference_t<decltype(to)>, std::string>) {
      to = std::string(*text);
    } else {
      to = number_of(text);
    }
  };
  take(attribute.type, Space::type, "type");
  take(attribute.source_type, Space::rowset, "dbtype");
  take(attribute.max_length, Space::type, "maxLength");
  take(attribute.scale, Space::rowset, "scale");
  take(attribute.precision, Space::rowset, "precision");
  attribute.is_fixed |= attributes.is_true(Space::rowset, "fixedlength");
  attribute.is_long |= attributes.is_true(Space::rowset, "long");
  attribute.must_be |= text::equal_fold(attributes.find(Space::rowset, "maybenull").value_or(""), "false");
}

// By their numbers; without one, by their place. References put them into an order of its own.
std::vector<SchemaReader::Attribute> SchemaReader::ordered(const Element& element) const {
  std::unordered_map<std::string_view, const Attribute*> own;
  for (const Attribute& attribute : element.attributes) {
    if (!own.emplace(attribute.key, &attribute).second) {
      throw no_snapshot("The schema declares '" + attribute.key + "' twice.");
    }
  }
  std::vector<Attribute> result;
  std::unordered_set<std::string_view> referred;
  for (const std::string& key : element.order) {
    const auto& known = own.contains(key) ? own : shared_keys_;
    const auto found = known.find(key);
    if (found == known.end() || !referred.insert(key).second) {
      throw no_snapshot("The schema refers to '" + key + "', which is not there or not alone.");
    }
    result.push_back(*found->second);
  }
  for (const Attribute& attribute : element.attributes) {
    if (!referred.contains(attribute.key)) result.push_back(attribute);
  }
  for (std::size_t i = 0; i < result.size(); ++i) {
    if (!result[i].number) result[i].number = i + 1;
  }
  std::ranges::stable_sort(result, {}, [](const Attribute& attribute) { return *attribute.number; });
  return result;
}

RowShape SchemaReader::finish() {
  if (rows_.empty()) throw no_snapshot("There is no schema in it.");
  for (const Attribute& attribute : shared_) shared_keys_.emplace(attribute.key, &attribute);
  return shape_of(rows_.front(), nullptr);
}

RowShape SchemaReader::shape_of(const Element& element,
                                const std::vector<std::uint64_t>* parent_numbers) const {
  RowShape shape;
  shape.element = element.element;
  shape.name = element.name;
  shape.reshape_name = element.reshape_name;
  shape.is_updatable = element.is_updatable;
  if (element.command_timeout) {
    shape.command_timeout = static_cast<std::int32_t>(std::min(*element.command_timeout, kLongest));
  }
  std::vector<Attribute> attributes = ordered(element);
  if (attributes.empty() && element.chapters.empty()) throw no_snapshot("It has no columns.");
  // A chapter's number is one that no column has.
  std::vector<std::uint64_t> free_numbers;
  for (std::uint64_t number = 1; free_numbers.size() < element.chapters.size(); ++number) {
    if (std::ranges::find(attributes, number, [](const Attribute& a) { return *a.number; }) ==
        attributes.end()) {
      free_numbers.push_back(number);
    }
  }
  std::stable_partition(attributes.begin(), attributes.end(),
                        [](const Attribute& attribute) { return !attribute.is_hidden; });
  std::vector<std::uint64_t> numbers;
  for (const Attribute& attribute : attributes) {
    const auto type = declared_type({.name = attribute.type,
                                     .source_type = attribute.source_type,
                                     .is_sized = attribute.max_length.has_value(),
                                     .is_fixed = attribute.is_fixed,
                                     .is_long = attribute.is_long});
    if (!type) throw no_snapshot("There is no type '" + attribute.type + "'.");
    const TypeName& written = *type_name_of(*type);
    Column column;
    column.name = attribute.name.value_or(attribute.key);
    column.type = *type;
    column.defined_size = size_of(*type, attribute.max_length);
    column.precision = attribute.precision == 0u ? std::uint8_t{255} : small_number(attribute.precision);
    column.scale = small_number(attribute.scale);
    column.attributes = attribute.flags | (attribute.is_fixed || written.is_fixed ? adFldFixed : 0) |
                        (is_long(*type) ? adFldLong : 0) | (attribute.must_be ? 0 : adFldMayBeNull);
    column.base_table = attribute.base_table;
    column.base_column = attribute.base_column;
    column.key = (attribute.flags & adFldKeyColumn) != 0;
    column.auto_increment = attribute.is_auto_numbered;
    column.hidden = attribute.is_hidden;
    shape.columns.push_back(std::move(column));
    shape.places.push_back({attribute.key, !attribute.must_be || (attribute.flags & adFldIsNullable) != 0});
    numbers.push_back(*attribute.number);
  }
  if (parent_numbers != nullptr) {
    const std::vector<std::uint32_t> related = relation_numbers(element.relation);
    for (std::size_t i = 0; i < related.size(); i += 3) {
      shape.relation.emplace_back(column_numbered(*parent_numbers, related[i]),
                                  column_numbered(numbers, related[i + 1]));
      shape.is_computed |= related[i + 2] != 0;
    }
  }
  for (std::size_t i = 0; i < element.chapters.size(); ++i) {
    shape.chapters.push_back(shape_of(element.chapters[i], &numbers));
    shape.chapters.back().position = static_cast<std::size_t>(free_numbers[i] - 1);
  }
  return shape;
}

}  // namespace quarno::ado::persist
