// What the rewriter asks of the database it writes for.
#pragma once

#include <optional>
#include <string>
#include <string_view>
#include <utility>
#include <vector>

namespace quarno::desktop::jet {

struct Column {
  std::string name;
  std::string type;  // as declared: "VARCHAR(20)"; empty when it is not known
};

class Schema {
 public:
  virtual ~Schema() = default;
  /// The columns of a table or view that the engine has; null when there is none of that name. Names come
  /// without delimiters and in any letter case.
  virtual const std::vector<Column>* columns(std::string_view table) const = 0;
  /// The text of a saved query or of a view; nothing when there is none of that name.
  virtual std::optional<std::string> query(std::string_view name) const = 0;
  /// Runs a query of two columns and gives its rows as texts.
  virtual std::vector<std::pair<std::string, std::string>> pairs(const std::string& select) const = 0;
  /// The CREATE TABLE by which the engine knows a table; empty when there is none.
  virtual std::string definition(std::string_view table) const = 0;
  /// The CREATE INDEX and CREATE TRIGGER statements of a table.
  virtual std::vector<std::string> attachments(std::string_view table) const = 0;
};

}  // namespace quarno::desktop::jet
