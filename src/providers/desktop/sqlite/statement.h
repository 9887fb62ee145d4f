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

/// While in scope, a statement that runs longer than the seconds given is interrupted. 0 sets no limit.
class Deadline {
 public:
  Deadline(sqlite3* database, int seconds) : database_(database) {
    if (seconds <= 0) return;
    end_ = Clock::now() + std::chrono::seconds(seconds);
    // Every few thousand steps of the engine's machine: well under a millisecond.
    sqlite3_progress_handler(database_, 4000, &Deadline::expired, this);
  }
  ~Deadline() {
    if (end_) sqlite3_progress_handler(database_, 0, nullptr, nullptr);
  }
  Deadline(const Deadline&) = delete;
  Deadline& operator=(const Deadline&) = delete;

 private:
  using Clock = std::chrono::steady_clock;
  static int expired(void* self) { return Clock::now() > *static_cast<Deadline*>(self)->end_ ? 1 : 0; }

  sqlite3* database_;
  std::optional<Clock::time_point> end_;
};

}  // namespace quarno::desktop::sqlite
