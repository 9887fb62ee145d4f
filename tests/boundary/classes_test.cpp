// What holds for all classes: their tables, that nothing of them stays behind, and that objects in several
// threads neither see each other nor go on another thread. The thread sanitizer build looks for the races
// that pass unnoticed here.
#include "boundary/classes.h"

#include <gtest/gtest.h>

#include <set>
#include <string>
#include <thread>
#include <vector>

#include "automation/member.h"
#include "common/error.h"
#include "common/text.h"
#include "domain/Corvex.h"
#include "support/outcome.h"
#include "support/temp_folder.h"

namespace quarno::boundary {
namespace {

using automation::Member;
using DefaultKind = automation::Default::Kind;

// Whether a default of that kind can stand for a parameter of that type.
bool default_fits(DefaultKind kind, std::string_view type) {
  switch (kind) {
    case DefaultKind::required: return true;
    case DefaultKind::text: return type == "text" || type == "variant";
    case DefaultKind::boolean: return type == "bool" || type == "variant";
    case DefaultKind::missing: return type == "variant";
    case DefaultKind::number: return type != "text" && type != "bool" && type != "object";
  }
  return false;
}

void expect_consistent(const Member& member) {
  EXPECT_TRUE(member.summary.size() > 4 && member.summary.ends_with('.')) << member.summary;
  std::set<std::string> names;
  bool optional = false;
  for (std::size_t i = 0; i < member.parameter_count; ++i) {
    const automation::Parameter& parameter = member.parameters[i];
    SCOPED_TRACE(parameter.name);
    EXPECT_TRUE(names.insert(text::lower_ascii(parameter.name)).second);
    EXPECT_TRUE(default_fits(parameter.fallback.kind, parameter.type_name)) << parameter.type_name;
    const bool required = parameter.fallback.kind == DefaultKind::required;
    EXPECT_FALSE(optional && required) << "stands behind an optional one";
    optional = !required;
  }
}

TEST(Classes, EveryMemberTableIsConsistent) {
  std::set<std::string> class_names;
  for (const ClassEntry& entry : classes()) {
    SCOPED_TRACE(entry.name);
    EXPECT_TRUE(class_names.insert(text::lower_ascii(entry.name)).second);
    const auto object = entry.creatable ? create(entry.name) : Ptr<automation::Object>();
    EXPECT_EQ(object ? object->class_name() : entry.name, entry.name);
    std::set<std::string> names;
    for (const Member& member : entry.members()) {
      SCOPED_TRACE(member.name);
      const auto id = static_cast<automation::MemberId>(names.size());
      EXPECT_TRUE(names.insert(text::lower_ascii(member.name)).second);
      expect_consistent(member);
      EXPECT_EQ(object ? object->find(text::lower_ascii(member.name)) : id, id);
    }
    EXPECT_FALSE(names.empty());
  }
}

TEST(Classes, AreFoundBareOrPrefixedInAnyCase) {
  for (const char* name : {"CORVEX", "quarnofwk.Corvex"}) EXPECT_EQ(create(name)->class_name(), "Corvex");
  for (const char* name : {"", "Corve", "Other.Corvex", "QuarnoFwk.", "QuarnoFwk.QuarnoFwk.Corvex"})
    EXPECT_EQ(test::error_of([&] { return create(name); }), 429) << name;
}

// One use of each class that can be created; true when it did what it is for.
bool used(automation::Object& object, const test::TempFolder& folder) {
  using automation::object_of;
  const auto call = [](automation::Object& of, std::string_view name, std::vector<Variant> arguments = {}) {
    return automation::invoke(of, name, automation::Access::call, arguments);
  };
  const std::string_view name = object.class_name();
  if (name == "CData") {
    call(object, "SetMessages", {false});
    call(object, "SetDBType", {2});
    call(object, "SetDatabase", {folder / "a.db"});
    if (call(object, "Selection", {"", "", "", "SELECT 1 AS A"}) != Variant(true)) return false;
    const auto fields = object_of(get_property(*object_of(call(object, "GetRecordSet")), "Fields"));
    call(object, "GetErrObj");
    return get_property(*object_of(call(*fields, "Item", {"A"})), "Value") == Variant(std::int32_t{1});
  }
  if (name == "CSuperLog") {
    put_property(object, "fileName", folder / "a.log");
    return call(object, "WriteLog", {"line"}) == Variant(true);
  }
  if (name == "CFileReader")
    return call(object, "OpenFile", {folder / "in.csv"}) == Variant(true) &&
           call(object, "ReadLine") == Variant(true);
  if (name == "CParam") {
    put_property(object, "ParamFile", folder / "in.csv");
    return call(object, "GetIniString", {"none", ""}) == Variant(false);
  }
  if (name == "CCrypt") return !call(object, "Crypt", {"text"}).is_empty();
  if (name == "Corvex")
    return !call(object, "ScriviSarvia", {folder / "out", "P", "D", 1, 2, 3, "VAL", 100, 0, 0.5, 1})
                .is_empty();
  if (name == "CPing") return call(object, "Ping", {"no address"}) == Variant(false);
  if (name == "CSysUtils") return call(object, "StartDoc", {folder / "none"}) == Variant(std::int32_t{0});
  if (name == "Connection") {
    call(object, "Open", {"Provider=Microsoft.Jet.OLEDB.4.0;Data Source=" + (folder / "a.db")});
    return get_property(*object_of(call(object, "Execute", {"SELECT 1"})), "State") ==
           Variant(std::int32_t{1});
  }
  if (name == "Recordset") {
    put_property(object, "Source", "SELECT 1");
    return get_property(*object_of(get_property(object, "Fields")), "Count") == Variant(std::int32_t{0});
  }
  put_property(object, "m_Description", std::string(100, 'x'));
  return true;
}

TEST(Classes, TenThousandOfEachLeaveNothing) {
  const test::TempFolder folder;
  folder.put("a.db", "");
  folder.put("in.csv", "a\tb\r\n");
  for (const ClassEntry& entry : classes()) {
    SCOPED_TRACE(entry.name);
    for (int i = 0; entry.creatable && i < 10'000; ++i) ASSERT_TRUE(used(*create(entry.name), folder));
  }
  // What stays behind is found by the leak sanitizer at the end.
}

using automation::Access;

Variant call(automation::Object& object, std::string_view name, std::vector<Variant> arguments = {}) {
  return automation::invoke(object, name, Access::call, arguments);
}

void log_read_and_ask(const std::string& folder, int worker) {
  const std::string path = folder + "/" + std::to_string(worker) + ".log";
  for (int round = 0; round < 50; ++round) {
    const auto log = boundary::create("CSuperLog");
    put_property(*log, "fileName", path);
    for (int line = 0; line < 5; ++line)
      call(*log, "WriteLog", {std::to_string(worker) + ";" + std::to_string(line)});
    // The record of a failure is this thread's alone.
    current_error().source = std::to_string(worker);
    call(*log, "WriteLog", {""});
    EXPECT_EQ(current_error().source, std::to_string(worker));

    const auto reader = boundary::create("CFileReader");
    call(*reader, "SetDataMode", {2});
    ASSERT_EQ(call(*reader, "OpenFile", {path}), Variant(true));
    const auto corvex = boundary::create("Corvex");
    for (int line = 0; call(*reader, "ReadLine") == Variant(true); ++line) {
      EXPECT_EQ(call(*reader, "GetColumnValue", {0}), Variant(std::to_string(worker)));
      EXPECT_EQ(call(*corvex, "StringToDouble", {call(*reader, "GetColumnValue", {1})}),
                Variant(double(line)));
    }
    call(*corvex, "CorvexLog", {"event", round % 14, folder});
    call(*corvex, "ScriviSarvia", {folder + "/export.txt", "P", "D", 1, 2, 3, "VAL", 100, worker, 0.5, 1});
  }
}

TEST(Threads, EachWorksWithObjectsOfItsOwn) {
  const test::TempFolder folder;
  std::vector<std::thread> threads;
  for (int worker = 1; worker <= 3; ++worker) threads.emplace_back(log_read_and_ask, folder.path(), worker);
  for (auto& thread : threads) thread.join();
  // Appended lines stay whole, whoever wrote them.
  const std::string all = test::bytes_of(folder / "export.txt");
  std::size_t count = 0;
  for (const std::string_view line : text::split(std::string_view(all).substr(0, all.size() - 2), "\r\n")) {
    EXPECT_TRUE(line.starts_with("P|D|1|2|3|S|100|") && line.ends_with("|.5|1")) << line;
    ++count;
  }
  EXPECT_EQ(count, 150u);
}

struct Watched : Corvex {
  explicit Watched(std::thread::id& destroyed_on) : destroyed_on_(destroyed_on) {}
  ~Watched() override { destroyed_on_ = std::this_thread::get_id(); }
  std::thread::id& destroyed_on_;
};

const automation::Object* watched(std::thread::id& destroyed_on) {
  auto* const object = new Watched(destroyed_on);
  object->retain();
  return object;
}

TEST(Threads, AnObjectReleasedElsewhereGoesOnItsOwnThread) {
  const automation::Object* left = nullptr;
  std::thread::id own, drained, at_end, after_end;
  std::thread([&] {
    own = std::this_thread::get_id();
    left = watched(after_end);
    const auto release_elsewhere = [](const automation::Object* object) {
      std::thread([object] { object->release_from_any_thread(); }).join();
    };
    release_elsewhere(watched(drained));
    EXPECT_EQ(drained, std::thread::id());
    automation::OwnerThread::current()->drain();
    EXPECT_EQ(drained, own);
    release_elsewhere(watched(at_end));
    EXPECT_EQ(at_end, std::thread::id());
  }).join();
  EXPECT_EQ(at_end, own);
  left->release_from_any_thread();  // nobody is left to drain
  EXPECT_EQ(after_end, std::this_thread::get_id());
}

}  // namespace
}  // namespace quarno::boundary
