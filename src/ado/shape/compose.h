// Puts results together as a SHAPE command says: each statement runs once and is read whole, children are
// found through an index that is made once for each chapter. Time and memory grow with the rows.
#pragma once

#include <cstdint>
#include <memory>

#include "ado/provider.h"
#include "ado/shape/shape_text.h"

namespace quarno::ado::shape {

/// The rows of the outermost shape. `for_editing`: a host is going to change rows, so that the session is
/// told to find out where they come from. A child that is asked for row by row is read from the session
/// whenever one of its chapters is opened: the session has to be there as long as the rows are. Raises
/// -2147217900 for names that are not there and whatever the data source reports.
std::unique_ptr<Rows> composed(Session& session, const Shape& shape, std::int32_t timeout_seconds,
                               bool for_editing);

}  // namespace quarno::ado::shape
