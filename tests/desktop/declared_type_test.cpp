#include "providers/desktop/declared_type.h"

#include <gtest/gtest.h>

namespace quarno::desktop {
namespace {

TEST(DeclaredType, ReadsNamesAndSizes) {
  struct Row {
    const char* declaration;
    int type;
    std::int64_t size;
    int precision = 255;
    int scale = 255;
  };
  const Row rows[] = {
      {"INTEGER", 3, 4, 10},
      {"int", 3, 4, 10},
      {"BIGINT", 20, 8, 19},
      {"REAL", 5, 8, 15},
      {"Single", 4, 4, 7},
      {"YESNO", 11, 2},
      {"CURRENCY", 6, 8, 19},
      {"DECIMAL(18, 4)", 131, 19, 18, 4},
      {"NUMERIC(5)", 131, 19, 5, 0},
      {"NUMERIC", 5, 8, 15},
      {"DECIMAL(40,2)", 5, 8, 15},
      {"DATETIME", 7, 8},
      {"VARCHAR(10)", 202, 10},
      {"TEXT(50)", 202, 50},
      {"TEXT", 203, 536870910},
      {"MEMO", 203, 536870910},
      {"BLOB(16)", 204, 16},
      {"BLOB", 205, 1073741823},
      {"GUIDTEXT", 72, 16},
      {"SOMETHING ELSE", 202, 255},
      {"VARCHAR(", 202, 255},
      {"VARCHAR(-3)", 202, 255},
      {"", 202, 255},
  };
  for (const Row& row : rows) {
    SCOPED_TRACE(row.declaration);
    const DeclaredType type = declared_type(row.declaration);
    EXPECT_EQ(static_cast<int>(type.type), row.type);
    EXPECT_EQ(type.defined_size, row.size);
    EXPECT_EQ(type.precision, row.precision);
    EXPECT_EQ(type.scale, row.scale);
  }
}

}  // namespace
}  // namespace quarno::desktop
