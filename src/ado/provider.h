// What the object model asks of a data source. A provider opens sessions; a session runs statements and hands
// back rows that fill a column store. Failures are raised as provider_error. A session is used by one thread.
#pragma once

#include <cstdint>
#include <functional>
#include <memory>
#include <optional>
#include <span>
#include <string>
#include <string_view>
#include <vector>

#include "ado/catalog/schema.h"
#include "ado/connection_string.h"
#include "ado/cursor/chapters.h"
#include "ado/cursor/column_store.h"
#include "ado/enums.h"
#include "common/variant.h"

namespace quarno::ado {

/// One column of a result.
struct Column {
  std::string name;
  DataType type = DataType::var_wchar;
  std::int64_t defined_size = 0;  // characters for text, bytes otherwise
  std::uint8_t precision = 255;   // digits of a number; 255 when it has none
  std::uint8_t scale = 255;       // decimals; 255 when it has none
  bool scale_holds = true;        // false: the column may take more decimals than that
  std::int32_t attributes = 0;    // FieldAttribute bits
  std::string base_table;         // empty for an expression
  std::string base_column;
  bool key = false;             // part of what tells one row of base_table from another
  bool auto_increment = false;  // the data source numbers it
  bool hidden = false;          // no field: it only tells rows apart; behind all that are fields
};

/// An empty store for rows of these columns.
ColumnStore store_for(const std::vector<Column>& columns);

/// A result that is being read.
class Rows {
 public:
  virtual ~Rows() = default;
  virtual const std::vector<Column>& columns() const = 0;
  /// Appends up to `limit` rows to a store with these columns; returns how many, 0 only at the end.
  virtual std::size_t fetch(ColumnStore& store, std::size_t limit) = 0;
  /// The statement's time counts anew: called before each later block of a result that a host walks at its
  /// own pace.
  virtual void renew_time_limit() {}
  /// Nobody takes the rows: lets go of them and raises what the data source says behind them.
  virtual void finish() {}
  /// Of rows that were put together from several results: by column, what is a chapter, null for any other.
  /// Such rows are held in memory already and the origins of their columns are settled. Null for the rows of
  /// a data source.
  virtual const std::vector<std::shared_ptr<Chapters>>* chapters() const { return nullptr; }
};

/// How a host takes the rows: all of them before it goes on, or block by block at its own pace. Then no more
/// than a block should be held on the way, where the data source can do that.
enum class Reading : std::uint8_t { at_once, in_blocks };

struct Outcome {
  std::unique_ptr<Rows> rows;  // null when the statement gives none
  std::int64_t affected = -1;  // rows changed; -1 when the statement does not count
};

/// How a data source's SQL differs where the model writes statements of its own.
struct Dialect {
  std::string_view quote_open = "\"";
  std::string_view quote_close = "\"";
  std::string_view empty_insert =
      " DEFAULT VALUES";                  // behind INSERT INTO and the table, for a row without values
  std::string_view call_open = "{call ";  // about a procedure's name and arguments
  std::string_view call_close = "}";
  std::string_view same_text = " = ?";  // about a column of text, whose letter case is part of its value
  std::string_view same_text_open = "";
};

/// A column of a table's index.
struct IndexColumn {
  std::string name;
  bool descending = false;
};

class Session {
 public:
  virtual ~Session() = default;
  /// Runs a statement as the host wrote it. 0 seconds: no limit; beyond the limit it raises kTimeoutExpired.
  /// Rows that are read in blocks stay readable whatever the session does meanwhile, or say that they cannot
  /// be read; they never end early.
  virtual Outcome execute(const std::string& statement, std::int32_t timeout_seconds, Reading reading) = 0;
  /// The same with values for the statement's "?" marks, read at once. The values have to be there until all
  /// rows were fetched.
  virtual Outcome execute_with(const std::string& statement, std::span<const Variant> parameters,
                               std::int32_t timeout_seconds);
  /// How many seconds each write from here on may take; 0 for no limit.
  void limit_writes(std::int32_t seconds) { write_seconds_ = seconds; }
  /// The rows of the statement that runs next are to be changed: where it costs a question of its own, the
  /// session finds out now where they come from.
  virtual void prepare_editing(const std::string& /*statement*/) {}
  /// Runs a statement of the model's own with "?" parameters, kept prepared for the next time. Returns the
  /// rows changed. When that would be more than `most`, nothing is changed.
  virtual std::int64_t write(const std::string& statement, std::span<const Variant> parameters,
                             std::int64_t most) = 0;
  /// Inside a transaction: runs a statement of the model's own for many rows of parameters. False when
  /// nothing was changed, because the session cannot do that or a row failed: the rows are to be written
  /// singly then.
  virtual bool write_rows(const std::string& /*statement*/, std::span<const std::vector<Variant>> /*rows*/) {
    return false;
  }
  /// Does all of the work's writes or none, in the transaction there is or in one of its own.
  virtual void together(const std::function<void()>& work);
  /// The number that a column which numbers its rows gave to the last row inserted into the table; null when
  /// there was none, or none that is known for sure.
  virtual Variant last_identity(const std::string& table, const std::string& column) = 0;
  /// Nesting is the provider's business: one that cannot raises kTransactionActive.
  virtual void begin() = 0;
  virtual void commit() = 0;
  virtual void rollback() = 0;
  /// 0 outside a transaction.
  virtual int transaction_level() const = 0;
  virtual bool is_alive() = 0;
  virtual const Dialect& dialect() const = 0;
  /// Whether rows of a table can be ordered and sought by its indexes.
  virtual bool has_indexes() const { return false; }
  /// The columns of an index in their order; nothing when the table has none of that name.
  virtual std::optional<std::vector<IndexColumn>> index_columns(const std::string& /*table*/,
                                                                const std::string& /*index*/) {
    return std::nullopt;
  }
  /// What the session tells of the schema; null when it tells nothing. Lives as long as the session.
  virtual SchemaSource* schema() { return nullptr; }

 protected:
  std::int32_t write_seconds_ = 0;
};

class Provider {
 public:
  virtual ~Provider() = default;
  /// `text` holds the connection string's words together with the connection's dynamic properties.
  virtual std::unique_ptr<Session> open(const ConnectionString& text, std::int32_t timeout_seconds) const = 0;
};

/// The provider that a connection string reaches, or null when there is none. Defined by providers/.
const Provider* find_provider(const ConnectionString& text);

}  // namespace quarno::ado
