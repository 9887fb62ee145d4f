// Lines and columns out of any bytes: nothing is lost or made up, however the file hands its bytes out.
#include <algorithm>
#include <cstring>

#include "fuzz/fuzz.h"
#include "util/byte_hits.h"
#include "util/columns.h"
#include "util/line_source.h"

const int kMutations = 2'000;
const std::vector<std::string> kSeeds = {"a;b;;c\r\nx\ry\n\r\n",
                                         ";\x80;eight by;:;<;\xBB\r;;and more than 32 bytes;\x7F;;\xFF",
                                         "x;y\n\nz\n", std::string("n\0u\0l\n", 6), "\r\r\n\n\r"};

namespace {

// Hands out a few bytes at a time, so that ends of lines fall on the borders.
class Trickle : public quarno::platform::File {
 public:
  explicit Trickle(std::string bytes) : bytes_(std::move(bytes)) {}
  std::size_t read(std::span<char> buffer) override {
    const std::size_t count = std::min({buffer.size(), bytes_.size() - at_, 1 + at_ % 3});
    std::memcpy(buffer.data(), bytes_.data() + at_, count);
    at_ += count;
    return count;
  }
  void write(std::string_view) override {}
  void close() override {}

 private:
  std::string bytes_;
  std::size_t at_ = 0;
};

// The columns of one line after another's, which must leave nothing behind.
void check_columns(quarno::util::Columns& columns, std::string_view line) {
  for (std::size_t at = 0; at + quarno::util::kHitBytes <= line.size(); ++at) {
    const auto quick = quarno::util::hits(line.data() + at, ';');
    const auto plain = quarno::util::plain_hits(line.data() + at, ';');
    if (quick.bits != plain.bits || quick.is_ascii != plain.is_ascii) __builtin_trap();
  }
  const std::string before(columns.line());
  const auto separators = static_cast<std::size_t>(std::count(line.begin(), line.end(), ';'));
  if (separators + 1 > quarno::util::Columns::kMost) {
    if (columns.split(line, ';') || columns.line() != before) __builtin_trap();
    return;
  }
  if (!columns.split(line, ';') || columns.line() != line) __builtin_trap();
  if (columns.count() != (line.empty() ? 0 : separators + 1)) __builtin_trap();
  std::string joined;
  bool is_ascii = true;
  for (std::size_t i = 0; i < columns.count(); ++i) {
    if (i > 0) joined.push_back(';');
    if (columns[i].find(';') != std::string_view::npos) __builtin_trap();
    joined.append(columns[i]);
  }
  for (const char byte : line) is_ascii = is_ascii && static_cast<unsigned char>(byte) < 0x80;
  if (joined != line || columns.is_ascii() != is_ascii) __builtin_trap();
}

}  // namespace

int LLVMFuzzerTestOneInput(const std::uint8_t* data, std::size_t size) {
  const std::string bytes(text_of(data, size));
  quarno::util::LineSource unix_lines(std::make_unique<Trickle>(bytes));
  std::string joined;
  while (const auto line = unix_lines.line_to_lf()) joined.append(*line).push_back('\n');
  if (!bytes.empty() && bytes.back() != '\n') joined.pop_back();
  if (joined != bytes) __builtin_trap();

  quarno::util::LineSource lines(std::make_unique<Trickle>(bytes));
  std::size_t kept = 0;
  quarno::util::Columns columns;
  while (const auto line = lines.line_to_cr()) {
    check_columns(columns, *line);
    if (line->find('\r') != std::string_view::npos) __builtin_trap();
    kept += line->size();
  }
  const auto returns = static_cast<std::size_t>(std::count(bytes.begin(), bytes.end(), '\r'));
  std::size_t pairs = 0;
  for (std::size_t at = bytes.find("\r\n"); at != std::string::npos; at = bytes.find("\r\n", at + 2)) ++pairs;
  if (kept != bytes.size() - returns - pairs || !lines.at_end()) __builtin_trap();
  return 0;
}
