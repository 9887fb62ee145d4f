#include "data/piecewise.h"

#include <algorithm>
#include <span>
#include <utility>

#include "common/text.h"

namespace quarno::data {

std::function<Variant(std::size_t)> pieces_of(Variant value) {
  return [value = std::move(value), at = std::size_t{0}](std::size_t count) mutable -> Variant {
    if (const auto* const bytes = value.get_if<Variant::Bytes>(); bytes != nullptr && at < bytes->size()) {
      const auto part = std::span(*bytes).subspan(at, std::min(count, bytes->size() - at));
      at += part.size();
      return Variant::Bytes(part.begin(), part.end());
    }
    if (const auto* const text = value.get_if<std::string>(); text != nullptr && at < text->size()) {
      const std::string_view part = text::left(std::string_view(*text).substr(at), count);
      at += part.size();
      return part;
    }
    return Variant::null();
  };
}

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
