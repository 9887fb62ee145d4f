// A saved query as SQL text, put together from the rows that describe it. Pure.
#pragma once

#include <cstdint>
#include <string>
#include <vector>

namespace quarno::desktop::access {

enum class QueryKind {
  unknown,
  select,
  make_table,
  append,
  update,
  remove,
  crosstab,
  definition,    // CREATE, ALTER and the like
  pass_through,  // in the words of a server
  set_union,
};

/// A row of the table of queries.
struct QueryRow {
  int attribute = 0;
  std::string order;  // compared as bytes
  int flag = 0;
  std::int32_t extra = 0;
  std::string name1;
  std::string name2;
  std::string expression;
};

struct QueryText {
  QueryKind kind = QueryKind::unknown;
  bool has_parameters = false;
  std::string text;  // empty when the rows hold something that is not understood
};

/// `object_flags` are those of the query's catalogue row; they tell the kind where the rows do not.
QueryText query_text(std::vector<QueryRow> rows, std::uint32_t object_flags);

}  // namespace quarno::desktop::access
