// What a table looked like before a commit changed it, kept in a file beside it until the commit is done.
// Pure.
#pragma once

#include <cstdint>
#include <optional>
#include <string>
#include <string_view>

namespace quarno::desktop::dbase {

struct Journal {
  std::uint64_t file_size = 0;
  std::uint64_t form = 0;     // checksum of the field descriptors
  std::uint32_t records = 0;  // how many there were
  std::uint32_t record_length = 0;
  std::string header;   // 32 bytes
  std::string tail;     // what stood behind the last record, as far as it is written over
  std::string master;   // name of the file that is there until all tables of a transaction are written, or ""
  std::string changed;  // number and bytes of each changed record, one behind the other

  std::size_t changed_count() const { return changed.size() / (4 + std::size_t{record_length}); }
  std::uint32_t changed_record(std::size_t index) const;
  std::string_view changed_bytes(std::size_t index) const;
};

std::string journal_text(const Journal& journal);

/// Nothing when the text was not written to its end, or is not what was written.
std::optional<Journal> read_journal(std::string_view text);

std::uint64_t checksum(std::string_view bytes);

}  // namespace quarno::desktop::dbase
