// The time a statement of SQLite's may take.
#pragma once

#include <sqlite3.h>

#include <chrono>
#include <optional>

namespace quarno::providers {

/// When a statement must have ended; nothing when it may run on.
using TimeLimit = std::optional<std::chrono::steady_clock::time_point>;

/// Counted from now; 0 seconds set no limit.
inline TimeLimit time_limit(int seconds) {
  if (seconds <= 0) return std::nullopt;
  return std::chrono::steady_clock::now() + std::chrono::seconds(seconds);
}

/// How long a statement waits for a lock that another connection holds, in milliseconds: as long as it may
/// take, but no longer than this.
constexpr int kLockPatienceMs = 5000;
constexpr int lock_patience_ms(int seconds) {
  return seconds > 0 && seconds < kLockPatienceMs / 1000 ? seconds * 1000 : kLockPatienceMs;
}

/// While in scope, a statement that runs past its limit is interrupted. Does nothing without a database.
class Deadline {
 public:
  Deadline(sqlite3* database, TimeLimit limit) : database_(database), end_(limit) {
    if (!is_set()) return;
    // Every few thousand steps of the engine's machine: well under a millisecond.
    sqlite3_progress_handler(database_, 4000, &Deadline::expired, this);
  }
  ~Deadline() {
    if (is_set()) sqlite3_progress_handler(database_, 0, nullptr, nullptr);
  }
  Deadline(const Deadline&) = delete;
  Deadline& operator=(const Deadline&) = delete;

 private:
  bool is_set() const { return database_ != nullptr && end_; }
  static int expired(void* self) {
    return std::chrono::steady_clock::now() > *static_cast<Deadline*>(self)->end_ ? 1 : 0;
  }

  sqlite3* database_;
  TimeLimit end_;
};

}  // namespace quarno::providers
