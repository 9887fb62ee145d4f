#include "providers/odbc/clock.h"

#include <mutex>

namespace quarno::odbc {
namespace {

thread_local sqlite3* opened = nullptr;

int note(sqlite3* database, char**, const struct sqlite3_api_routines*) {
  opened = database;
  return SQLITE_OK;
}

// What the engine calls has the type of any function in its interface.
using AnyFunction = void (*)();
AnyFunction note_entry() {
  int (*const function)(sqlite3*, char**, const struct sqlite3_api_routines*) = &note;
  return reinterpret_cast<AnyFunction>(function);
}

}  // namespace

sqlite3* engine_opened_by(const std::function<void()>& connect) {
  // The engine's list is the whole process's: only one connects at a time, and nothing stays in the list.
  static std::mutex one_at_a_time;
  const std::lock_guard lock(one_at_a_time);
  struct Listed {
    Listed() { sqlite3_auto_extension(note_entry()); }
    ~Listed() { sqlite3_cancel_auto_extension(note_entry()); }
  };
  const Listed listed;
  opened = nullptr;
  connect();
  return opened;
}

}  // namespace quarno::odbc
