#include "ado/connection_string.h"

#include <gtest/gtest.h>

#include "ado/ado_error.h"
#include "support/outcome.h"

namespace quarno::ado {
namespace {

TEST(ConnectionString, ReadsWordsAndQuotes) {
  struct Row {
    const char* text;
    const char* name;
    const char* value;  // null: the word is not there
  };
  const Row rows[] = {
      {"Provider=X;Data Source=a b ;", "data source", "a b"},
      {" User ID = sa ;; Password= ", "Password", ""},
      {"A=1;a=2", "A", "2"},
      {"A='x;y''z';B=2", "A", "x;y'z"},
      {"A=\"say \"\"hi\"\";\"", "A", "say \"hi\";"},
      {"DRIVER={My}}Driver};X=1", "DRIVER", "My}Driver"},
      {"a==b=c=d", "a=b", "c=d"},
      {"Extended Properties=\"dBASE III;\"", "Extended Properties", "dBASE III;"},
      {"A=1", "B", nullptr},
      {"", "A", nullptr},
  };
  for (const Row& row : rows) {
    SCOPED_TRACE(row.text);
    const auto value = ConnectionString::parse(row.text).find(row.name);
    EXPECT_EQ(value.value_or("<none>"), row.value != nullptr ? row.value : "<none>");
  }
}

TEST(ConnectionString, RefusesWhatIsNoList) {
  for (const char* text : {"word", "A=1;word;B=2", "A='open", "A={open", "A='x'y", "="}) {
    const bool lone_sign = std::string_view(text) == "=";
    EXPECT_EQ(test::error_of([&] { return ConnectionString::parse(text).value_or("x", ""); }),
              lone_sign ? 0 : kUnspecified)
        << text;
  }
}

}  // namespace
}  // namespace quarno::ado
