// The new file while it is made: "NEW.db.part" beside "NEW.db", held by a lock. It gets its own name when it
// is whole, and never over a file that is there. One that a process left behind when it ended is taken over;
// one that is in use, or that something else made, is left alone.
#pragma once

#include <cstdint>
#include <memory>
#include <string>

#include "platform/data_files.h"

namespace quarno::desktop::convert {

/// By this number in its header the engine's file is known as one that was made here.
inline constexpr std::uint32_t kApplicationId = 0x51464357;

class PartFile {
 public:
  /// `target` in the platform's form. `source` is never taken for a part, whatever its name. Raises 58 when
  /// the target is there, 70 when the part is in use, 75 when it is no part.
  PartFile(const std::string& target, platform::DataFile& source);
  /// Removes what was not published.
  ~PartFile();
  PartFile(const PartFile&) = delete;
  PartFile& operator=(const PartFile&) = delete;

  const std::string& path() const { return path_; }
  /// Brings everything to the disk, then gives the file its name. Raises 58 when there is one meanwhile.
  void publish();

 private:
  void remove_stale(platform::DataFile& source) const;

  std::string target_;
  std::string path_;
  std::unique_ptr<platform::DataFile> file_;
  bool is_published_ = false;
};

}  // namespace quarno::desktop::convert
