// The session of a data source that also takes SHAPE commands. All else goes on to the data source.
#pragma once

#include <memory>

#include "ado/provider.h"

namespace quarno::ado::shape {

/// A session that takes them already is given back as it is.
std::unique_ptr<Session> shaping_session(std::unique_ptr<Session> data);

}  // namespace quarno::ado::shape
