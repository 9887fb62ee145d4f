#include "util/line_source.h"

#include <algorithm>
#include <cstring>

namespace quarno::util {
namespace {

// Small enough to stay in the processor's nearest memory while its lines are read.
constexpr std::size_t kBlock = std::size_t{32} * 1024;

}  // namespace

bool LineSource::fill() {
  if (file_ended_) return false;
  if (begin_ > 0) {
    std::memmove(buffer_.data(), buffer_.data() + begin_, end_ - begin_);
    end_ -= begin_;
    begin_ = 0;
  }
  // Doubling keeps a very long line linear.
  if (buffer_.size() - end_ < kBlock) buffer_.resize(std::max(buffer_.size() * 2, end_ + kBlock));
  const std::size_t count = file_->read(std::span(buffer_).subspan(end_));
  end_ += count;
  file_ended_ = count == 0;
  return !file_ended_;
}

bool LineSource::at_end() { return begin_ == end_ && !fill(); }

std::size_t LineSource::find(char byte) {
  std::size_t searched = 0;
  for (;;) {
    const char* const from = buffer_.data() + begin_ + searched;
    if (const std::size_t count = end_ - begin_ - searched; count > 0) {
      if (const void* hit = std::memchr(from, byte, count)) {
        return static_cast<std::size_t>(static_cast<const char*>(hit) - buffer_.data());
      }
    }
    searched = end_ - begin_;
    if (!fill()) return end_;
  }
}

std::optional<std::string_view> LineSource::line_to_cr() {
  if (at_end()) return std::nullopt;
  std::size_t stop = find('\r');
  // A CR that ends the block may have its LF in the next one.
  if (stop + 1 == end_) {
    const std::size_t length = stop - begin_;
    fill();
    stop = begin_ + length;
  }
  const std::string_view line(buffer_.data() + begin_, stop - begin_);
  if (stop < end_) ++stop;
  if (stop < end_ && buffer_[stop] == '\n') ++stop;
  begin_ = stop;
  return line;
}

std::optional<std::string_view> LineSource::line_to_lf() {
  if (at_end()) return std::nullopt;
  const std::size_t stop = find('\n');
  const std::string_view line(buffer_.data() + begin_, stop - begin_);
  begin_ = stop < end_ ? stop + 1 : stop;
  return line;
}

}  // namespace quarno::util
