// An engine in memory that statements reach through the rewriter, and what it knows of itself.
#pragma once

#include <sqlite3.h>

#include <algorithm>
#include <cctype>
#include <map>
#include <memory>
#include <stdexcept>
#include <string>
#include <vector>

#include "platform/fake/fakes.h"
#include "providers/desktop/functions/functions.h"
#include "providers/desktop/jet/rewrite.h"

namespace quarno::desktop::jet::test {

class Engine : public Schema {
 public:
  Engine() : locale_port_(locale_) {
    sqlite3* raw = nullptr;
    sqlite3_open(":memory:", &raw);
    database_.reset(raw);
    register_functions(raw);
    run_plain("PRAGMA foreign_keys = ON");
  }

  std::map<std::string, std::string> saved;  // by lower-case name
  std::vector<std::string> values;           // of the parameters, as the host would bind them

  /// Rows with "|" between, columns with ","; null is "-". Without rows the count of changes; "!text" for an
  /// error.
  std::string run(const std::string& statement) try {
    return run(rewrite(statement, *this, "NOCASE"));
  } catch (const SyntaxError& error) {
    return "!" + error.description;
  } catch (const std::runtime_error& error) {
    return std::string("!") + error.what();
  }
  std::string run_plain(const std::string& text) { return step(text); }

  const std::vector<Column>* columns(std::string_view table) const override {
    std::string name(table);
    std::transform(name.begin(), name.end(), name.begin(), [](unsigned char c) { return std::tolower(c); });
    std::vector<Column>& found = columns_[name];
    found.clear();
    for (const auto& [column, type] : two("SELECT name, type FROM pragma_table_info(?1)", name)) {
      found.push_back({column, type});
    }
    return found.empty() ? nullptr : &found;
  }
  std::optional<std::string> query(std::string_view name) const override {
    std::string lower(name);
    std::transform(lower.begin(), lower.end(), lower.begin(),
                   [](unsigned char c) { return std::tolower(c); });
    const auto found = saved.find(lower);
    if (found != saved.end()) return found->second;
    const auto views =
        two("SELECT sql, 1 FROM sqlite_schema WHERE type = 'view' AND name = ?1 COLLATE NOCASE", name);
    return views.empty() ? std::nullopt : std::optional(views.front().first);
  }
  std::vector<std::pair<std::string, std::string>> pairs(const std::string& select) const override {
    return two(select, {});
  }
  std::string definition(std::string_view table) const override {
    const auto rows =
        two("SELECT sql, 1 FROM sqlite_schema WHERE type = 'table' AND name = ?1 COLLATE NOCASE", table);
    return rows.empty() ? std::string() : rows.front().first;
  }
  std::vector<std::string> attachments(std::string_view table) const override {
    std::vector<std::string> texts;
    for (const auto& row :
         two("SELECT sql, 1 FROM sqlite_schema WHERE type IN ('index', 'trigger') AND sql NOTNULL "
             "AND tbl_name = ?1 COLLATE NOCASE",
             table)) {
      texts.push_back(row.first);
    }
    return texts;
  }

 private:
  struct Close {
    void operator()(sqlite3* database) const { sqlite3_close_v2(database); }
    void operator()(sqlite3_stmt* statement) const { sqlite3_finalize(statement); }
  };
  using Statement = std::unique_ptr<sqlite3_stmt, Close>;

  Statement prepared(const std::string& text) const {
    sqlite3_stmt* raw = nullptr;
    const int result = sqlite3_prepare_v2(database_.get(), text.c_str(), -1, &raw, nullptr);
    if (result != SQLITE_OK) throw std::runtime_error(sqlite3_errmsg(database_.get()) + (" in " + text));
    return Statement(raw);
  }

  static std::string cell(sqlite3_stmt* statement, int column) {
    const unsigned char* const text = sqlite3_column_text(statement, column);
    return text == nullptr ? "-" : reinterpret_cast<const char*>(text);
  }

  std::vector<std::pair<std::string, std::string>> two(const std::string& text,
                                                       std::string_view argument) const {
    const Statement statement = prepared(text);
    sqlite3_bind_text64(statement.get(), 1, argument.data(), argument.size(), SQLITE_TRANSIENT, SQLITE_UTF8);
    std::vector<std::pair<std::string, std::string>> rows;
    while (sqlite3_step(statement.get()) == SQLITE_ROW) {
      rows.emplace_back(cell(statement.get(), 0), cell(statement.get(), 1));
    }
    return rows;
  }

  std::string run(const Rewritten& rewritten) {
    std::string outcome;
    if (rewritten.rebuilds_table) run_plain("PRAGMA foreign_keys = OFF");
    for (const Step& own : rewritten.steps) {
      if (own.procedure) {
        saved[own.table] = own.text;
        continue;
      }
      const std::string result = step(own.text);
      if (own.counts || rewritten.kind == Kind::select || rewritten.kind == Kind::other) outcome = result;
    }
    if (rewritten.rebuilds_table) run_plain("PRAGMA foreign_keys = ON");
    return outcome;
  }

  std::string step(const std::string& text) {
    const Statement statement = prepared(text);
    const int wanted = sqlite3_bind_parameter_count(statement.get());
    for (int i = 1; i <= wanted && static_cast<std::size_t>(i) <= values.size(); ++i) {
      const std::string& value = values[static_cast<std::size_t>(i) - 1];
      const bool number = !value.empty() && std::all_of(value.begin(), value.end(),
                                                        [](unsigned char c) { return std::isdigit(c); });
      if (number) {
        sqlite3_bind_int64(statement.get(), i, std::stoll(value));
      } else {
        sqlite3_bind_text(statement.get(), i, value.c_str(), -1, SQLITE_TRANSIENT);
      }
    }
    std::string rows;
    int result = SQLITE_ROW;
    while ((result = sqlite3_step(statement.get())) == SQLITE_ROW) {
      if (!rows.empty()) rows += "|";
      for (int i = 0; i < sqlite3_column_count(statement.get()); ++i) {
        if (i > 0) rows += ",";
        rows += cell(statement.get(), i);
      }
    }
    if (result != SQLITE_DONE) throw std::runtime_error(sqlite3_errmsg(database_.get()));
    if (sqlite3_column_count(statement.get()) > 0) return rows;
    return std::to_string(sqlite3_changes64(database_.get()));
  }

  platform::fake::FixedLocale locale_{LocaleInfo{}};  // English with the day first
  platform::ScopedPort<platform::Locale> locale_port_;
  std::unique_ptr<sqlite3, Close> database_;
  mutable std::map<std::string, std::vector<Column>> columns_;
};

}  // namespace quarno::desktop::jet::test
