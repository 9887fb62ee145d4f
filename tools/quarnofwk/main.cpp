// What the library does, from the command line: queries, conversions, settings.
#include <iostream>

#include "commands.h"
#include "common/error.h"
#include "quarnofwk/quarnofwk.hpp"
#include "version.h"

namespace {

int failed(std::int32_t number, const std::string& source, const std::string& description) {
  std::cerr << "quarnofwk: error " << number << " (" << source << "): " << description << '\n';
  return 1;
}

int run(const tool::Arguments& arguments) {
  switch (arguments.command) {
    case tool::Command::help: std::cout << tool::kHelp; break;
    case tool::Command::version: std::cout << "quarnofwk " << QUARNOFWK_VERSION << '\n'; break;
    case tool::Command::providers: tool::list_providers(); break;
    case tool::Command::query: tool::run_query(arguments); break;
    case tool::Command::convert: tool::run_convert(arguments); break;
    case tool::Command::param_get: tool::get_param(arguments); break;
    case tool::Command::param_set: tool::set_param(arguments); break;
    case tool::Command::crypt: tool::encrypt(); break;
    case tool::Command::decrypt: tool::decrypt(); break;
  }
  std::cout.flush();
  if (std::cout) return 0;
  std::cerr << "quarnofwk: standard output cannot be written\n";
  return 1;
}

}  // namespace

int main(int count, char** words) {
  std::ios::sync_with_stdio(false);
  try {
    return run(tool::parsed_arguments(count, words));
  } catch (const tool::UsageError& error) {
    std::cerr << "quarnofwk: " << error.what() << "\nTry quarnofwk --help.\n";
    return 2;
  } catch (const quarnofwk::Error& error) {
    return failed(error.number, error.source, error.what());
  } catch (const quarno::Error& error) {
    return failed(error.number, error.source, error.description);
  } catch (const std::exception& error) {
    std::cerr << "quarnofwk: " << error.what() << '\n';
    return 1;
  }
}
