#include "common/error.h"

#include <gtest/gtest.h>

#include <thread>

namespace quarno {
namespace {

TEST(Error, RecordBelongsToItsThread) {
  record(Error(13, "Type mismatch", "here"));
  std::thread other([] {
    EXPECT_EQ(current_error().number, 0);
    EXPECT_EQ(current_error().description + current_error().source, "");
    record(run_time_error(RunTime::file_not_found, "a.txt"));
    EXPECT_EQ(current_error().description, "File not found: a.txt");
    EXPECT_EQ(current_error().source, "CorvexFwk");
  });
  other.join();
  EXPECT_EQ(current_error().number, 13);
  EXPECT_EQ(current_error().source, "here");
  EXPECT_EQ(run_time_text(static_cast<RunTime>(1000)), "Application-defined or object-defined error");
}

}  // namespace
}  // namespace quarno
