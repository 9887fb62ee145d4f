// The pages of one Access file, decoded where the file is encoded. Reads only; used by one thread.
#pragma once

#include <array>
#include <cstdint>
#include <memory>
#include <optional>
#include <string>
#include <vector>

#include "platform/data_files.h"
#include "providers/desktop/access/bytes.h"
#include "providers/desktop/access/header.h"

namespace quarno::desktop::access {

/// Names a row: its page and its place there.
struct RowPointer {
  std::uint32_t page;
  std::uint8_t row;
};
constexpr RowPointer row_pointer(std::uint32_t stored) {
  return {stored >> 8, static_cast<std::uint8_t>(stored & 0xFF)};
}

enum class PageType : std::uint8_t { data = 1, definition = 2, usage_bitmap = 5 };

class PageStore {
 public:
  /// `header` must be good.
  PageStore(std::unique_ptr<platform::DataFile> file, const Header& header);

  bool jet3() const { return jet3_; }
  std::size_t page_size() const { return page_size_; }
  std::uint32_t page_count() const { return page_count_; }
  std::uint64_t size() const { return std::uint64_t{page_count_} * page_size_; }

  /// One page, kept for a while. The view holds until the next call. Raises Damaged for a page that the file
  /// does not have.
  Bytes page(std::uint32_t number);
  /// The same into the caller's buffer of page_size() bytes, past what is kept: for walks over a whole table.
  Bytes read(std::uint32_t number, std::string& buffer);

 private:
  struct Slot {
    std::uint32_t number = 0;  // page 0 is never asked for, so it means none
    std::string bytes;
  };

  std::unique_ptr<platform::DataFile> file_;
  bool jet3_;
  std::size_t page_size_;
  std::uint32_t page_key_;
  std::uint32_t page_count_ = 0;
  std::array<Slot, 64> slots_;
};

/// Rows of a data page. The view it is given must outlive it.
class DataPage {
 public:
  enum class Kind { normal, forward, moved, erased, damaged };
  struct Row {
    Kind kind;
    Bytes bytes;
  };

  /// Owner of the pages that hold long values: "LVAL".
  static constexpr std::uint32_t kLongValues = 0x4C41564C;

  /// Raises Damaged when it is no data page, or not of that owner: a definition's page, or kLongValues.
  DataPage(Bytes page, bool jet3, std::optional<std::uint32_t> owner);

  std::size_t row_count() const { return row_count_; }
  /// `number` less than row_count(). In a damaged page rows may overlap.
  Row row(std::size_t number) const;

 private:
  static std::size_t place(std::uint16_t offset) { return offset & 0x1FFF; }

  Bytes page_;
  std::size_t table_;  // where the row offsets begin
  std::size_t row_count_ = 0;
};

}  // namespace quarno::desktop::access
