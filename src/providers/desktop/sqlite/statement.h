// Owners of the engine's handles, and the deadline of a statement that runs.
#pragma once

#include <sqlite3.h>

#include <chrono>
#include <memory>
#include <optional>

namespace quarno::desktop::sqlite {

struct CloseDatabase {
  void operator()(sqlite3* database) const { sqlite3_close_v2(database); }
};
using Database = std::unique_ptr<sqlite3, CloseDatabase>;

struct FinalizeStatement {
  void operator()(sqlite3_stmt* statement) const { sqlite3_finalize(statement); }
};
using Statement = std::unique_ptr<sqlite3_stmt, FinalizeStatement>;

/// When a statement must have ended; nothing when it may run on.
using TimeLimit = std::optional<std::chrono::steady_clock::time_point>;

/// Counted from now; 0 seconds set no limit.
inline TimeLimit time_limit(int seconds) {
  if (seconds <= 0) return std::nullopt;
  return std::chrono::steady_clock::now() + std::chrono::seconds(seconds);
}

/// While in scope, a statement that runs past its limit is interrupted.
class Deadline {
 public:
  Deadline(sqlite3* database, TimeLimit limit) : database_(database), end_(limit) {
    if (!end_) return;
    // Every few thousand steps of the engine's machine: well under a millisecond.
    sqlite3_progress_handler(database_, 4000, &Deadline::expired, this);
  }
  ~Deadline() {
    if (end_) sqlite3_progress_handler(database_, 0, nullptr, nullptr);
  }
  Deadline(const Deadline&) = delete;
  Deadline& operator=(const Deadline&) = delete;

 private:
  static int expired(void* self) {
    return std::chrono::steady_clock::now() > *static_cast<Deadline*>(self)->end_ ? 1 : 0;
  }

  sqlite3* database_;
  TimeLimit end_;
};

}  // namespace quarno::desktop::sqlite
