#include "providers/desktop/convert/convert.h"

#include <unistd.h>

#include <chrono>
#include <cstdio>
#include <iostream>

#include "commands.h"
#include "value_text.h"

namespace tool {
namespace {

namespace convert = quarno::desktop::convert;
using Clock = std::chrono::steady_clock;

// At most ten lines a second.
class ProgressLines {
 public:
  void operator()(const convert::Progress& progress) {
    const auto now = Clock::now();
    if (now < next_) return;
    next_ = now + std::chrono::milliseconds(100);
    std::cerr << (progress.phase == convert::Phase::copying ? "copying " : "checking ")
              << table_cell(progress.table) << ": " << progress.rows << " of " << progress.total << " rows"
              << std::endl;
  }

 private:
  Clock::time_point next_;
};

std::string counted(std::uint64_t number, const char* one, const char* several) {
  return std::to_string(number) + " " + (number == 1 ? one : several);
}

}  // namespace

void run_convert(const Arguments& arguments) {
  const convert::Request request{
      arguments.source, arguments.target, {password(arguments), arguments.code_page, arguments.skips_damage}};
  convert::Report report;
  const bool is_watched = arguments.shows_progress || ::isatty(STDERR_FILENO) != 0;
  if (is_watched && !arguments.is_quiet) report = ProgressLines();
  const auto begin = Clock::now();
  const convert::Summary summary = convert::convert(request, report);
  if (!arguments.is_quiet) {
    char seconds[32];
    std::snprintf(seconds, sizeof seconds, "%.1f",
                  std::chrono::duration<double>(Clock::now() - begin).count());
    std::cout << arguments.target << ": " << counted(summary.tables, "table", "tables") << ", "
              << counted(summary.rows, "row", "rows") << ", " << counted(summary.views, "view", "views")
              << ", " << counted(summary.procedures, "procedure", "procedures") << "; copied and checked in "
              << seconds << " seconds\n";
  }
  if (summary.notes.empty()) return;
  std::cout << "Not carried over as it was:\n";
  for (const std::string& note : summary.notes) std::cout << "- " << table_cell(note) << '\n';
}

}  // namespace tool
