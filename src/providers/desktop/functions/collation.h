// The order of texts: the collation JET.
//
// Texts are compared character by character as if they had no accents and no letter case: controls, blank and
// punctuation come first, then digits, then Latin letters, then every other character by its number,
// malformed bytes last. A text that begins another comes before it. Where that finds no difference, the first
// letter whose accent differs decides, the plain one first: "cote" < "coté" < "côte" < "Cotes". Texts that
// differ in letter case alone are equal. Indexes in files are sorted by it, so it must never change.
#pragma once

#include <string_view>

struct sqlite3;

namespace quarno::desktop {

/// Negative, 0 or positive.
int compare_texts(std::string_view a, std::string_view b) noexcept;

void register_collation(sqlite3* database);

}  // namespace quarno::desktop
