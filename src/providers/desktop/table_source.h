// Where the tables of a database come from that is not the engine's own file.
#pragma once

#include <sqlite3.h>

#include <functional>
#include <string>
#include <string_view>
#include <vector>

#include "ado/catalog/schema.h"
#include "providers/desktop/new_column.h"

namespace quarno::desktop {

/// Called while much is read; false stops it, and the reader raises kTimeoutExpired.
using GoOn = std::function<bool()>;

/// A query that is kept by name.
struct SavedQuery {
  std::string name;
  std::string text;      // in Jet SQL; empty when it could not be read
  bool is_view = false;  // else it takes parameters or changes rows, and is called
};

class TableSource {
 public:
  virtual ~TableSource() = default;
  /// The tables there are now, those of the system's among them, as their makers wrote the names.
  virtual std::vector<std::string> names() = 0;
  /// What a table of names() is, as catalogues call it: TABLE, SYSTEM TABLE, or LINK and PASS-THROUGH for
  /// one whose rows are in another database.
  virtual std::string type_of(const std::string& /*name*/) { return "TABLE"; }
  /// Brings a table into the engine, where statements then find it under this name; letter case does not
  /// matter. False when there is none of that name. Asked once per table and connection, and again after a
  /// table was dropped.
  virtual bool bring(sqlite3* database, std::string_view name, const GoOn& go_on) = 0;
  /// Makes the table without its rows, where that is much less than bringing it; else false.
  virtual bool bring_design(sqlite3* /*database*/, std::string_view /*name*/) { return false; }
  /// Of a table of names(), the columns of each index in their order.
  virtual std::vector<ado::IndexDefinition> indexes(const std::string& /*name*/) { return {}; }
  /// Read when first asked for.
  virtual std::vector<SavedQuery> queries() { return {}; }
  /// Told behind the refusal of a change, where nothing can be changed: what the host can do.
  virtual std::string_view why_read_only() const { return {}; }
  /// Whether tables can be made, changed and dropped.
  virtual bool is_writable() const = 0;
  /// How long a statement waits from now on for others that write.
  virtual void set_patience_ms(int /*milliseconds*/) {}
  /// Raises what is in the way: a name that is taken, a type that cannot be kept.
  virtual void create(sqlite3* database, const std::string& name, const std::vector<NewColumn>& columns) = 0;
  virtual void drop(sqlite3* database, const std::string& name) = 0;
};

}  // namespace quarno::desktop
