// A column of a table that is to be made.
#pragma once

#include <string>

namespace quarno::desktop {

struct NewColumn {
  std::string name;
  std::string declaration;  // as CREATE TABLE has it: "VARCHAR(20)", "DOUBLE"
  bool not_null = false;
};

}  // namespace quarno::desktop
