// Table definitions, from the pages that hold them.
#pragma once

#include <set>
#include <string>
#include "providers/desktop/access/design.h"
#include "providers/desktop/access/page_store.h"
#include "providers/desktop/access/text_reader.h"

namespace quarno::desktop::access {

/// The table that is defined on that page. Raises Damaged; an index list that cannot be read is only marked.
TableDesign table_definition(PageStore& pages, TextReader& texts, std::uint32_t page);

/// The pages with the rows of a table, rising. `damaged` counts places that name no such page.
std::vector<std::uint32_t> data_pages(PageStore& pages, const TableDesign& design, std::uint64_t& damaged);

/// `name`, or `fallback` for an empty one, with a number behind it where another one has it already; `taken`
/// holds folded names and gets this one. Letter case does not matter.
std::string unused_name(const std::string& name, const std::string& fallback, std::set<std::string>& taken);

}  // namespace quarno::desktop::access
