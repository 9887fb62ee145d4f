#include "common/file_numbers.h"

#include <gtest/gtest.h>

#include <array>
#include <atomic>
#include <thread>
#include <vector>

#include "support/outcome.h"

namespace quarno {
namespace {

TEST(FileNumbers, LowestFreeNumberUntil255) {
  std::vector<FileNumber> taken;
  for (int i = 1; i <= 255; ++i) {
    taken.push_back(FileNumber::take());
    ASSERT_EQ(taken.back().value(), i);
  }
  EXPECT_EQ(test::error_of([] { return FileNumber::take(); }), 67);
  for (const std::size_t i : {199, 9, 9}) taken[i].release();  // twice is harmless
  FileNumber ten = FileNumber::take(), other = FileNumber::take();
  EXPECT_TRUE(ten.value() == 10 && other.value() == 200);
  other = std::move(ten);  // gives 200 back, holds 10
  EXPECT_EQ(FileNumber::take().value(), 200);
  taken.clear();
  EXPECT_EQ(FileNumber::take().value(), 1);
}

TEST(FileNumbers, NoNumberIsHeldTwiceAcrossThreads) {
  std::array<std::atomic<int>, 256> holders{};
  std::atomic<int> clashes = 0;
  const auto work = [&] {
    for (int i = 0; i < 2000; ++i) {
      const FileNumber numbers[] = {FileNumber::take(), FileNumber::take()};
      for (const auto& number : numbers) clashes += holders[static_cast<std::size_t>(number.value())]++;
      for (const auto& number : numbers) --holders[static_cast<std::size_t>(number.value())];
    }
  };
  std::vector<std::thread> threads;
  for (int i = 0; i < 4; ++i) threads.emplace_back(work);
  for (auto& thread : threads) thread.join();
  EXPECT_EQ(clashes, 0);
  EXPECT_EQ(FileNumber::take().value(), 1);  // all were given back
}

}  // namespace
}  // namespace quarno
