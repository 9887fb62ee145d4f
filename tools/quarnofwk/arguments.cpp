#include "arguments.h"

#include <charconv>
#include <iterator>

namespace tool {
namespace {

std::int16_t number(const std::string& option, const std::string& text, std::int16_t most) {
  std::int16_t value = -1;
  const auto [end, error] = std::from_chars(text.data(), text.data() + text.size(), value);
  if (error != std::errc() || end != text.data() + text.size() || value < 0 || value > most) {
    throw UsageError(option + " takes a number from 0 to " + std::to_string(most) + ", not \"" + text + "\"");
  }
  return value;
}

std::int16_t kind_of(const std::string& text) {
  for (std::size_t i = 0; i < std::size(kKinds); ++i) {
    if (kKinds[i] == text) return static_cast<std::int16_t>(i);
  }
  if (text.empty() || text.find_first_not_of("0123456789") != std::string::npos) {
    throw UsageError("\"" + text + "\" is no kind of database; see quarnofwk providers");
  }
  return number("--kind", text, 9);
}

Format format_of(const std::string& text) {
  if (text == "table") return Format::table;
  if (text == "csv") return Format::csv;
  if (text == "jsonl") return Format::jsonl;
  throw UsageError("--format is table, csv or jsonl, not \"" + text + "\"");
}

// Stores the value of a text option; false when there is no such option.
bool store_text(Arguments& arguments, const std::string& option, const std::string& value) {
  const std::pair<const char*, std::string Arguments::*> options[] = {{"--server", &Arguments::server},
                                                                      {"--database", &Arguments::database},
                                                                      {"--user", &Arguments::user},
                                                                      {"--owner", &Arguments::owner},
                                                                      {"--provider", &Arguments::provider},
                                                                      {"--dbversion", &Arguments::version},
                                                                      {"--udl", &Arguments::udl}};
  for (const auto& [name, field] : options) {
    if (option == name) {
      arguments.*field = value;
      return true;
    }
  }
  return false;
}

// Options of every command; false when it is none of them.
bool read_password_option(Arguments& arguments, const std::string& word) {
  if (word == "--password") {
    throw UsageError(
        "a password on the command line is seen by every user; use QUARNOFWK_PASSWORD or "
        "--password-stdin");
  }
  if (word != "--password-stdin") return false;
  arguments.password_from_input = true;
  return true;
}

void read_query(Arguments& arguments, int count, const char* const* words) {
  bool has_kind = false;
  bool has_statement = false;
  for (int i = 2; i < count; ++i) {
    const std::string word = words[i];
    if (!word.starts_with("--")) {
      if (has_statement) throw UsageError("there are two statements; put the statement in quotes");
      has_statement = true;
      arguments.statement = word;
      continue;
    }
    if (read_password_option(arguments, word)) continue;
    if (i + 1 == count) throw UsageError(word + " is unknown or has no value");
    const std::string value = words[++i];
    if (word == "--kind") {
      arguments.kind = kind_of(value);
      has_kind = true;
    } else if (word == "--timeout") {
      arguments.timeout_seconds = number(word, value, 32767);
    } else if (word == "--format") {
      arguments.format = format_of(value);
    } else if (!store_text(arguments, word, value)) {
      throw UsageError(word + " is unknown");
    }
  }
  if (!arguments.udl.empty() && !has_kind) arguments.kind = 5;
  if (arguments.udl.empty() && !has_kind) throw UsageError("--kind or --udl is missing");
  if (arguments.statement.empty()) throw UsageError("the statement is missing");
}

void read_convert(Arguments& arguments, int count, const char* const* words) {
  for (int i = 2; i < count; ++i) {
    const std::string word = words[i];
    if (!word.starts_with("--")) {
      std::string& file = arguments.source.empty() ? arguments.source : arguments.target;
      if (word.empty() || !arguments.target.empty())
        throw UsageError("convert takes two files, OLD.mdb and NEW.db");
      file = word;
    } else if (word == "--code-page") {
      if (i + 1 == count) throw UsageError(word + " has no value");
      arguments.code_page = number(word, words[++i], 32767);
    } else if (word == "--skip-damage") {
      arguments.skips_damage = true;
    } else if (word == "--progress") {
      arguments.shows_progress = true;
    } else if (word == "--quiet") {
      arguments.is_quiet = true;
    } else if (!read_password_option(arguments, word)) {
      throw UsageError(word + " is unknown");
    }
  }
  if (arguments.target.empty()) throw UsageError("convert takes two files, OLD.mdb and NEW.db");
}

void read_param(Arguments& arguments, int count, const char* const* words) {
  const std::string verb = count > 2 ? words[2] : "";
  const bool sets = verb == "set";
  if (!sets && verb != "get") throw UsageError("param takes get or set");
  if (count != (sets ? 6 : 5)) {
    throw UsageError(sets ? "param set takes FILE, TAG and VALUE" : "param get takes FILE and TAG");
  }
  arguments.command = sets ? Command::param_set : Command::param_get;
  arguments.file = words[3];
  arguments.tag = words[4];
  if (sets) arguments.value = words[5];
}

}  // namespace

const char* const kHelp =
    R"(Usage: quarnofwk providers
       quarnofwk query --kind KIND [OPTION VALUE]... "SELECT ..."
       quarnofwk convert [OPTION]... OLD.mdb NEW.db
       quarnofwk param get FILE TAG
       quarnofwk param set FILE TAG VALUE
       quarnofwk crypt | decrypt
       quarnofwk --help | --version

providers   lists the kinds of database, what each reaches on this machine, and
            what is missing for it.
query       runs one statement and prints its rows:
  --kind KIND       0 to 9, or sql, odbc, jet, as400, dbase, udl, mysql, oracle,
                    sybase, mysql5
  --server TEXT     server, host, or the name of an ODBC data source
  --database TEXT   database, file or folder
  --user TEXT       login name
  --owner TEXT      schema owner
  --provider TEXT   shape provider put before the kind's own
  --dbversion TEXT  version of a desktop provider, or TRUST
  --udl FILE        data link file, in place of a kind
  --timeout N       seconds for connecting and for the statement
  --format FORMAT   table (default), csv or jsonl
  --password-stdin  reads the password from the first line of standard input
convert     makes a database file that can be changed from an Access file, which
            is only read, and lists what could not be carried over:
  --code-page N     code page of the texts, where an old file (Jet 3) lies
  --skip-damage     goes on without what cannot be read
  --progress        tells how far it is, also where nobody is looking
  --quiet           prints only what could not be carried over
  --password-stdin  as above
param       prints or changes a setting, a line TAG=VALUE of a parameter file.
crypt       prints the cipher text of the text on standard input, decrypt the
            text of a cipher text; one line end after it does not count.

The password is read from the environment variable QUARNOFWK_PASSWORD otherwise.
Exit code: 0 done, 1 the library reported an error, 2 the command line is wrong.
)";

Arguments parsed_arguments(int count, const char* const* words) {
  Arguments arguments;
  if (count < 2) throw UsageError("there is no command");
  const std::string command = words[1];
  if (command == "query") {
    arguments.command = Command::query;
    read_query(arguments, count, words);
    return arguments;
  }
  if (command == "convert") {
    arguments.command = Command::convert;
    read_convert(arguments, count, words);
    return arguments;
  }
  if (command == "param") {
    read_param(arguments, count, words);
    return arguments;
  }
  if (command == "--help") {
    arguments.command = Command::help;
  } else if (command == "--version") {
    arguments.command = Command::version;
  } else if (command == "providers") {
    arguments.command = Command::providers;
  } else if (command == "crypt") {
    arguments.command = Command::crypt;
  } else if (command == "decrypt") {
    arguments.command = Command::decrypt;
  } else {
    throw UsageError("\"" + command + "\" is no command");
  }
  if (count > 2) throw UsageError("\"" + std::string(words[2]) + "\" is too much");
  return arguments;
}

}  // namespace tool
