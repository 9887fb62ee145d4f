// Saved queries of the old file in the new one: views where the engine can have them, procedures otherwise.
#pragma once

#include <functional>
#include <string>
#include <vector>

#include "ado/provider.h"
#include "providers/desktop/access/database.h"

namespace quarno::desktop::convert {

struct CarriedQueries {
  std::uint64_t views = 0;
  std::uint64_t procedures = 0;
};

/// `note` is told what did not become what it was.
CarriedQueries carry_queries(ado::Session& session, const std::vector<access::Query>& queries,
                             const std::function<void(std::string)>& note);

}  // namespace quarno::desktop::convert
