// Memos and OLE objects, which lie outside their rows when they are long.
#pragma once

#include "providers/desktop/access/page_store.h"

namespace quarno::desktop::access {

/// Appends the bytes of a long value to `result`; `field` is what its row holds. What is read outside the row
/// is taken off `budget`, because any number of rows of a damaged file may name one long chain. Raises
/// Damaged.
void append_long_value(PageStore& pages, Bytes field, std::uint64_t& budget, std::string& result);

}  // namespace quarno::desktop::access
