// A Shell for tests that records what it was asked: "open FILE in FOLDER".
#pragma once

#include <string>
#include <vector>

#include "platform/shell.h"

namespace quarno::platform::fake {

class RecordingShell : public Shell {
 public:
  void open(const std::string& file, const std::string& working_folder) override {
    calls.push_back("open " + file + " in " + working_folder);
  }
  void print(const std::string& file, const std::string& working_folder) override {
    calls.push_back("print " + file + " in " + working_folder);
  }

  std::vector<std::string> calls;
};

}  // namespace quarno::platform::fake
