#include "providers/desktop/dbase/journal.h"

#include "providers/desktop/dbase/little_endian.h"

namespace quarno::desktop::dbase {
namespace {

constexpr std::string_view kMagic = "QFDBJ1\r\n";
constexpr std::size_t kFileHeader = 32;
// Where things stand: magic, length of the whole, checksum of all behind it, then the rest.
constexpr std::size_t kLengthAt = 8;
constexpr std::size_t kChecksumAt = 16;
constexpr std::size_t kBodyAt = 24;
constexpr std::size_t kFixed = kBodyAt + 8 + 8 + 4 + 4 + kFileHeader + 4 + 4;

}  // namespace

std::uint32_t Journal::changed_record(std::size_t index) const {
  return number_at<std::uint32_t>(changed, index * (4 + std::size_t{record_length}));
}

std::string_view Journal::changed_bytes(std::size_t index) const {
  const std::size_t step = 4 + std::size_t{record_length};
  return std::string_view(changed).substr(index * step + 4, record_length);
}

std::uint64_t checksum(std::string_view bytes) {
  std::uint64_t sum = 0xCBF2'9CE4'8422'2325u;
  for (const char c : bytes) sum = (sum ^ static_cast<unsigned char>(c)) * 0x100'0000'01B3u;
  return sum;
}

std::string journal_text(const Journal& journal) {
  std::string text(kMagic);
  text.resize(kBodyAt, '\0');
  append_number(text, journal.file_size);
  append_number(text, journal.form);
  append_number(text, journal.records);
  append_number(text, journal.record_length);
  text += journal.header;
  append_number(text, static_cast<std::uint32_t>(journal.tail.size()));
  append_number(text, static_cast<std::uint32_t>(journal.master.size()));
  text += journal.tail;
  text += journal.master;
  text += journal.changed;
  std::string sums;
  append_number(sums, std::uint64_t{text.size()});
  append_number(sums, checksum(std::string_view(text).substr(kBodyAt)));
  return text.replace(kLengthAt, sums.size(), sums);
}

std::optional<Journal> read_journal(std::string_view text) {
  if (text.size() < kFixed || !text.starts_with(kMagic)) return std::nullopt;
  if (number_at<std::uint64_t>(text, kLengthAt) != text.size()) return std::nullopt;
  if (number_at<std::uint64_t>(text, kChecksumAt) != checksum(text.substr(kBodyAt))) return std::nullopt;
  Journal journal;
  journal.file_size = number_at<std::uint64_t>(text, kBodyAt);
  journal.form = number_at<std::uint64_t>(text, kBodyAt + 8);
  journal.records = number_at<std::uint32_t>(text, kBodyAt + 16);
  journal.record_length = number_at<std::uint32_t>(text, kBodyAt + 20);
  journal.header = text.substr(kBodyAt + 24, kFileHeader);
  const std::uint64_t tail = number_at<std::uint32_t>(text, kFixed - 8);
  const std::uint64_t master = number_at<std::uint32_t>(text, kFixed - 4);
  std::string_view rest = text.substr(kFixed);
  if (tail + master > rest.size()) return std::nullopt;
  journal.tail = rest.substr(0, tail);
  journal.master = rest.substr(tail, master);
  journal.changed = rest.substr(tail + master);
  if (journal.changed.size() % (4 + std::uint64_t{journal.record_length}) != 0) return std::nullopt;
  return journal;
}

}  // namespace quarno::desktop::dbase
