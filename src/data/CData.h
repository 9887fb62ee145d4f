// CData: the data-access object a host creates, one for each data source. From a database kind and a few
// settings it reaches the database when it is first needed, composes and opens queries, walks and reads the
// result, writes rows and runs commands. Failures are recorded, logged, shown when messages are on, raised
// again only when Err_Activate is on, and otherwise become false, empty or 0. Used on the thread that created
// it.
#pragma once

#include <cstdint>
#include <string>

#include "automation/automation.h"
#include "common/error.h"
#include "common/ref.h"
#include "common/variant.h"
#include "data/CError.h"
#include "data/CRecorset.h"
#include "data/bound_controls.h"

namespace quarno {

class CData : public automation::Automation<CData> {
 public:
  static constexpr std::string_view kClassName = "CData";
  static std::span<const automation::Member> members();

  CData();

  // Public variables
  std::string m_Database;
  std::string m_Tabella;
  std::string m_SelectCampi = "*";
  std::string m_SelectWhere;
  std::string m_SelectOrder;
  std::string m_SelectGroupBy;
  Ptr<automation::Object> m_Adocn;  // kept for the host, never used for opening
  std::string m_LogPath;            // takes effect at the next SetMessages
  std::string m_Filter;             // kept for the host

  // Which database
  void SetDBType(std::int16_t tipo);
  std::int16_t GetDBType() const { return kind_; }
  Variant SetServer(const std::string& Server);
  std::string GetServer() const { return worker_.settings.server; }
  Variant SetDatabase(const std::string& Database, const std::string& UID = {}, const std::string& Pwd = {},
                      const std::string& AccessDBPwd = {});
  std::string GetDatabase() const { return m_Database; }
  std::string GetDatabaseUID() const { return user_; }
  std::string GetDatabasePwd() const { return password_; }
  std::string GetDatabaseAccessPwd() const { return file_password_; }
  Variant SetDbOwner(const std::string& Owner);
  void SetProvider(const std::string& provider) { worker_.settings.provider = provider; }
  void SetDBVersion(const std::string& version) { worker_.settings.version = version; }
  std::string GetDBVersion() const { return worker_.settings.version; }
  std::string UDLFile() const { return worker_.settings.udl_file; }
  void set_UDLFile(const std::string& value) { worker_.settings.udl_file = value; }

  // The connection
  void SetConnection() { worker_.connection_switch = !worker_.connection_switch; }
  void SetAdoConnection(const Ptr<automation::Object>& Cn);
  Ptr<ado::Connection> GetConnection() const { return worker_.connection(); }
  bool IsConnectionOpen() const { return worker_.connection()->is_alive(); }
  void CloseConnection();
  void SetConnectionTimeout(std::int16_t seconds);
  void SetAsyncMode(bool mode);
  void SetCursor(std::int32_t CursorType) { worker_.cursor_type = CursorType; }
  void SetLock(std::int32_t LockType) { worker_.lock_type = LockType; }
  void SetCursorLocation(std::int32_t CurLocation) { worker_.cursor_location = CurLocation; }
  bool PingOnOpen() const { return worker_.ping_on_open; }
  void set_PingOnOpen(bool value) { worker_.ping_on_open = value; }

  // Errors and messages
  std::int32_t Err_Number() const { return worker_.error()->m_Number; }
  std::string Err_Description() const { return worker_.error()->m_Description; }
  std::string Err_Source() const { return worker_.error()->m_Source; }
  Ptr<CError> GetErrObj() const { return worker_.error(); }
  bool Err_Activate() const { return err_activate_; }
  void set_Err_Activate(bool value) { err_activate_ = value; }
  bool Log_Activate();
  void set_Log_Activate(bool value) { log_activate_ = value; }
  void SetMessages(bool ShowMessages);
  bool GetMessages() const { return show_messages_; }

  // Queries
  bool Selection(Ref<std::string> SelectCampi = {}, Ref<std::string> SelectWhere = {},
                 Ref<std::string> SelectOrder = {}, const std::string& ThisSelect = {},
                 Ref<std::string> SelectGroupBy = {});
  bool SelectionFast(Ref<std::string> strSelect = {});
  bool SelectionShape(const std::string& ParentRs, const std::string& ChildRs, const std::string& Relation);
  bool Refresh();
  bool AccessQuery(const std::string& strquery);
  Variant CloseRs();
  Ptr<ado::Recordset> GetRecordSet() const { return worker_.recordset(); }
  Ptr<ado::Recordset> GetClone() const { return worker_.clone(); }
  Variant SetRecordSet(const Ptr<automation::Object>& rs);
  Variant RefreshADO();
  void GetStruct();

  // Moving
  bool MoveNext();
  bool MovePrev();
  void MoveFirst();
  void MoveLast();
  bool MoveNextShape();
  bool MovePrevShape();
  void MoveFirstShape();
  void MoveLastShape();
  bool IsEof();
  bool IsEofShape();
  bool Find(const std::string& criterio, std::int32_t direzione);
  bool SetIndex(const std::string& indice);
  bool SeekIndex(const Variant::Array& Valori, const std::string& indice = {});

  // Fields
  Variant GetPound(const std::string& Campo);
  Variant GetValue(const std::string& Campo);
  Variant GetPoundPos(std::int16_t pos);
  Variant GetValuePos(std::int16_t pos);
  Variant GetPoundShape(const std::string& Campo);
  Variant GetValueShape(const std::string& Campo);
  std::string GetFieldName(std::int16_t pos);
  std::string GetFieldsName();
  std::int32_t FieldsCount();
  std::int32_t GetFieldType(const std::string& Campo);
  std::int32_t GetFieldSize(const std::string& Campo);
  std::int16_t GetDecimals(const std::string& Campo);
  std::int32_t RecordCount();
  bool m_InitDate() const { return worker_.init_date; }
  void set_m_InitDate(bool value) { worker_.init_date = value; }

  // Writing
  void SetPound(const std::string& Campo, const Variant& Valore);
  void SetValue(const Variant& Campo, const Variant& Valore);
  void SetPoundPos(std::int16_t pos, const Variant& Valore);
  Variant AddNew();
  bool Save();
  bool Delete();
  bool ExecuteSQL(const std::string& StrSQL, std::int32_t Timeout = 30, Ref<std::int32_t> ElabRec = {});
  bool ExecuteStoredProc(Ref<std::string> StoredProcName, const Variant::Array& pArray);
  void TransBegin();
  void TransCommit();
  void TransRollBack();
  std::int32_t GetLastRowID();

  // The schema
  std::string Tables_List(bool WithSO = false);
  std::string Views_List(bool WithSO = false);
  std::string StoredProcs_List();
  std::string StoredProcs_Command(Ref<std::string> StName);
  std::string View_Command(Ref<std::string> StName);
  bool Table_Exist(const std::string& Tabella);
  bool StoredProc_Exist(const std::string& StoredProc);
  bool Table_Open(const std::string& strName);
  std::int16_t Table_ColumnsCount() const;
  std::string Table_ColumnName(std::int16_t ColPos) const;
  std::int32_t Table_ColumnPosType(std::int16_t ColPos) const;
  std::int32_t Table_ColumnType(const std::string& ColName) const;
  std::int32_t Table_ColumnPosLength(std::int16_t ColPos) const;
  std::int32_t Table_ColumnLength(const std::string& ColName) const;
  bool Table_ColumnKey(const std::string& ColName) const;
  bool Table_ColumnExist(const std::string& ColName) const;
  bool Table_Create(const std::string& strName);
  bool Table_AddColumn(const std::string& ColName, Ref<std::int32_t> ColType, std::int16_t ColSize = 0,
                       bool AllowNull = true);
  bool Table_DeleteColumn(const std::string& ColName);
  Variant Table_AddIndex(const std::string& IndexName, bool PrimaryKey, bool Unique,
                         const std::string& Columns);
  bool Table_Store();
  bool Table_CreateProcedure(const std::string& ProcName, const std::string& strProc);

  // Bound controls
  Variant Bind(const Ptr<automation::Object>& MyControl, const std::string& Field,
               const std::string& Property = {});
  void SetBound();

  // Snapshots as XML, the table in memory, long fields
  Variant XML_Save(const std::string& XMLFile, bool OverWrite = false);
  bool XML_OpenSchema(const std::string& XMLFile);
  Variant XML_ReadField(const std::string& Campo);
  Variant XML_SetField(const std::string& Campo, const Variant& Valore);
  void Persist_AddField(const std::string& Nome, std::int16_t tipo, std::int32_t Lungh = 0);
  void Persist_Open();
  Variant Persist_AddNew();
  Variant Persist_Delete();
  Variant Persist_Save();
  void Persist_MoveFirst();
  void Persist_MoveLast();
  bool Persist_MoveNext();
  bool Persist_MovePrev();
  bool Persist_Move(std::int32_t pos);
  Variant Persist_GetPound(const std::string& Campo);
  Variant Persist_GetValue(const std::string& Campo);
  void Persist_SetPound(const std::string& Campo, const Variant& Valore);
  void Persist_SetValue(const std::string& Campo, const Variant& Valore);
  void Blob2File(const std::string& NomeCampo, const std::string& NomeFile);

  // Literals and version
  std::string ParSQLStr(const std::string& pStr, bool WithTrim = true) const;
  std::string ParSQLDate(Date pDate, bool WithHour = false) const;
  std::string ParSQLDateSQL(Date pDate, bool WithHour = false) const;
  std::string GetVersion() const;

 private:
  /// What a member's failure says. Texts that are not empty take the place of the error's own.
  struct Failing {
    std::string_view member;            // context of the log line; the box's prefix is this and " - "
    std::string_view description = {};  // fixed text
    std::string_view source = {};       // fixed text
    bool logged = true;
    std::string_view prefix = {};   // of the box, where it is not the member's name
    std::string_view context = {};  // of the log line, where it is not the member's name
  };
  // The one place where a failure becomes a result: record, log, box, then raised again or the empty result.
  template <class Work>
  auto guarded(const Failing& failing, Work&& work) -> decltype(work());
  void report(const Failing& failing, const Error& error);
  // Bound controls follow the current row.
  void show_row() {
    if (!bound_.is_empty() && worker_.is_recordset_open()) bound_.load(worker_);
  }
  // m_LogPath counts from here on.
  void take_log_folder();

  data::CRecorset worker_;
  data::BoundControls bound_;
  std::int16_t kind_ = -1;  // never set
  std::string user_;
  std::string password_;
  std::string file_password_;
  std::string log_folder_;  // m_LogPath when it was last taken: each query makes it the thread's again
  bool show_messages_ = true;
  bool err_activate_ = false;
  bool log_activate_ = true;
};

template <class Work>
auto CData::guarded(const Failing& failing, Work&& work) -> decltype(work()) {
  try {
    return work();
  } catch (...) {
    report(failing, error_being_handled());
    if (err_activate_) throw Error(Err_Number(), Err_Description(), Err_Source());
  }
  return decltype(work())();
}

}  // namespace quarno
