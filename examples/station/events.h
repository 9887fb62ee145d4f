// The day's event files in the work folder, through the class Corvex.
#pragma once

#include <filesystem>
#include <quarnofwk/quarnofwk.hpp>
#include <stdexcept>
#include <string>

namespace station {

class Events {
 public:
  /// CorvexLog tells nobody when it cannot write, so a missing folder is refused here.
  explicit Events(const std::string& work_folder) : folder_(work_folder) {
    if (!std::filesystem::is_directory(folder_))
      throw std::runtime_error(folder_ + ": no such folder for event files");
  }

  void log(const std::string& event) const { corvex_.call("CorvexLog", event, 0, folder_); }
  void error(const std::string& event) const { corvex_.call("CorvexLog", event, 1, folder_); }

 private:
  quarnofwk::Object corvex_ = quarnofwk::create("Corvex");
  std::string folder_;
};

}  // namespace station
