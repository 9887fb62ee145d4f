#include <algorithm>
#include <cstdlib>
#include <iostream>
#include <vector>

#include "commands.h"
#include "common/text.h"
#include "value_text.h"

namespace tool {
namespace {

using quarnofwk::Object;
using quarnofwk::Value;

struct Column {
  std::string name;
  int type = 0;
  Object field;
};

Object opened(const Arguments& arguments) {
  const Object data = quarnofwk::create("CData");
  // What fails is told on standard error; a log line in the library's folder would surprise here, and no log
  // can be written below this path.
  data.set("m_LogPath", "/dev/null");
  data.call("SetMessages", false);
  data.call("SetDBType", arguments.kind);
  data.call("SetServer", arguments.server);
  const std::string secret = password(arguments);
  // A desktop file has a password of its own, which is the only one it asks for.
  data.call("SetDatabase", arguments.database, arguments.user, secret, secret);
  if (!arguments.owner.empty()) data.call("SetDbOwner", arguments.owner);
  if (!arguments.provider.empty()) data.call("SetProvider", arguments.provider);
  if (!arguments.version.empty()) data.call("SetDBVersion", arguments.version);
  if (!arguments.udl.empty()) data.set("UDLFile", arguments.udl);
  if (arguments.timeout_seconds > 0) data.call("SetConnectionTimeout", arguments.timeout_seconds);
  if (!data.call("Selection", "", "", "", arguments.statement).boolean()) {
    throw quarnofwk::Error(data.get("Err_Number").integer(), std::string(data.get("Err_Source").text()),
                           std::string(data.get("Err_Description").text()));
  }
  return data;
}

// Rows as they come. A table needs them all before the first line, since its columns are as wide as they
// need.
class Printer {
 public:
  Printer(Format format, const std::vector<Column>& columns) : format_(format), columns_(columns) {
    std::vector<Cell> names;
    for (const Column& column : columns_) {
      const std::string name = format_ == Format::csv ? csv_text(column.name) : table_cell(column.name);
      names.push_back({name, false});
    }
    if (format_ == Format::csv) print_csv(names);
    if (format_ == Format::table) rows_.push_back(std::move(names));
  }

  void add_row() {
    std::vector<Cell> row;
    for (const Column& column : columns_) {
      const Value value = column.field.get("Value");
      switch (format_) {
        case Format::table:
          row.push_back({table_cell(plain_text(value, column.type)), is_number(value)});
          break;
        case Format::csv: row.push_back({csv_cell(value, column.type), false}); break;
        case Format::jsonl:
          row.push_back({json_text(column.name) + ": " + json_value(value, column.type), false});
          break;
      }
    }
    if (format_ == Format::csv) print_csv(row);
    if (format_ == Format::jsonl) print_json(row);
    if (format_ == Format::table) rows_.push_back(std::move(row));
  }

  void finish() {
    if (format_ != Format::table) return;
    std::vector<std::size_t> widths(columns_.size());
    for (const auto& row : rows_) {
      for (std::size_t i = 0; i < row.size(); ++i) {
        widths[i] = std::max(widths[i], quarno::text::length(row[i].text));
      }
    }
    for (std::size_t r = 0; r < rows_.size(); ++r) {
      print_table_row(rows_[r], widths);
      if (r == 0) {
        for (std::size_t i = 0; i < widths.size(); ++i) {
          std::cout << (i > 0 ? "  " : "") << std::string(widths[i], '-');
        }
        std::cout << '\n';
      }
    }
    std::cout << "(" << rows_.size() - 1 << (rows_.size() == 2 ? " row)\n" : " rows)\n");
  }

 private:
  struct Cell {
    std::string text;
    bool right = false;
  };

  static void print_csv(const std::vector<Cell>& row) {
    for (std::size_t i = 0; i < row.size(); ++i) std::cout << (i > 0 ? "," : "") << row[i].text;
    std::cout << "\r\n";
  }
  static void print_json(const std::vector<Cell>& row) {
    std::cout << '{';
    for (std::size_t i = 0; i < row.size(); ++i) std::cout << (i > 0 ? ", " : "") << row[i].text;
    std::cout << "}\n";
  }
  static void print_table_row(const std::vector<Cell>& row, const std::vector<std::size_t>& widths) {
    std::string line;
    for (std::size_t i = 0; i < row.size(); ++i) {
      const std::string blanks(widths[i] - quarno::text::length(row[i].text), ' ');
      if (i > 0) line += "  ";
      line += row[i].right ? blanks + row[i].text : row[i].text + blanks;
    }
    line.erase(line.find_last_not_of(' ') + 1);
    std::cout << line << '\n';
  }

  Format format_;
  const std::vector<Column>& columns_;
  std::vector<std::vector<Cell>> rows_;  // table: the names, then the rows
};

}  // namespace

std::string password(const Arguments& arguments) {
  if (arguments.password_from_input) {
    std::string line;
    std::getline(std::cin, line);
    if (line.ends_with('\r')) line.pop_back();
    return line;
  }
  const char* const value = std::getenv("QUARNOFWK_PASSWORD");
  return value == nullptr ? std::string() : std::string(value);
}

void run_query(const Arguments& arguments) {
  const Object data = opened(arguments);
  const Object rows = data.call("GetRecordSet").object();
  if (!rows || rows.get("State").integer() == 0) return;  // the statement has no rows to give
  const Object fields = rows.get("Fields").object();
  std::vector<Column> columns;
  for (std::int32_t i = 0, count = fields.get("Count").integer(); i < count; ++i) {
    const Object field = fields.call("Item", i).object();
    columns.push_back({std::string(field.get("Name").text()), field.get("Type").integer(), field});
  }
  Printer printer(arguments.format, columns);
  const quarnofwk::Member move_next = rows.find("MoveNext");
  while (!rows.get("EOF").boolean()) {
    printer.add_row();
    rows.call(move_next);
  }
  printer.finish();
}

}  // namespace tool
