// What tests of rows that are written share: two connections, and the rows of the recordset that is handed
// out.
#pragma once

#include <string>
#include <utility>
#include <vector>

#include "ado/Connection.h"
#include "ado/Fields.h"
#include "ado/Recordset.h"
#include "ado/ado_error.h"
#include "engines/engines.h"
#include "support/outcome.h"

namespace quarno::test {

class WriteTest : public EngineTest {
 protected:
  void SetUp() override {
    EngineTest::SetUp();
    connection = data ? data->GetConnection() : nullptr;
  }
  Ptr<ado::Connection> other_connection() {
    const auto made = reaching();
    EXPECT_TRUE(made->AccessQuery("SELECT 1")) << made->Err_Description();
    return made->GetConnection();
  }
  Ptr<ado::Recordset> opened(const std::string& statement) {
    auto made = make<ado::Recordset>();
    made->set_CursorLocation(ado::adUseClient);
    made->Open(statement, Variant(connection), ado::adOpenStatic, ado::adLockOptimistic);
    return made;
  }
  std::string count(const std::string& rest) {
    return shown(opened("SELECT count(*) FROM " + rest)->value(0));
  }
  /// The same as another connection sees it.
  std::string seen(const std::string& rest) {
    if (!other) other = reaching();
    EXPECT_TRUE(other->AccessQuery("SELECT count(*) FROM " + rest)) << other->Err_Description();
    return shown(other->GetPoundPos(0));
  }
  using Values = std::vector<std::pair<const char*, Variant>>;
  void set(const Values& values) {
    for (const auto& [name, value] : values) data->SetPound(name, value);
  }
  bool add(const Values& values) {
    data->AddNew();
    set(values);
    return data->Save();
  }
  void expect_added(const Values& values) { ASSERT_TRUE(add(values)) << data->Err_Description(); }
  void expect_saved() { ASSERT_TRUE(data->Save()) << data->Err_Description(); }
  void find(int id) {
    data->MoveFirst();
    ASSERT_TRUE(data->Find("ID = " + std::to_string(id), 1)) << id;
  }
  ado::Recordset& rows() { return *data->GetRecordSet(); }
  int send() {
    return error_of([&] { return rows().UpdateBatch(), 0; });
  }
  std::int32_t in_group(std::int32_t group) {
    rows().set_Filter(group);
    return rows().RecordCount();
  }

  Ptr<ado::Connection> connection;
  Ptr<CData> other;
};

}  // namespace quarno::test
