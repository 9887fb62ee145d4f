#include "ado/cursor/column_store.h"

#include <gtest/gtest.h>

#include <limits>
#include <random>

namespace quarno::ado {
namespace {

TEST(ColumnData, KeepsEveryTypeAcrossChunksWithNulls) {
  struct Row {
    DataType type;
    Variant value;
  };
  const Row rows[] = {
      {DataType::boolean, true},
      {DataType::unsigned_tiny_int, std::uint8_t{200}},
      {DataType::small_int, std::int16_t{-7}},
      {DataType::integer, std::int32_t{-70000}},
      {DataType::big_int, std::numeric_limits<std::int64_t>::min()},
      {DataType::single, 1.5F},
      {DataType::real, 0.1},
      {DataType::currency, Currency{std::numeric_limits<std::int64_t>::max()}},
      {DataType::numeric, Decimal(true, 0xFFFFFFFF, ~std::uint64_t{0}, 28)},
      {DataType::date, Date{-1.25}},
      {DataType::var_wchar, std::string("perché 🙂")},
      {DataType::long_var_binary, Variant::Bytes{0, 255, 0}},
  };
  for (const Row& row : rows) {
    ColumnData column(row.type);
    for (int i = 0; i < 10'000; ++i) i % 3 == 0 ? column.append_null() : column.append(row.value);
    for (const std::size_t at : {0u, 1u, 4095u, 4096u, 4097u, 9998u, 9999u}) {
      EXPECT_EQ(column.value(at), at % 3 == 0 ? Variant::null() : row.value)
          << static_cast<int>(row.type) << " " << at;
      EXPECT_EQ(column.is_null(at), at % 3 == 0);
    }
  }
}

TEST(ColumnData, KeepsWhatIsNotOfItsTypeAsItCame) {
  ColumnData whole(DataType::integer);
  whole.append_integer(5);
  whole.append_integer(5'000'000'000);
  whole.append_text("n/a");
  whole.append_real(1.5);
  EXPECT_EQ(whole.value(0), Variant(std::int32_t{5}));
  EXPECT_EQ(whole.value(1), Variant(std::int64_t{5'000'000'000}));
  EXPECT_EQ(whole.value(2), Variant("n/a"));
  EXPECT_EQ(whole.value(3), Variant(1.5));
  EXPECT_FALSE(whole.is_null(2));

  ColumnData real(DataType::real);
  real.append_integer((std::int64_t{1} << 53) + 1);  // a double would change it
  EXPECT_EQ(real.value(0), Variant((std::int64_t{1} << 53) + 1));
}

TEST(ColumnData, TextsOfRandomLengthComeBack) {
  std::mt19937 random(7);
  std::vector<std::string> texts;
  ColumnData column(DataType::var_wchar);
  for (int i = 0; i < 9000; ++i) {
    texts.emplace_back(random() % 40, static_cast<char>('a' + i % 26));
    column.append_text(texts.back());
  }
  for (std::size_t i = 0; i < texts.size(); ++i) ASSERT_EQ(column.text(i), texts[i]) << i;
}

}  // namespace
}  // namespace quarno::ado
