#include "data/piecewise.h"

#include <algorithm>

#include "common/text.h"

namespace quarno::data {

void copy_pieces(std::optional<std::size_t> size, const std::function<Variant(std::size_t)>& read,
                 const std::function<void(std::string_view)>& write) {
  std::size_t left = size.value_or(kPieceSize);
  while (left > 0) {
    const std::size_t wanted = std::min(left, kPieceSize);
    const Variant piece = read(wanted);
    std::size_t count = 0;
    if (const auto* const bytes = piece.get_if<Variant::Bytes>()) {
      count = bytes->size();
      write({reinterpret_cast<const char*>(bytes->data()), count});
    } else if (const auto* const text = piece.get_if<std::string>()) {
      count = text::length(*text);
      write(text::to_windows_1252(*text));
    }
    if (count < wanted) return;
    if (size) left -= count;
  }
}

}  // namespace quarno::data
