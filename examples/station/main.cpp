// station: a plant's nightly job, and its control room's window. It knows the library by class names only.
#include <cstdio>
#include <exception>

#include "commands.h"
#include "quarnofwk/quarnofwk.hpp"

namespace {

int run(const station::Arguments& arguments) {
  switch (arguments.command) {
    case station::Command::import_file: return station::import_file(arguments);
    case station::Command::report: return station::report(arguments);
    case station::Command::export_day: return station::export_day(arguments);
    case station::Command::watch: return station::watch(arguments);
    case station::Command::help: std::fputs(station::kHelp, stdout);
  }
  return 0;
}

}  // namespace

int main(int count, char** words) {
  try {
    const int code = run(station::parsed_arguments(count, words));
    // A report that never reached the disk is a failure too.
    if (std::fflush(stdout) == 0 && std::ferror(stdout) == 0) return code;
    std::fputs("station: the output could not be written\n", stderr);
  } catch (const station::UsageError& error) {
    std::fprintf(stderr, "station: %s\n\n%s", error.what(), station::kHelp);
    return 2;
  } catch (const quarnofwk::Error& error) {
    std::fprintf(stderr, "station: error %d, %s: %s\n", error.number, error.source.c_str(), error.what());
  } catch (const std::exception& error) {
    std::fprintf(stderr, "station: %s\n", error.what());
  }
  return 1;
}
