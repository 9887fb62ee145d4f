// What the command line asks for, checked.
#pragma once

#include <cstdint>
#include <stdexcept>
#include <string>
#include <string_view>

namespace tool {

/// The command line cannot be used; the message says why.
struct UsageError : std::runtime_error {
  using std::runtime_error::runtime_error;
};

enum class Command { help, version, providers, query, convert, param_get, param_set, crypt, decrypt };
enum class Format { table, csv, jsonl };

struct Arguments {
  Command command = Command::help;
  std::int16_t kind = 0;
  std::string server, database, user, owner, provider, version, udl;
  bool password_from_input = false;
  std::int16_t timeout_seconds = 0;  // 0: as the library has it
  Format format = Format::table;
  std::string statement;
  // Of a conversion.
  std::string source, target;
  std::int16_t code_page = 0;  // 0: what the file says
  bool skips_damage = false;
  bool shows_progress = false;  // also where standard error is no terminal
  bool is_quiet = false;
  // Of a parameter file.
  std::string file, tag, value;
};

/// Raises UsageError.
Arguments parsed_arguments(int count, const char* const* words);

/// Names of the database kinds, in the order of their numbers.
inline constexpr std::string_view kKinds[] = {"sql", "odbc",  "jet",    "as400",  "dbase",
                                              "udl", "mysql", "oracle", "sybase", "mysql5"};

extern const char* const kHelp;

}  // namespace tool
