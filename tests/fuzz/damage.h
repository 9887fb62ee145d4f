// Damages files of a known structure on purpose and hands them to their reader, over and over.
#pragma once

#include <cstddef>
#include <functional>
#include <random>
#include <string>
#include <vector>

namespace quarno::test {

/// What a kind of file needs for it.
struct DamagePlan {
  std::vector<std::string> files;  // undamaged ones, as bytes
  /// What is zeroed, swapped, copied and cut off as one.
  std::function<std::size_t(const std::string& file)> block_size;
  /// Reads all there is; false when the file was refused. Anything thrown is a failure.
  std::function<bool(std::string file)> read;
};

/// Plans by the name that the program is started with; each takes the folder of the undamaged files.
DamagePlan access_plan(const std::string& folder);
DamagePlan dbase_plan(const std::string& folder);

/// Up to four kinds of damage: flipped bits, changed bytes, overwritten numbers of two and four bytes, blocks
/// zeroed, swapped or copied, the end cut off.
std::string damaged(std::string file, std::size_t block_size, std::mt19937& random);

}  // namespace quarno::test
