#include "common/file_numbers.h"

#include <bitset>
#include <mutex>
#include <utility>

#include "common/error.h"

namespace quarno {
namespace {

struct Table {
  std::mutex mutex;
  std::bitset<256> used;
};

Table& table() {
  static Table instance;
  return instance;
}

}  // namespace

FileNumber FileNumber::take() {
  Table& numbers = table();
  const std::scoped_lock lock(numbers.mutex);
  for (std::int16_t number = 1; number <= 255; ++number) {
    const auto index = static_cast<std::size_t>(number);
    if (numbers.used.test(index)) continue;
    numbers.used.set(index);
    FileNumber taken;
    taken.value_ = number;
    return taken;
  }
  throw run_time_error(RunTime::too_many_files);
}

FileNumber::FileNumber(FileNumber&& other) noexcept : value_(std::exchange(other.value_, std::int16_t{0})) {}

FileNumber& FileNumber::operator=(FileNumber&& other) noexcept {
  if (this != &other) {
    release();
    value_ = std::exchange(other.value_, std::int16_t{0});
  }
  return *this;
}

FileNumber::~FileNumber() { release(); }

void FileNumber::release() noexcept {
  if (value_ == 0) return;
  Table& numbers = table();
  const std::scoped_lock lock(numbers.mutex);
  numbers.used.reset(static_cast<std::size_t>(std::exchange(value_, std::int16_t{0})));
}

}  // namespace quarno
