// Bounds the time of calls to a driver that would run on: SQLite's takes a time limit and ignores it.
#pragma once

#include <functional>

#include "providers/sqlite_deadline.h"

namespace quarno::odbc {

/// The engine's handle of the database that `connect` opens through SQLite's driver. The driver uses the
/// engine that this process has loaded anyway, which tells of every database it opens. Null when the driver
/// brings an engine of its own: its statements have no time limit then.
sqlite3* engine_opened_by(const std::function<void()>& connect);

/// The time left for one statement and its rows. Does nothing for drivers that keep time themselves.
class Clock {
 public:
  Clock(sqlite3* engine, int seconds)
      : engine_(engine), seconds_(seconds), limit_(providers::time_limit(seconds)) {
    // The driver asks for a lock up to three times.
    if (engine_ != nullptr) sqlite3_busy_timeout(engine_, providers::lock_patience_ms(seconds) / 3);
  }

  void restart() { limit_ = providers::time_limit(seconds_); }
  /// While the result is in scope, a call to the driver ends at the limit.
  [[nodiscard]] providers::Deadline running() const { return {engine_, limit_}; }

 private:
  sqlite3* engine_;
  int seconds_;
  providers::TimeLimit limit_;
};

}  // namespace quarno::odbc
