// The first part of a snapshot: its columns, and the chapters of a hierarchy.
#pragma once

#include <cstdint>
#include <optional>
#include <string>
#include <string_view>
#include <unordered_map>
#include <utility>
#include <vector>

#include "ado/provider.h"

namespace quarno::ado::persist {

/// Where the words of a snapshot come from; prefixes are free.
inline constexpr std::string_view kSchemaSpace = "uuid:BDC6E3F0-6DA3-11d1-A2A3-00AA00C14882";
inline constexpr std::string_view kTypeSpace = "uuid:C2F41010-65B3-11d1-A29F-00AA00C14882";
inline constexpr std::string_view kRowsetSpace = "urn:schemas-microsoft-com:rowset";
/// Stands between a name and the space it comes from.
inline constexpr char kSpaceEnd = '|';

enum class Space { none, schema, type, rowset, other };
/// A name as the parser hands it out, taken apart.
struct Name {
  Space space = Space::none;
  std::string_view local;
  static Name of(std::string_view parsed);
  /// Ignoring letter case: these words are written both ways.
  bool is(Space of_space, std::string_view word) const;
};

/// The attributes of an element: names and values in turn, null at the end. Borrowed from the parser.
class Attributes {
 public:
  explicit Attributes(const char** pairs) : pairs_(pairs) {}
  std::optional<std::string_view> find(Space space, std::string_view word) const;
  bool is_true(Space space, std::string_view word) const;

 private:
  const char** pairs_;
};

/// A row's place for a value.
struct FileColumn {
  std::string key;  // the attribute's name
  bool may_be_absent = true;
};

/// What a kind of rows has.
struct RowShape {
  std::string element;  // name of the element that stands for a row
  std::string name;     // of the chapter; of the element at the top
  std::string reshape_name;
  std::optional<std::int32_t> command_timeout;
  bool is_updatable = false;
  std::vector<Column> columns;  // hidden ones are the last
  std::vector<FileColumn> places;
  // Of a chapter only.
  std::size_t position = 0;  // among its parent's fields
  bool is_computed = false;
  std::vector<std::pair<std::size_t, std::size_t>> relation;  // columns of the parent and its own
  std::vector<RowShape> chapters;
};

/// Takes the elements of a schema one by one.
class SchemaReader {
 public:
  void start(const Name& element, const Attributes& attributes);
  void end();
  /// Once the schema was read. Raises what makes no recordset.
  RowShape finish();

 private:
  struct Attribute {  // of a row's element, as it was declared
    std::string key;
    std::optional<std::string> name;
    std::optional<std::uint64_t> number, max_length, scale, precision;
    std::string type, source_type, base_table, base_column;
    std::int32_t flags = 0;
    bool is_fixed = false, is_long = false, must_be = false, is_hidden = false;
    bool is_auto_numbered = false;
  };
  struct Element {
    std::string element, name, reshape_name, relation;
    std::optional<std::uint64_t> command_timeout;
    bool is_updatable = false;
    std::vector<Attribute> attributes;
    std::vector<std::string> order;  // attributes that are referred to
    std::vector<Element> chapters;
  };
  enum class Open { element, attribute, other };

  static Attribute declared(const Attributes& attributes);
  static void read_type(Attribute& attribute, const Attributes& attributes);
  std::vector<Attribute> ordered(const Element& element) const;
  RowShape shape_of(const Element& element, const std::vector<std::uint64_t>* parent_numbers) const;

  std::vector<Open> open_;
  std::vector<Element*> elements_;  // that are open
  std::vector<Element> rows_;       // at the top: the first one counts
  std::vector<Attribute> shared_;   // declared outside of any element
  std::unordered_map<std::string_view, const Attribute*> shared_keys_;
  std::size_t chapter_count_ = 0;
  Attribute* attribute_ = nullptr;  // that is open
};

}  // namespace quarno::ado::persist
