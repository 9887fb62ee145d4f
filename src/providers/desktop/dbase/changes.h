// What a transaction has changed in a table and not yet written: records of the file that have new bytes, and
// records to append. Savepoints can be gone back to. Grows with the changes, not with the table.
#pragma once

#include <cstdint>
#include <string>
#include <string_view>
#include <unordered_map>
#include <vector>

namespace quarno::desktop::dbase {

class Changes {
 public:
  /// Forgets everything; the file now has `file_records` records.
  void restart(std::uint32_t file_records, std::uint32_t record_length);

  std::uint32_t count() const { return file_records_ + appended_; }
  std::uint32_t file_records() const { return file_records_; }
  /// Grows with everything that may change a record.
  std::uint64_t steps() const { return steps_; }
  bool empty() const { return appended_ == 0 && slots_.empty(); }
  /// The bytes of a record that is changed or new, up to the next change; null for one still as in the file.
  const char* find(std::uint32_t record) const;
  void append(std::string_view bytes);
  void replace(std::uint32_t record, std::string_view bytes);
  /// Numbers of the changed records that the file has, ascending.
  std::vector<std::uint32_t> changed_records() const;

  void savepoint(int level);
  void release(int level);
  void rollback_to(int level);

 private:
  struct Before {
    std::uint32_t record;
    bool in_file;  // it was unchanged
    std::string bytes;
  };
  struct Mark {
    int level;
    std::uint32_t count;
    std::size_t before;
  };

  char* place(std::uint32_t record);
  char* appended_place(std::uint32_t index);
  void put(std::uint32_t record, std::string_view bytes);

  std::uint64_t steps_ = 0;
  std::uint32_t file_records_ = 0;
  std::uint32_t record_length_ = 1;
  std::uint32_t appended_ = 0;
  std::uint32_t chunk_records_ = 1;
  std::vector<std::string> chunks_;  // appended records, chunk_records_ in each
  std::unordered_map<std::uint32_t, std::size_t> slots_;
  std::string slot_bytes_;
  std::vector<Before> befores_;  // newest last
  std::vector<Mark> marks_;
};

}  // namespace quarno::desktop::dbase
