// The SHAPE language: how results are put together to a hierarchy. Pure: a text is read into a tree, nothing
// is run. What stands in braces is the data source's and is not looked into.
#pragma once

#include <cstddef>
#include <cstdint>
#include <memory>
#include <string>
#include <string_view>
#include <vector>

#include "ado/enums.h"

namespace quarno::ado::shape {

struct Shape;

/// Where the rows of a parent or a child come from.
struct Source {
  enum class Kind : std::uint8_t {
    none,       // a parent of NEW columns alone
    statement,  // {text}
    table,      // TABLE name
    shape,      // (SHAPE ...)
    reused,     // a name given earlier in the same text
  };
  Kind kind = Kind::none;
  std::string text;              // the statement, or the name of the table or of the source used again
  std::unique_ptr<Shape> shape;  // of that kind alone
  std::string alias;
};

/// "parent TO child", or "parent TO PARAMETER n".
struct Relation {
  std::string parent;
  std::string child;
  std::int32_t parameter = -1;  // counted from 0; negative for a column
};

enum class Function : std::uint8_t { sum, avg, min, max, count, stdev, any };

/// One column that is added to the parent's.
struct Item {
  enum class Kind : std::uint8_t { chapter, aggregate, fresh };
  Kind kind = Kind::chapter;
  std::string name;  // of the column; empty when the text gives none

  Source child;  // of a chapter; in a COMPUTE none, as all items are about the one child
  std::vector<Relation> relations;

  Function function = Function::count;
  std::vector<std::string> path;  // chapter, chapters within it, column; a chapter alone only for COUNT

  DataType type = DataType::integer;  // of a fresh column, whose values are null
  std::uint32_t size = 0;
  std::uint8_t scale = 255;
};

struct Shape {
  Source parent;  // the child, in a COMPUTE
  bool computes = false;
  std::vector<Item> items;
  std::vector<std::string> by;
};

/// Whether a statement is in this language.
bool is_shape(std::string_view statement);

/// Raises -2147217900 with a text that names the place.
Shape parse_shape(std::string_view text);

std::string_view name_of(Function function);

}  // namespace quarno::ado::shape
