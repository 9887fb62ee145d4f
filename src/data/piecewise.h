// Long values between fields and files, in pieces of one size.
#pragma once

#include <cstddef>
#include <functional>
#include <optional>
#include <string_view>

#include "common/variant.h"

namespace quarno::data {

/// Characters of a text, or bytes.
inline constexpr std::size_t kPieceSize = 16384;

/// Hands out a value's bytes or characters from its beginning, as many as are asked for; null once there are
/// no more, and for any other value.
std::function<Variant(std::size_t)> pieces_of(Variant value);

/// Reads pieces of kPieceSize, the last one being what is left of `size`, and writes each in order. Without a
/// size it reads until a piece is null or shorter. A text is written in the ANSI code page.
void copy_pieces(std::optional<std::size_t> size, const std::function<Variant(std::size_t)>& read,
                 const std::function<void(std::string_view)>& write);

}  // namespace quarno::data
