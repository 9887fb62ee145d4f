// A commit that is cut short at every operation on the files: by the process's death, by a power failure, by
// a full disk. What comes after sees all of it or nothing.
#include <gtest/gtest.h>

#include "desktop/dbase/engine.h"
#include "desktop/dbase/memory_disk.h"
#include "providers/desktop/dbase/journal.h"

namespace quarno::desktop::dbase {
namespace {

using test::Engine;
using test::MemoryDisk;
using Failure = MemoryDisk::Failure;

constexpr const char* kState = "SELECT (SELECT group_concat(CAST(N AS INTEGER) || ifnull(M, '-')) FROM A)";
constexpr const char* kBoth =
    "SELECT (SELECT group_concat(CAST(N AS INTEGER) || ifnull(M, '-')) FROM A), (SELECT group_concat(V, '') "
    "FROM B)";

struct Case {
  std::string before, after;
  std::vector<const char*> statements;
  const char* state;
};

const Case kCases[] = {
    {"1one,2two,3-|xy",
     "2one,1two,4new|xyz",
     {"BEGIN", "UPDATE A SET N = 3 - N WHERE N < 3", "DELETE FROM A WHERE N = 3",
      "INSERT INTO A VALUES (4, 'new')", "INSERT INTO B VALUES ('z')", "COMMIT"},
     kBoth},
    {"1one,2two,3-", "1one,2two,3-,9nine,8-", {"INSERT INTO A VALUES (9, 'nine'), (8, NULL)"}, kState},
    {"1one,2two,3-", "1one,7two,3-", {"UPDATE A SET N = 7 WHERE N = 2"}, kState},
};

class Crash : public ::testing::Test {
 protected:
  MemoryDisk made() {
    MemoryDisk disk;
    platform::ScopedPort<platform::DataFiles> port(disk);
    Engine engine("f");
    engine.create("A", {{"N", "INTEGER"}, {"M", "LONGTEXT"}});
    engine.create("B", {{"V", "VARCHAR(3)"}});
    engine.run("INSERT INTO A VALUES (1, 'one'), (2, 'two'), (3, NULL)");
    engine.run("INSERT INTO B VALUES ('x'), ('y')");
    // Odd ends must come back as well.
    for (const char* name : {"f/A.dbf", "f/B.dbf"}) disk.put(name, disk.bytes(name) + "\x1A\x1Astray");
    disk.put("f/A.dbt", disk.bytes("f/A.dbt"));
    return disk;
  }
  // The first failure's text; empty when all went well.
  static std::string run(Engine& engine, const Case& which) {
    for (const char* statement : which.statements) {
      if (const std::string result = engine.run(statement); !result.empty()) return result;
    }
    return {};
  }
  static std::string state(MemoryDisk& disk, const Case& which, bool may_write = true) {
    platform::ScopedPort<platform::DataFiles> port(disk);
    disk.read_only = !may_write;
    return Engine("f").run(which.state);
  }
};

TEST_F(Crash, AtEveryOperationLeavesAllOrNothing) {
  std::mt19937 random(7);
  int cut_short = 0;
  for (const Case& which : kCases) {
    const std::string original = made().bytes("f/A.dbf");
    for (int allowed = 0;; ++allowed) {
      SCOPED_TRACE(std::string(which.statements.front()) + " after " + std::to_string(allowed));
      MemoryDisk disk = made();
      std::string result;
      {
        platform::ScopedPort<platform::DataFiles> port(disk);
        Engine engine("f");
        engine.run(which.state);
        disk.allow(allowed);
        result = run(engine, which);
      }
      const bool cut = disk.failed();
      cut_short += cut ? 1 : 0;
      // Death alone, and then a power failure on top with one or the other outcome for what was under way.
      for (int loss = 0; loss < 12; ++loss) {
        MemoryDisk left = disk;
        if (loss > 0) left.lose_power(random);
        MemoryDisk for_reader = left;
        MemoryDisk for_second = left;
        const std::string seen = state(left, which);
        ASSERT_TRUE(seen == which.after || (seen == which.before && !result.empty())) << loss << ": " << seen;
        if (seen == which.before) {
          ASSERT_EQ(left.bytes("f/A.dbf"), original);
        }
        ASSERT_EQ(state(for_reader, which, false), seen) << loss;
        // Putting things back may be cut short too, and the power may fail after it.
        for (int again = 0; loss == 0 && seen == which.before; ++again) {
          MemoryDisk twice = for_second;
          twice.allow(again);
          const bool done = state(twice, which) == seen && !twice.failed();
          twice.lose_power(random);
          twice.allow(INT_MAX);
          ASSERT_EQ(state(twice, which), seen) << again;
          if (done) break;
        }
      }
      if (!cut) {
        ASSERT_EQ(result, "");
        break;
      }
    }
  }
  EXPECT_GT(cut_short, 40);
}

TEST_F(Crash, FullDiskAtEveryWriteChangesNothing) {
  for (const Case& which : kCases) {
    for (const Failure failure : {Failure::full_once, Failure::full}) {
      for (int allowed = 0;; ++allowed) {
        SCOPED_TRACE(std::string(which.statements.front()) + " after " + std::to_string(allowed));
        MemoryDisk disk = made();
        platform::ScopedPort<platform::DataFiles> port(disk);
        Engine engine("f");
        ASSERT_EQ(engine.run(which.state), which.before);
        disk.allow(allowed, failure);
        const std::string result = run(engine, which);
        const bool failed = disk.failed();
        disk.allow(INT_MAX);
        if (!result.empty()) engine.run("ROLLBACK");
        ASSERT_EQ(engine.run(which.state), result.empty() ? which.after : which.before) << result;
        ASSERT_EQ(Engine("f").run(which.state), result.empty() ? which.after : which.before);
        // The same session goes on.
        if (!result.empty()) {
          ASSERT_EQ(run(engine, which), "");
          ASSERT_EQ(engine.run(which.state), which.after);
        }
        ASSERT_EQ(disk.count(), 3u);
        if (!failed) break;
      }
    }
  }
}

TEST_F(Crash, JournalsThatDoNotFitAreNotApplied) {
  MemoryDisk disk = made();
  std::string journal;
  {
    platform::ScopedPort<platform::DataFiles> port(disk);
    Engine engine("f");
    for (int allowed = 0; !read_journal(journal); ++allowed) {
      disk.allow(allowed);
      engine.run("UPDATE A SET N = 5 WHERE N = 1");
      disk.allow(INT_MAX);
      journal = disk.bytes("f/A.dbf-journal");
      engine.run("SELECT * FROM A");
    }
  }
  // Every byte is guarded: a changed or shortened journal is none.
  for (std::size_t i = 0; i <= journal.size(); ++i) {
    MemoryDisk fresh = made();
    std::string damaged = journal.substr(0, i);
    if (i == journal.size()) damaged[journal.size() / 2] ^= 1;
    fresh.put("f/A.dbf-journal", damaged);
    ASSERT_EQ(state(fresh, kCases[1]), kCases[1].before) << i;
    ASSERT_EQ(fresh.bytes("f/A.dbf-journal"), "<missing>");
  }
  MemoryDisk other = made();
  other.put("f/B.dbf-journal", journal);
  EXPECT_EQ(state(other, kCases[0]),
            "!'B.dbf-journal' does not belong to the table beside it; remove one of them.");
}

}  // namespace
}  // namespace quarno::desktop::dbase
