// CData, as a C++ host uses it: Selection, MoveNext, GetValue by name; AddNew, SetValue by name, Save.
#include "ado/enums.h"
#include "contenders.h"
#include "data/CData.h"
#include "sample.h"

namespace quarno::bench {
namespace {

Ptr<CData> reader(std::int16_t kind, Cursor cursor) {
  auto data = make<CData>();
  data->SetMessages(false);
  data->SetDBType(kind);
  if (cursor == Cursor::forward) {
    data->SetCursorLocation(ado::adUseServer);
    data->SetCursor(ado::adOpenForwardOnly);
    data->SetLock(ado::adLockReadOnly);
  }
  return data;
}

Ptr<CData> file_reader(const std::string& path, Cursor cursor) {
  auto data = reader(data::Conn_Jet, cursor);
  data->SetDatabase(path);
  return data;
}

void select(CData& data, const std::string& statement) {
  require(data.Selection({}, {}, {}, statement), "Selection (" + data.Err_Description() + ")");
}

template <class T>
const T& as(const Variant& value) {
  const T* const own = value.get_if<T>();
  require(own != nullptr, "reading a value of its type");
  return *own;
}

Checksum read_all(CData& data, const std::string& statement) {
  select(data, statement);
  Checksum sum;
  do {
    sum.whole(as<std::int32_t>(data.GetValue(kFields[0])));
    sum.text(as<std::string>(data.GetValue(kFields[1])));
    sum.text(as<std::string>(data.GetValue(kFields[2])));
    sum.moment(as<Date>(data.GetValue(kFields[3])).days);
    sum.text(as<std::string>(data.GetValue(kFields[4])));
    sum.real(as<double>(data.GetValue(kFields[5])));
    sum.text(as<std::string>(data.GetValue(kFields[6])));
    sum.whole(as<std::int32_t>(data.GetValue(kFields[7])));
  } while (data.MoveNext());
  return sum;
}

const Variant kNames[] = {kFields[0], kFields[1], kFields[2], kFields[3],
                          kFields[4], kFields[5], kFields[6], kFields[7]};

void write_all(CData& data, const std::string& table, const std::vector<Row>& rows, Saving saving) {
  data.SetLock(saving == Saving::batch ? ado::adLockBatchOptimistic : ado::adLockOptimistic);
  data.set_Err_Activate(true);
  select(data, select_all(table) + " WHERE 1 = 0");
  // A batch brings its own transaction.
  if (saving == Saving::each_row) data.TransBegin();
  for (const Row& row : rows) {
    data.AddNew();
    data.SetValue(kNames[0], row.id);
    data.SetValue(kNames[1], row.station);
    data.SetValue(kNames[2], row.code);
    data.SetValue(kNames[3], row.day);
    data.SetValue(kNames[4], row.hour);
    data.SetValue(kNames[5], row.value);
    data.SetValue(kNames[6], row.status);
    data.SetValue(kNames[7], row.state);
    data.Save();
  }
  saving == Saving::batch ? data.GetRecordSet()->UpdateBatch() : data.TransCommit();
}

}  // namespace

void write_odbc_cdata(const OdbcTable& to, const std::vector<Row>& rows, Saving saving) {
  const auto data = reader(data::Conn_ODBC, Cursor::client);
  data->SetServer(to.source);
  write_all(*data, to.table, rows, saving);
}

void write_file_cdata(const std::string& path, const std::vector<Row>& rows, Saving saving) {
  write_all(*file_reader(path, Cursor::client), "m", rows, saving);
}

Checksum read_odbc_cdata(const OdbcTable& from, Cursor cursor) {
  const auto data = reader(data::Conn_ODBC, cursor);
  data->SetServer(from.source);
  return read_all(*data, select_all(from.table));
}

Checksum read_file_cdata(const std::string& path, Cursor cursor) {
  return read_all(*file_reader(path, cursor), select_all("m"));
}

Checksum read_narrow_cdata(const std::string& path, Cursor cursor) {
  const auto data = file_reader(path, cursor);
  select(*data, "SELECT id, value, code FROM n");
  Checksum sum;
  do {
    sum.whole(as<std::int32_t>(data->GetValue(kFields[0])));
    sum.real(as<double>(data->GetValue(kFields[5])));
    sum.text(as<std::string>(data->GetValue(kFields[2])));
  } while (data->MoveNext());
  return sum;
}

double get_value_ns(const std::string& path, const std::string& field) {
  const auto data = file_reader(path, Cursor::client);
  select(*data, select_all("m"));
  constexpr int kCalls = 2'000'000;
  std::vector<double> seconds;
  for (int round = 0; round < 5; ++round) {
    seconds.push_back(seconds_of([&] {
      for (int i = 0; i < kCalls; ++i) require(!data->GetValue(field).is_empty(), "GetValue");
    }));
  }
  return median(seconds) / kCalls * 1e9;
}

}  // namespace quarno::bench
