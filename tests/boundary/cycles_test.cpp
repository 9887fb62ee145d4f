// Created, used and let go, ten thousand times each: what stays behind is found by the leak sanitizer at the
// end.
#include <gtest/gtest.h>

#include "boundary/classes.h"
#include "support/temp_folder.h"

namespace quarno {
namespace {

using automation::Access;

Variant call(automation::Object& object, std::string_view name, std::vector<Variant> arguments = {}) {
  return automation::invoke(object, name, Access::call, arguments);
}

void use(automation::Object& object, const test::TempFolder& folder) {
  const std::string_view name = object.class_name();
  if (name == "CData") {
    call(object, "SetMessages", {false});
    call(object, "SetDBType", {2});
    call(object, "SetDatabase", {folder / "a.db"});
    ASSERT_EQ(call(object, "Selection", {"", "", "", "SELECT 1 AS A"}), Variant(true));
    const auto rows = automation::object_of(call(object, "GetRecordSet"));
    const auto fields = automation::object_of(get_property(*rows, "Fields"));
    const auto field = automation::object_of(call(*fields, "Item", {"A"}));
    ASSERT_EQ(get_property(*field, "Value"), Variant(std::int32_t{1}));
    call(object, "GetErrObj");
  } else if (name == "CSuperLog") {
    put_property(object, "fileName", folder / "a.log");
    ASSERT_EQ(call(object, "WriteLog", {"line"}), Variant(true));
  } else if (name == "CFileReader") {
    ASSERT_EQ(call(object, "OpenFile", {folder / "in.csv"}), Variant(true));
    ASSERT_EQ(call(object, "ReadLine"), Variant(true));
  } else if (name == "Corvex") {
    call(object, "ScriviSarvia", {folder / "out.txt", "P", "D", 1, 2, 3, "VAL", 100, 0, 0.5, 1});
  } else if (name == "CPing") {
    ASSERT_EQ(call(object, "Ping", {"no address"}), Variant(false));
  } else if (name == "Connection") {
    call(object, "Open", {"Provider=Microsoft.Jet.OLEDB.4.0;Data Source=" + (folder / "a.db")});
    ASSERT_EQ(get_property(*automation::object_of(call(object, "Execute", {"SELECT 1"})), "State"),
              Variant(std::int32_t{1}));
  } else if (name == "Recordset") {
    put_property(object, "Source", "SELECT 1");
    ASSERT_EQ(get_property(*automation::object_of(get_property(object, "Fields")), "Count"),
              Variant(std::int32_t{0}));
  } else {
    put_property(object, "m_Description", std::string(100, 'x'));
  }
}

TEST(Cycles, TenThousandOfEveryClassLeaveNothing) {
  const test::TempFolder folder;
  folder.put("a.db", "");
  folder.put("in.csv", "a\tb\r\n");
  for (const boundary::ClassEntry& entry : boundary::classes()) {
    if (!entry.creatable) continue;
    SCOPED_TRACE(entry.name);
    for (int i = 0; i < 10'000; ++i) use(*boundary::create(entry.name), folder);
  }
}

}  // namespace
}  // namespace quarno
