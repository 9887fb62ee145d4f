// Hierarchies between recordsets and files: what a file holds of chapters as chapters of the cursor, and the
// other way round.
#pragma once

#include <cstdint>
#include <memory>
#include <optional>

#include "ado/cursor/row_set.h"
#include "ado/persist/snapshot_reader.h"
#include "ado/persist/snapshot_writer.h"

namespace quarno::ado::persist {

/// Reads a file whole, with its pending changes and its chapters. Hidden columns stay the last ones.
std::shared_ptr<RowSet> rows_of(std::unique_ptr<SnapshotReader> reader);

/// Whether all that belongs to the rows is here, so that nothing has to be asked of their source.
bool is_whole(const RowSet& rows);

/// The rows with their chapters; they have to stay as they are meanwhile. Raises 3251 for chapters that are
/// read row by row.
TableToSave table_to_save(RowSet& rows, bool is_updatable, std::optional<std::int32_t> command_timeout);

}  // namespace quarno::ado::persist
