#include "automation/automation.h"

#include <gtest/gtest.h>

#include "automation/member_table.h"
#include "common/error.h"
#include "platform/fake/fakes.h"
#include "support/outcome.h"

namespace quarno::automation {
namespace {

using test::error_of;

class Channels : public Automation<Channels> {
 public:
  static constexpr std::string_view kClassName = "Channels";
  static std::span<const Member> members();
  std::string Item(const Variant& key) { return "channel " + converted<std::string>(key); }
};

class Station : public Automation<Station> {
 public:
  static constexpr std::string_view kClassName = "Station";
  static std::span<const Member> members();

  std::string m_Name = "E1";
  std::int16_t Level() const { return level_; }
  void set_Level(std::int16_t value) { level_ = value; }
  Ptr<Channels> List() { return list_; }
  Ptr<Channels> Nothing() { return {}; }
  std::string Describe(const std::string& text, std::int16_t number, bool flag, const Variant& rest) {
    return text + "|" + std::to_string(number) + "|" + (flag ? "yes" : "no") + "|" +
           (rest.is_missing() ? "missing" : converted<std::string>(rest));
  }
  double Measure(Ref<std::string> text, Ref<std::int32_t> count, Ref<Variant> any) {
    if (text.value() == "keep") return 1;
    text.set(text.value() + "!");
    count.set(count.value() + 1);
    any.set(Variant("any"));
    if (text.value() == "fail!") throw Error(1001, "half done", "Station");
    return 2;
  }
  void Calibrate(Date, double) {}
  std::string Adopt(Ptr<Channels> channels) { return channels ? "channels" : "nothing"; }

 private:
  std::int16_t level_ = 0;
  Ptr<Channels> list_ = make<Channels>();
};

constexpr Member kChannelMembers[] = {method<&Channels::Item>("Item", {param("key")}, "A channel.")};
// clang-format off
constexpr Member kStationMembers[] = {
    property<&Station::m_Name>("m_Name", "Name."), property<&Station::Level, &Station::set_Level>("Level", "Level."),
    read_only<&Station::List>("List", "Channels."), read_only<&Station::Nothing>("Nothing", "No object."),
    constant("Conn_Jet", std::int16_t{2}, "Kind."),
    method<&Station::Describe>(
        "Get£", {param("text"), param("number", 7), param("flag", true), optional_param("rest")}, "Describes."),
    method<&Station::Measure>(
        "Measure", {param("text", "keep"), param("count", 0), optional_param("any")}, "Measures."),
    method<&Station::Calibrate>("Calibrate", {param("when"), param("value")}, "Calibrates."),
    method<&Station::Adopt>("Adopt", {param("channels")}, "Adopts."),
};
// clang-format on
std::span<const Member> Channels::members() { return kChannelMembers; }
std::span<const Member> Station::members() { return kStationMembers; }

class AutomationTest : public ::testing::Test {
 protected:
  Variant call(std::string_view name, std::vector<Variant> arguments = {}, Access access = Access::call) {
    arguments_ = std::move(arguments);
    return invoke(*station_, name, access, arguments_);
  }
  int error(std::string_view name, std::vector<Variant> arguments = {}, Access access = Access::call) {
    return error_of([&] { return call(name, std::move(arguments), access); });
  }
  Ptr<Station> station_ = make<Station>();
  std::vector<Variant> arguments_;
};

TEST_F(AutomationTest, FillsInWhatIsLeftOut) {
  const Variant missing = Variant::missing();
  // clang-format off
  const struct { std::vector<Variant> arguments; const char* result; } rows[] = {
      {{"a"}, "a|7|yes|missing"}, {{"a", 3}, "a|3|yes|missing"}, {{"a", missing, false}, "a|7|no|missing"},
      {{"a", missing, missing, 1.5}, "a|7|yes|1.5"}, {{1.5, "12", 0, Variant()}, "1.5|12|no|"},
      {{Variant(), Variant(), Variant(), ""}, "|0|no|"},
  };
  // clang-format on
  for (const auto& row : rows) EXPECT_EQ(call("Get£", row.arguments), Variant(row.result));

  // clang-format off
  const struct { const char* name; std::vector<Variant> arguments; int error; } failures[] = {
      {"Get£", {}, 450}, {"Get£", {"a", 1, true, 1, 1}, 450}, {"Get£", {missing, 1}, 449}, {"Get£", {"a", 40000}, 6},
      {"Get£", {"a", "x"}, 13}, {"Get£", {Variant::null()}, 13}, {"Get£", {Variant::Bytes{1}}, 13},
      {"Calibrate", {"yesterday", 1}, 13}, {"Calibrate", {"5/1/2024", "1.5"}, 0}, {"Level", {1}, 450},
      {"List", {1, 2}, 450}, {"Nonsense", {}, 438},
  };
  // clang-format on
  for (const auto& row : failures) {
    EXPECT_EQ(error(row.name, row.arguments), row.error);
    EXPECT_EQ(arguments_, row.arguments);  // the caller's own values stay as they are
  }
}

TEST_F(AutomationTest, WritesBackOnlyWhatChanged) {
  // An argument that the member leaves alone keeps its own type, and what is written before a failure reaches
  // the caller, with all arguments given and with some left out.
  const Variant missing = Variant::missing();
  const std::int16_t four = 4;
  // clang-format off
  const struct { std::vector<Variant> before, after; int error; } rows[] = {
      {{"a", four, 0}, {"a!", 5, "any"}, 0}, {{12}, {"12!"}, 0}, {{"keep", four, 1.5}, {"keep", four, 1.5}, 0},
      {{missing, four}, {missing, four}, 0}, {{"fail", 1, 2}, {"fail!", 2, "any"}, 1001},
      {{"fail", 1}, {"fail!", 2}, 1001},
  };
  // clang-format on
  for (const auto& row : rows) {
    EXPECT_EQ(error("Measure", row.before), row.error);
    EXPECT_EQ(arguments_, row.after);
  }
}

TEST_F(AutomationTest, PropertiesConstantsAndCollections) {
  put_property(*station_, "M_NAME", 12.5);
  EXPECT_EQ(get_property(*station_, "m_name"), Variant("12.5"));
  put_property(*station_, "Level", "3");
  EXPECT_EQ(call("Level"), Variant(std::int16_t{3}));
  EXPECT_EQ(call("conn_jet"), Variant(std::int16_t{2}));
  const std::tuple<const char*, std::vector<Variant>, int> puts[] = {
      {"Level", {"high"}, 13}, {"Level", {100000}, 6}, {"Level", {}, 450},   {"Level", {1, 2}, 450},
      {"List", {1}, 438},      {"Conn_Jet", {1}, 438}, {"Measure", {1}, 438}};
  for (const auto& [name, values, number] : puts) EXPECT_EQ(error(name, values, Access::put), number) << name;
  EXPECT_EQ(station_->Level(), 3);

  // Arguments after a property belong to the object it gives.
  EXPECT_EQ(call("List", {"NOX"}), Variant("channel NOX"));
  EXPECT_EQ(call("List", {1}, Access::get), Variant("channel 1"));
  EXPECT_EQ(call("Nothing"), Variant());
}

TEST_F(AutomationTest, ObjectsAsArguments) {
  EXPECT_EQ(call("Adopt", {call("List")}), Variant("channels"));
  EXPECT_EQ(call("aDOPT", {Variant()}), Variant("nothing"));
  EXPECT_EQ(error("Adopt", {Variant(station_)}), 13) << "an object of another class";
  EXPECT_EQ(error("Adopt", {1}), 424);
}

TEST_F(AutomationTest, ArgumentsAreReadByTheUsersLocale) {
  platform::fake::FixedLocale italian(platform::fake::FixedLocale::italian());
  const platform::ScopedPort<platform::Locale> scope(italian);
  EXPECT_EQ(call("Get£", {1.5, "2,5"}), Variant("1,5|2|yes|missing"));
}

}  // namespace
}  // namespace quarno::automation
