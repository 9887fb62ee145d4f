#include "quarnofwk/quarnofwk.hpp"

#include <gtest/gtest.h>

#include <functional>

namespace {

using quarnofwk::by_ref;
using quarnofwk::create;
using quarnofwk::Value;

TEST(LateBoundCpp, PropertiesMethodsAndReferences) {
  const quarnofwk::Object log = create("CSuperLog");
  log.set("fileName", std::string("a\0b", 3));
  EXPECT_EQ(log.get("filename").text(), std::string_view("a\0b", 3));
  EXPECT_FALSE(log.call("OpenLog").boolean());
  EXPECT_EQ(std::string(quarnofwk::current_error().what()).find("Errore di apertura"), 0u);
  const quarnofwk::Object corvex = create("quarnofwk.corvex");
  Value text("  2,50 ");
  EXPECT_EQ(corvex.call("StringToDouble", by_ref(text)).number(), 2.5);
  EXPECT_EQ(text.text(), "2,50");
  const quarnofwk::Member trimmed = corvex.find("STRINGtoDouble");
  EXPECT_EQ(create("Corvex").call(trimmed, by_ref(text = Value(" 3 "))).number(), 3);
  EXPECT_EQ(text.text(), "3");
  EXPECT_EQ(corvex.call("UltimaMezzora", quarnofwk::Date{45296.4799}).text(), "11.30");
  EXPECT_TRUE(corvex.call("DatoMese", "T", "MAX", "S", "M", "P", "V", "C", 1, Value::null()).is_empty());
}

TEST(LateBoundCpp, FailuresAreExceptions) {
  const quarnofwk::Object log = create("CSuperLog");
  // clang-format off
  const std::pair<int, std::function<void()>> rows[] = {
      {429, [] { create("CNothing"); }}, {438, [&] { log.find("Nothing"); }}, {6, [&] { log.set("OpenMode", 1e10); }},
      {450, [&] { log.call(log.find("WriteLog")); }}, {91, [] { quarnofwk::Object().call("WriteLog"); }},
      {449, [&] { log.call("WriteLog", Value::missing()); }},
  };
  // clang-format on
  for (const auto& [number, call] : rows) {
    try {
      call();
      ADD_FAILURE() << "no error " << number;
    } catch (const quarnofwk::Error& error) {
      EXPECT_TRUE(error.number == number && error.source == "CorvexFwk" && *error.what() != 0) << number;
    }
  }
}

TEST(LateBoundCpp, ValuesAndObjectsOwnWhatTheyHold) {
  quarnofwk::Object first = create("Corvex");
  Value held(first);
  {
    const quarnofwk::Object second = first;
    first = create("CSuperLog");
    EXPECT_EQ(held.object().raw(), second.raw());
  }
  EXPECT_TRUE(held.object().call("Valido", "00").boolean());  // kept alive by the value alone
  Value moved = std::move(held);
  EXPECT_EQ(moved.type(), QF_OBJECT);
  moved = Value("text");
  EXPECT_EQ(moved.text(), "text");
  EXPECT_FALSE(moved.object() || moved.boolean());
  EXPECT_EQ(Value(std::int64_t{1} << 40).number(), 1099511627776.0);
  EXPECT_EQ(Value(true).number(), -1);
  EXPECT_TRUE(Value::null().is_null());
  Value exact;
  exact.raw()->type = QF_DECIMAL;
  exact.raw()->scale = 1;
  exact.raw()->as.low = 15;
  EXPECT_EQ(exact.number(), 1.5);
}

}  // namespace
