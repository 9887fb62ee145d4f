#include "ado/row_writer.h"

#include <algorithm>

#include "ado/ado_error.h"
#include "ado/field_conversion.h"
#include "platform/locale.h"

namespace quarno::ado {

Outcome Session::execute_with(const std::string&, std::span<const Variant>, std::int32_t) {
  throw provider_error(kErrorsInCommand, "This data source takes no parameters in a query.",
                       "QuarnoFwk Cursor Engine");
}

void Session::together(const std::function<void()>& work) {
  begin();
  try {
    work();
    commit();
  } catch (const Error&) {
    quietly([&] {
      if (transaction_level() > 0) rollback();
    });
    throw;
  }
}

namespace {

constexpr const char* kSource = "QuarnoFwk Cursor Engine";

Error insufficient_key(const std::string& reason) {
  return provider_error(kUnspecified, "Key column information is insufficient or incorrect. " + reason,
                        kSource);
}

// Long values are never compared: sources cannot do it or take too long.
bool can_be_compared(const Column& column) { return !column.base_column.empty() && !is_long(column.type); }

// WHERE criteria of a row in one of its tables, with their parameter values.
struct RowCriteria {
  std::vector<Criterion> criteria;
  std::vector<Variant> parameters;
  bool has_key = false;
  bool is_alone = false;  // no other row meets them: the key is whole and holds no null
};

RowCriteria criteria_for(const RowSet& rows, std::size_t row, const std::string& table,
                         const std::vector<bool>& changed) {
  const std::vector<Column>& columns = rows.columns();
  RowCriteria result;
  result.has_key = std::any_of(columns.begin(), columns.end(),
                               [&](const Column& c) { return c.key && c.base_table == table; });
  // In a join another table's values would tell the wrong row apart.
  if (!result.has_key && rows.base_table() != table) {
    throw insufficient_key("The columns of table " + table + " do not hold its key.");
  }
  result.is_alone = result.has_key;
  for (std::size_t i = 0; i < columns.size(); ++i) {
    const Column& column = columns[i];
    const bool identifies = result.has_key ? column.key : true;
    if (column.base_table != table || !can_be_compared(column) || !(identifies || changed[i])) continue;
    Variant original = rows.source_value(row, i);
    if (column.key && original.is_null()) result.is_alone = false;
    // Sources that take "a" and "A" for the same would let one be written over the other.
    const bool by_case = !column.key && is_text(column.type);
    result.criteria.push_back({column.base_column, original.is_null(), by_case});
    if (!original.is_null()) result.parameters.push_back(std::move(original));
  }
  // Without a single criterion the statement would mean every row of the table.
  if (result.criteria.empty()) throw insufficient_key("No column of the row can be compared.");
  return result;
}

// The row must still be there as it was read.
void write_row(Session& session, const std::string& statement, const std::vector<Variant>& parameters,
               bool is_alone) {
  const std::int64_t affected = session.write(statement, parameters, is_alone ? -1 : 1);
  if (affected == 0) {
    throw provider_error(
        kConflict,
        "Row cannot be located for updating. Some values may have been changed since it was last read.",
        kSource);
  }
  if (affected > 1) throw insufficient_key("Too many rows were affected by update.");
}

void update_table(Session& session, const RowSet& rows, std::size_t row, const std::string& table,
                  std::span<const Variant> values, const std::vector<bool>& assigned) {
  std::vector<std::string_view> names;
  std::vector<Variant> parameters;
  for (std::size_t i = 0; i < rows.columns().size(); ++i) {
    if (!assigned[i] || rows.columns()[i].base_table != table) continue;
    names.push_back(rows.columns()[i].base_column);
    parameters.push_back(values[i]);
  }
  RowCriteria found = criteria_for(rows, row, table, assigned);
  std::move(found.parameters.begin(), found.parameters.end(), std::back_inserter(parameters));
  write_row(session, update_text(session.dialect(), table, names, found.criteria), parameters,
            found.is_alone);
}

// The table that rows are added to and deleted from.
const std::string& only_table(const RowSet& rows) {
  if (!rows.base_table().empty()) return rows.base_table();
  Error error = model_error(Model::feature_not_available);
  error.description +=
      " The rows come from several tables: which one to add a row to or delete it from is not known.";
  throw error;
}

}  // namespace

void RowWriter::require_one_table(const RowSet& rows) { only_table(rows); }

const std::string& RowWriter::insert_statement(const Dialect& dialect, const RowSet& rows,
                                               const std::vector<bool>& assigned) {
  if (!insert_text_.empty() && insert_assigned_ == assigned) return insert_text_;
  std::vector<std::string_view> names;
  for (std::size_t i = 0; i < assigned.size(); ++i) {
    if (assigned[i]) names.push_back(rows.columns()[i].base_column);
  }
  insert_text_ = insert_text(dialect, only_table(rows), names);
  insert_assigned_ = assigned;
  return insert_text_;
}

void RowWriter::insert(Session& session, const RowSet& rows, std::span<const Variant> values,
                       const std::vector<bool>& assigned) {
  const std::string& statement = insert_statement(session.dialect(), rows, assigned);
  // A whole row, as most are, goes as it is.
  const bool whole = std::find(assigned.begin(), assigned.end(), false) == assigned.end();
  if (whole) return static_cast<void>(session.write(statement, values, -1));
  std::vector<Variant> parameters;
  parameters.reserve(values.size());
  for (std::size_t i = 0; i < assigned.size(); ++i) {
    if (assigned[i]) parameters.push_back(values[i]);
  }
  session.write(statement, parameters, -1);
}

void RowWriter::update(Session& session, const RowSet& rows, std::size_t row, std::span<const Variant> values,
                       const std::vector<bool>& assigned) {
  std::vector<std::string> tables;
  for (std::size_t i = 0; i < assigned.size(); ++i) {
    const std::string& table = rows.columns()[i].base_table;
    if (assigned[i] && std::find(tables.begin(), tables.end(), table) == tables.end())
      tables.push_back(table);
  }
  const auto update_all = [&] {
    for (const std::string& table : tables) update_table(session, rows, row, table, values, assigned);
  };
  tables.size() > 1 ? session.together(update_all) : update_all();
}

Variant RowWriter::given_number(Session& session, const RowSet& rows, std::size_t column) {
  const Column& info = rows.columns()[column];
  Variant number = Variant::null();
  try {
    number = session.last_identity(info.base_table, info.base_column);
    number = coerced(number, info, platform::locale());
  } catch (const Error&) {
    // It does not fit the column as declared, or could not be asked for. A failure here would make the host
    // add the row again.
  }
  return number;
}

void RowWriter::remove(Session& session, const RowSet& rows, std::size_t row) {
  const std::string& table = only_table(rows);
  const RowCriteria found = criteria_for(rows, row, table, std::vector<bool>(rows.columns().size(), false));
  write_row(session, delete_text(session.dialect(), table, found.criteria), found.parameters, found.is_alone);
}

namespace {

RecordStatus status_of(const Error& error) {
  switch (error.number) {
    case kConflict: return adRecConcurrencyViolation;
    case kIntegrityViolation: return adRecIntegrityViolation;
    case kReadOnly: return adRecPermissionDenied;
    default: return adRecInvalid;
  }
}

// The rows behind this one would wait as long.
bool waited_in_vain(const Error& error) {
  return error.number == kTimeoutExpired || error.sql_state == "HYT00" || error.sql_state == "55P03";
}

std::vector<Variant> values_of(const RowSet& rows, std::size_t row, const std::vector<bool>& assigned) {
  std::vector<Variant> values(assigned.size());
  for (std::size_t i = 0; i < assigned.size(); ++i) {
    if (assigned[i]) values[i] = rows.value(row, i);
  }
  return values;
}

// The same without those that are not assigned: the parameters of an INSERT.
std::vector<Variant> assigned_values(const RowSet& rows, std::size_t row, const std::vector<bool>& assigned) {
  std::vector<Variant> values;
  values.reserve(assigned.size());
  for (std::size_t i = 0; i < assigned.size(); ++i) {
    if (assigned[i]) values.push_back(rows.value(row, i));
  }
  return values;
}

}  // namespace

BatchResult RowWriter::write_batch(Session& session, const RowSet& rows,
                                   std::span<const std::size_t> numbers) {
  constexpr std::size_t kMostTogether = 1000;
  BatchResult result;
  const auto pending_at = [&](std::size_t i) -> const RowSet::Pending& {
    return rows.pending().at(numbers[i]);
  };
  const auto write_one = [&](std::size_t i) {
    const auto& [kind, assigned, before, failure] = pending_at(i);
    const std::size_t row = numbers[i];
    if (kind == adRecDeleted) return remove(session, rows, row);
    if (kind == adRecModified) return update(session, rows, row, values_of(rows, row, assigned), assigned);
    session.write(insert_statement(session.dialect(), rows, assigned), assigned_values(rows, row, assigned),
                  -1);
    if (const auto column = rows.unassigned_number(assigned)) {
      result.numbers.emplace_back(row, *column, given_number(session, rows, *column));
    }
  };
  for (std::size_t i = 0; i < numbers.size();) {
    // Rows that were added alike go together, unless each has a number to be asked for.
    std::size_t end = i;
    const RowSet::Pending& first = pending_at(i);
    std::vector<std::vector<Variant>> together;
    const bool joins = first.kind == adRecNew && !rows.unassigned_number(first.assigned);
    for (; joins && end < numbers.size() && end - i < kMostTogether; ++end) {
      const RowSet::Pending& next = pending_at(end);
      if (next.kind != adRecNew || next.assigned != first.assigned) break;
      together.push_back(assigned_values(rows, numbers[end], next.assigned));
    }
    if (together.size() > 1 &&
        session.write_rows(insert_statement(session.dialect(), rows, first.assigned), together)) {
      result.written.insert(result.written.end(), numbers.begin() + static_cast<std::ptrdiff_t>(i),
                            numbers.begin() + static_cast<std::ptrdiff_t>(end));
      i = end;
      continue;
    }
    for (end = std::max(end, i + 1); i < end; ++i) {
      try {
        write_one(i);
        result.written.push_back(numbers[i]);
      } catch (const Error& error) {
        if (!session.is_alive()) throw;
        result.failed.emplace_back(numbers[i], status_of(error));
        if (!result.failure) result.failure = error;
        if (waited_in_vain(error)) return result;
      }
    }
  }
  return result;
}

}  // namespace quarno::ado
