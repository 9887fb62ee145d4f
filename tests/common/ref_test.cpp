#include "common/ref.h"

#include <gtest/gtest.h>

#include <string>

namespace quarno {
namespace {

std::string read_and_set(Ref<std::string> argument) {
  const std::string before = argument.is_absent() ? "(absent)" : argument.value();
  argument.set("changed");
  return before + ">" + argument.value();
}

TEST(Ref, WritesToVariablesOnly) {
  std::string variable = "mine";
  EXPECT_EQ(read_and_set(variable), "mine>changed");
  EXPECT_EQ(variable, "changed");
  EXPECT_EQ(read_and_set("literal"), "literal>changed");
  EXPECT_EQ(read_and_set(std::string("temporary")), "temporary>changed");
  EXPECT_EQ(read_and_set({}), "(absent)>");
}

}  // namespace
}  // namespace quarno
