#include "providers/desktop/convert/convert.h"

#include <algorithm>

#include "ado/ado_error.h"
#include "common/text.h"
#include "platform/files.h"
#include "providers/desktop/access/loader.h"
#include "providers/desktop/convert/check.h"
#include "providers/desktop/convert/defaults.h"
#include "providers/desktop/convert/part_file.h"
#include "providers/desktop/convert/queries.h"
#include "providers/desktop/convert/relations.h"
#include "providers/desktop/desktop_provider.h"
#include "providers/desktop/sqlite/engine_calls.h"
#include "providers/desktop/sqlite/session.h"

namespace quarno::desktop::convert {
namespace {

using sqlite::bind_text;
using sqlite::prepare;
using sqlite::run;
using sqlite::step;

using access::ColumnType;
using access::Table;
using access::TableKind;

constexpr const char* kSkipHint = " --skip-damage goes on without what cannot be read.";

std::string counted(const access::Damage& damage) {
  return std::to_string(damage.rows) + " rows, " + std::to_string(damage.cells) + " values and " +
         std::to_string(damage.pages) + " pages could not be read";
}

std::string list(const std::vector<std::string>& names) { return "'" + text::join(names, "', '") + "'"; }

class Conversion {
 public:
  Conversion(const Request& request, const Report& report)
      : request_(request),
        report_(report),
        database_(access::Database::open(request.source, request.options)),
        part_(platform::files().native(request.target), *same_file()) {}

  Summary run() {
    {
      const sqlite::Database engine = sqlite::open_database(part_.path(), SQLITE_OPEN_READWRITE);
      fill(engine.get());
    }
    {
      const auto session = sqlite::open_session(part_.path());
      carry(*session);
    }
    note_documents();
    require_catalogue();
    check();
    part_.publish();
    return std::move(summary_);
  }

 private:
  std::unique_ptr<platform::DataFile> same_file() const {
    return platform::data_files().open(request_.source, platform::DataFiles::Access::read);
  }

  void note(std::string text) { summary_.notes.push_back(std::move(text)); }

  void fill(sqlite3* engine) {
    // A file that is not finished is thrown away, so nothing of it has to survive.
    for (const char* const pragma : {"journal_mode = MEMORY", "synchronous = OFF", "cache_size = -32768"}) {
      convert::run(engine, std::string("PRAGMA ") + pragma);
    }
    convert::run(engine, "PRAGMA application_id = " + std::to_string(kApplicationId));
    for (const Table& table : database_->tables()) {
      if (table.kind == TableKind::system) continue;
      if (table.kind == TableKind::local) {
        copy(engine, table);
      } else {
        note("Table '" + table.name + "' is left out: it is linked, its rows are those of '" +
             table.foreign_name + "' in " +
             (table.database.empty() ? "an ODBC data source." : "'" + table.database + "'."));
      }
    }
    if (!refusing_empty_.empty()) {
      note("Empty texts were refused in columns that take them now: " + list(refusing_empty_) + ".");
    }
    for (const access::Relation& relation : database_->relations()) {
      const std::string name = "Relation '" + relation.name + "' is left out: ";
      if (!relation.is_enforced) {
        note(name + "it was not enforced.");
        continue;
      }
      const std::string fault = add_foreign_key(engine, relation);
      if (!fault.empty()) note(name + fault + ".");
    }
  }

  void copy(sqlite3* engine, const Table& table) {
    const access::TableDesign* design = nullptr;
    try {
      design = &database_->design(table);
    } catch (const Error& error) {
      if (!request_.options.skip_damage) throw with_hint(error);
      note("Table '" + table.name + "' is left out: " + error.description);
      return;
    }
    access::LoadAs as{"NOCASE", default_clauses(table, *design),
                      told(Phase::copying, table, design->row_count)};
    access::Loaded loaded;
    try {
      loaded = access::bring_table(engine, *database_, table, {}, as);
    } catch (const Error& error) {
      throw with_hint(error);
    }
    copied_.push_back(&table);
    ++summary_.tables;
    summary_.rows += loaded.rows;
    note_columns(table, *design);
    note_losses(table, *design, loaded);
    if (!loaded.key_is_lost) go_on_numbering(engine, table, *design);
  }

  // Only a fault of the old file, which no engine reports.
  Error with_hint(const Error& error) const {
    Error result = error;
    const bool is_damage = error.number == ado::kUnspecified && error.native_number == 0;
    if (is_damage && !request_.options.skip_damage) result.description += kSkipHint;
    return result;
  }

  std::vector<std::string> default_clauses(const Table& table, const access::TableDesign& design) {
    std::vector<std::string> clauses;
    for (const access::Column& column : design.columns) {
      const auto text = default_text(column);
      clauses.push_back(text && !text->empty() ? " DEFAULT " + *text : "");
      if (!text) {
        note("Column '" + table.name + "." + column.name + "' has no default value now; it was " +
             column.default_value + ".");
      }
    }
    return clauses;
  }

  std::function<void(std::uint64_t)> told(Phase phase, const Table& table, std::uint64_t total) const {
    return [this, phase, &table, total](std::uint64_t rows) {
      if (report_) report_({phase, table.name, rows, std::max(rows, total)});
    };
  }

  void note_columns(const Table& table, const access::TableDesign& design) {
    for (const access::Column& column : design.columns) {
      const std::string name = "Column '" + table.name + "." + column.name + "' ";
      if (column.is_calculated) note(name + "was calculated; it keeps the values it had.");
      if (column.type == ColumnType::complex) {
        note(name + "held several values in each row; they are left out.");
      } else if (column.is_autonumber && column.type != ColumnType::long_integer &&
                 default_text(column).value_or("").empty()) {
        note(name + "is no longer filled by itself.");
      }
      const bool is_text = column.type == ColumnType::text || column.type == ColumnType::memo;
      if (is_text && !column.allows_empty_text) refusing_empty_.push_back(table.name + "." + column.name);
    }
  }

  void note_losses(const Table& table, const access::TableDesign& design, const access::Loaded& loaded) {
    const std::string name = "Table '" + table.name + "': ";
    if (loaded.damage.any()) note(name + counted(loaded.damage) + ".");
    if (design.indexes_are_damaged) note(name + "some of its indexes could not be read.");
    if (loaded.key_is_lost) note(name + "its rows contradict its key, which is left out.");
    if (!loaded.nullable.empty()) {
      note(name + "rows have no value in required columns, which take nulls now: " + list(loaded.nullable) +
           ".");
    }
    if (!loaded.not_unique.empty()) {
      note(name + "rows contradict unique indexes, which are plain ones now: " + list(loaded.not_unique) +
           ".");
    }
  }

  // The engine goes on after the greatest number there is; rows with greater ones may have been deleted.
  void go_on_numbering(sqlite3* engine, const Table& table, const access::TableDesign& design) {
    const auto last = static_cast<std::int32_t>(design.last_autonumber);
    const bool numbers =
        std::any_of(design.columns.begin(), design.columns.end(), [](const access::Column& column) {
          return column.is_autonumber && column.type == ColumnType::long_integer;
        });
    if (!numbers || last <= 0) return;
    for (const char* const text : {"INSERT INTO sqlite_sequence (name, seq) SELECT ?1, 0 WHERE NOT EXISTS "
                                   "(SELECT 1 FROM sqlite_sequence WHERE name = ?1)",
                                   "UPDATE sqlite_sequence SET seq = max(seq, ?2) WHERE name = ?1"}) {
      const sqlite::Statement statement = prepare(engine, text);
      bind_text(statement, 1, table.name);
      sqlite3_bind_int(statement.get(), 2, last);
      step(engine, statement);
    }
  }

  void carry(ado::Session& session) {
    for (const char* const pragma : {"journal_mode = MEMORY", "synchronous = OFF"}) {
      session.execute(std::string("PRAGMA ") + pragma, 0, ado::Reading::at_once);
    }
    session.begin();
    const CarriedQueries carried =
        carry_queries(session, database_->queries(), [this](std::string text) { note(std::move(text)); });
    session.commit();
    summary_.views = carried.views;
    summary_.procedures = carried.procedures;
  }

  // Forms and the like are told by number; a database file has no place for them.
  void note_documents() {
    struct Kind {
      std::int64_t number;
      const char* name;
      int count = 0;
    };
    Kind kinds[] = {
        {-32768, "forms"}, {-32764, "reports"}, {-32766, "macros"}, {-32761, "modules"}, {-32756, "pages"}};
    const Table* const catalogue = database_->find_table("MSysObjects");
    if (catalogue == nullptr) return;
    const access::TableDesign& design = database_->design(*catalogue);
    const access::Column* const type = design.find("Type");
    const access::Column* const name = design.find("Name");
    if (type == nullptr || name == nullptr) return;
    const auto place = [&](const access::Column* column) {
      return static_cast<std::size_t>(column - design.columns.data());
    };
    for (access::TableRows rows = database_->rows(*catalogue); rows.next();) {
      if (rows.cell(place(name)).text.starts_with('~')) continue;
      const std::int64_t number = rows.cell(place(type)).whole;
      for (Kind& kind : kinds) kind.count += kind.number == number ? 1 : 0;
    }
    std::vector<std::string> found;
    for (const Kind& kind : kinds) {
      if (kind.count > 0) found.push_back(std::to_string(kind.count) + " " + kind.name);
    }
    if (!found.empty()) note("Left out, being no data: " + text::join(found, ", ") + ".");
  }

  void require_catalogue() {
    const access::Damage& damage = database_->catalogue_damage();
    if (!damage.any()) return;
    const std::string text = "The catalogue is damaged: " + counted(damage) + ".";
    if (!request_.options.skip_damage)
      throw with_hint(ado::provider_error(ado::kUnspecified, text, kSourceName));
    note(text);
  }

  // On a connection of its own, which knows nothing that is not in the file.
  void check() {
    const sqlite::Database engine = sqlite::open_database(part_.path(), SQLITE_OPEN_READONLY);
    check_file(engine.get());
    for (const Table* const table : copied_) {
      const access::TableDesign& design = database_->design(*table);
      const Checksum was = checksum(*database_, *table, told(Phase::checking, *table, design.row_count));
      const Checksum is = checksum(engine.get(), table->name, design, {});
      if (was == is) continue;
      throw ado::provider_error(ado::kUnspecified,
                                "The table '" + table->name + "' did not arrive as it was: " +
                                    std::to_string(was.rows) + " rows there, " + std::to_string(is.rows) +
                                    " here" + (was.rows == is.rows ? " with other values." : "."),
                                kSourceName);
    }
  }

  const Request& request_;
  const Report& report_;
  std::unique_ptr<access::Database> database_;
  PartFile part_;
  std::vector<const Table*> copied_;
  std::vector<std::string> refusing_empty_;
  Summary summary_;
};

}  // namespace

Summary convert(const Request& request, const Report& report) { return Conversion(request, report).run(); }

}  // namespace quarno::desktop::convert
