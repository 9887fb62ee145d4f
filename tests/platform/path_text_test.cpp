#include "platform/path_text.h"

#include <gtest/gtest.h>

#include <tuple>

namespace quarno::platform {
namespace {

TEST(PathText, HostPathsBecomeNative) {
  const auto drive_root = [](char letter) {
    return letter == 'C' ? "/" : "/drive_" + std::string(1, letter) + "//";
  };
  // clang-format off
  const struct { const char* host; const char* native; } rows[] = {
      {"\\QuarnoLog.txt", "/QuarnoLog.txt"}, {"a\\b/c.txt", "a/b/c.txt"}, {"C:\\data\\x", "/data/x"},
      {"c:/x", "/x"}, {"D:\\x", "/drive_D/x"}, {"z:\\", "/drive_Z/"}, {"C:x", "x"}, {"C:", ""},
      {"\\\\server\\share", "//server/share"}, {"~\\$HOME\\%TEMP%", "~/$HOME/%TEMP%"}, {"1:\\x", "1:/x"},
      {"è:\\x", "è:/x"}, {"ab:c", "ab:c"}, {"", ""},
  };
  // clang-format on
  for (const auto& row : rows) EXPECT_EQ(native_path(row.host, drive_root), row.native);
}

TEST(PathText, PatternsIgnoreCase) {
  // clang-format off
  const struct { const char* name; const char* pattern; bool matches; } rows[] = {
      {"DATA.DBF", "*.dbf", true}, {"data.dbf", "*.DBF", true}, {"data.dbt", "*.dbf", false},
      {"readme", "*.*", true}, {"readme", "*.txt", false}, {"a", "?", true}, {"", "?", false},
      {"ab", "?", false}, {"", "*", true}, {"", "", true}, {"a", "", false}, {"àb.x", "À?.X", true},
      {"è", "?", true}, {"èè", "*?", true}, {"€uro", "*uro", true}, {"abcabd", "*ab?", true},
      {"abcabd", "*abc", false}, {"aaaaaaab", "a*a*a*b", true}, {"aaaaaaac", "a*a*a*b", false},
      {"a*b", "a*b", true}, {"x.tar.gz", "x.*", true}, {"x", "x**", true}, {"x[1].txt", "x[1].*", true},
      {"a\xFF" "b", "a?B", true},
  };
  // clang-format on
  for (const auto& row : rows)
    EXPECT_EQ(matches_pattern(row.name, row.pattern), row.matches) << row.name << " " << row.pattern;
}

TEST(PathText, SplitsFolderAndName) {
  const std::tuple<const char*, const char*, const char*> rows[] = {
      {"a/b", "a", "b"}, {"b", "", "b"}, {"/b", "/", "b"}, {"/", "/", ""}, {"a/b/", "a/b", ""}, {"", "", ""}};
  for (const auto& [path, folder, name] : rows) {
    EXPECT_EQ(split_path(path).folder, folder) << path;
    EXPECT_EQ(split_path(path).name, name) << path;
  }
}

}  // namespace
}  // namespace quarno::platform
