// A whole Access file as a database file that can be changed. The old file is only read; the new one appears
// under its name whole and checked, or not at all.
#pragma once

#include <cstdint>
#include <functional>
#include <string>
#include <string_view>
#include <vector>

#include "providers/desktop/access/database.h"

namespace quarno::desktop::convert {

struct Request {
  std::string source;  // paths of the host
  std::string target;
  access::Options options;
};

enum class Phase { copying, checking };

struct Progress {
  Phase phase;
  std::string_view table;
  std::uint64_t rows;
  std::uint64_t total;  // as far as it is known
};
using Report = std::function<void(const Progress&)>;

struct Summary {
  std::uint64_t tables = 0;
  std::uint64_t rows = 0;
  std::uint64_t views = 0;
  std::uint64_t procedures = 0;
  std::vector<std::string> notes;  // what is not there as it was, a sentence each
};

/// Raises what is in the way, and leaves nothing behind then.
Summary convert(const Request& request, const Report& report);

}  // namespace quarno::desktop::convert
