#include "data/CData.h"

#include "ado/ado_error.h"
#include "common/convert.h"
#include "common/error.h"
#include "common/text.h"
#include "data/failure_log.h"
#include "data/failure_text.h"
#include "data/sql_literal.h"
#include "platform/dialogs.h"
#include "platform/locale.h"
#include "version.h"

namespace quarno {
namespace {

constexpr std::string_view kFieldMissing = "Field not found !";
constexpr std::string_view kFieldSource = "CRecord";

// Odd and kept: the last argument is never part of the call, and one argument alone adds no parentheses.
std::string call_with_arguments(const std::string& procedure, const Variant::Array& arguments) {
  if (arguments.size() < 2) return procedure;
  std::vector<std::string> texts;
  for (std::size_t i = 0; i + 1 < arguments.size(); ++i) {
    texts.push_back(to_text(arguments[i], platform::locale()));
  }
  return procedure + "( " + text::join(texts, ",") + " )";
}

}  // namespace

CData::CData() { take_log_folder(); }

// --- The guard ---------------------------------------------------------------------------------------------

void CData::report(const Failing& failing, const Error& error) {
  CError& record = *worker_.error();
  record.m_Number = error.number;
  record.m_Description = failing.description.empty() ? error.description : std::string(failing.description);
  record.m_Source = failing.source.empty() ? error.source : std::string(failing.source);
  const ErrorRecord failure{record.m_Number, record.m_Description, record.m_Source};
  current_error() = failure;
  if (failing.logged) data::log_failure(failing.context.empty() ? failing.member : failing.context, failure);
  if (show_messages_) {
    const std::string prefix = std::string(failing.prefix.empty() ? failing.member : failing.prefix) + " - ";
    platform::dialogs().message_box(data::failure_box_text(prefix, failure), {}, platform::BoxIcon::none);
  }
}

// --- Which database ----------------------------------------------------------------------------------------

void CData::SetDBType(std::int16_t tipo) {
  kind_ = tipo;
  if (tipo != -1) worker_.settings.kind = tipo;
}

Variant CData::SetServer(const std::string& Server) {
  worker_.settings.server = Server;
  return {};
}

Variant CData::SetDatabase(const std::string& Database, const std::string& UID, const std::string& Pwd,
                           const std::string& AccessDBPwd) {
  m_Database = Database;
  user_ = UID;
  password_ = Pwd;
  file_password_ = text::trim(AccessDBPwd);
  worker_.settings.database = Database;
  worker_.settings.user = user_;
  worker_.settings.password = password_;
  worker_.settings.file_password = file_password_;
  return {};
}

Variant CData::SetDbOwner(const std::string& Owner) {
  worker_.settings.owner = Owner;
  return {};
}

// --- The connection ----------------------------------------------------------------------------------------

void CData::SetAdoConnection(const Ptr<automation::Object>& Cn) {
  auto* const connection = dynamic_cast<ado::Connection*>(Cn.get());
  if (connection == nullptr) throw run_time_error(RunTime::type_mismatch);
  worker_.adopt_connection(Ptr<ado::Connection>(connection));
}

void CData::CloseConnection() {
  try {
    worker_.connection()->Close();
  } catch (const Error&) {
    // Closing what is closed is no failure to the host.
  }
}

void CData::SetConnectionTimeout(std::int16_t seconds) {
  try {
    worker_.connection()->set_CommandTimeout(seconds);
    worker_.connection()->set_ConnectionTimeout(seconds);
  } catch (const Error&) {
    // An open connection keeps its connection timeout.
  }
}

void CData::SetAsyncMode(bool mode) {
  worker_.execute_options = mode ? ado::adAsyncFetch : ado::adCmdUnknown;
}

// --- Errors and messages -----------------------------------------------------------------------------------

bool CData::Log_Activate() {
  // Odd and kept: reading turns Err_Activate to the stored value and always answers false.
  err_activate_ = log_activate_;
  return false;
}

void CData::SetMessages(bool ShowMessages) {
  take_log_folder();
  show_messages_ = ShowMessages;
  worker_.show_messages = ShowMessages;
}

void CData::take_log_folder() {
  log_folder_ = m_LogPath;
  data::set_failure_log_folder(log_folder_);
}

// --- Queries -----------------------------------------------------------------------------------------------

bool CData::Selection(Ref<std::string> SelectCampi, Ref<std::string> SelectWhere,
                      Ref<std::string> SelectOrder, const std::string& ThisSelect,
                      Ref<std::string> SelectGroupBy) {
  return guarded({"Selection"}, [&] {
    worker_.close_recordset();
    data::set_failure_log_folder(log_folder_);
    const auto fill = [](Ref<std::string>& part, const std::string& stored) {
      if (part.value().empty()) part.set(stored);
      return part.is_absent() ? stored : part.value();
    };
    data::SelectParts parts;
    parts.columns = fill(SelectCampi, m_SelectCampi);
    parts.where = fill(SelectWhere, m_SelectWhere);
    parts.group_by = fill(SelectGroupBy, m_SelectGroupBy);
    parts.order = fill(SelectOrder, m_SelectOrder);
    worker_.table = m_Tabella;
    worker_.settings.user = user_;
    worker_.settings.password = password_;
    worker_.settings.file_password = file_password_;
    worker_.turn_connection_switch();
    worker_.open_recordset(ThisSelect.empty() ? worker_.composed_select(parts) : ThisSelect);
    show_row();
    return true;
  });
}

bool CData::SelectionFast(Ref<std::string> strSelect) {
  return guarded({"SelectionFast"}, [&] {
    worker_.close_recordset();
    data::set_failure_log_folder(log_folder_);
    worker_.turn_connection_switch();
    std::string statement = strSelect.value();
    if (statement.empty()) {
      statement =
          data::fast_select_text({m_SelectCampi, m_Tabella, m_SelectWhere, m_SelectGroupBy, m_SelectOrder});
      strSelect.set(statement);
    }
    worker_.open_recordset(statement);
    show_row();
    return true;
  });
}

bool CData::SelectionShape(const std::string& ParentRs, const std::string& ChildRs,
                           const std::string& Relation) {
  worker_.take_shapes();
  return Selection({}, {}, {}, "SHAPE {" + ParentRs + "}APPEND ({" + ChildRs + "}RELATE " + Relation + ")");
}

bool CData::Refresh() { return Selection(); }

bool CData::AccessQuery(const std::string& strquery) {
  return guarded({"AccessQuery"}, [&] {
    worker_.open_recordset(strquery);
    return true;
  });
}

Variant CData::CloseRs() {
  return guarded({"CloseRs"}, [&] {
    worker_.close_recordset();
    return Variant();
  });
}

Variant CData::SetRecordSet(const Ptr<automation::Object>& rs) {
  return guarded({"SetRecordSet"}, [&] {
    auto* const recordset = dynamic_cast<ado::Recordset*>(rs.get());
    if (recordset == nullptr) throw run_time_error(RunTime::type_mismatch);
    worker_.replace_recordset(Ptr<ado::Recordset>(recordset));
    return Variant();
  });
}

Variant CData::RefreshADO() {
  return guarded({"RefreshADO"}, [&] {
    worker_.requery();
    return Variant();
  });
}

void CData::GetStruct() {
  // The field list is there as soon as the query is open.
  guarded({"GetStruct"}, [&] { worker_.open_rows(); });
}

// --- Moving ------------------------------------------------------------------------------------------------

bool CData::MoveNext() {
  static constexpr Failing kFailing{"MoveNext"};
  return guarded(kFailing, [&] {
    const bool moved = worker_.move_next();
    if (moved) show_row();
    return moved;
  });
}
bool CData::MovePrev() {
  return guarded({"MovePrev"}, [&] {
    const bool moved = worker_.move_previous();
    if (moved) show_row();
    return moved;
  });
}
void CData::MoveFirst() {
  guarded({"MoveFirst"}, [&] {
    worker_.move_first();
    show_row();
  });
}
void CData::MoveLast() {
  guarded({"MoveLast"}, [&] {
    worker_.move_last();
    show_row();
  });
}
bool CData::IsEof() {
  return guarded({"IsEof"}, [&] { return worker_.is_eof(); });
}

bool CData::MoveNextShape() {
  return guarded({"MoveNextShape"}, [&] { return worker_.move_child_next(); });
}
bool CData::MovePrevShape() {
  return guarded({"MovePrevShape"}, [&] { return worker_.move_child_previous(); });
}
void CData::MoveFirstShape() {
  guarded({"MoveFirstShape"}, [&] { worker_.move_child_first(); });
}
void CData::MoveLastShape() {
  guarded({"MoveLastShape"}, [&] { worker_.move_child_last(); });
}
bool CData::IsEofShape() {
  return guarded({"IsEofShape"}, [&] { return worker_.is_child_eof(); });
}

bool CData::Find(const std::string& criterio, std::int32_t direzione) {
  return guarded({"Find"}, [&] { return worker_.find(criterio, direzione); });
}

bool CData::SetIndex(const std::string& indice) {
  return guarded({"SetIndex"}, [&] {
    worker_.ensure_open();
    return worker_.set_index(indice);
  });
}

bool CData::SeekIndex(const Variant::Array& Valori, const std::string& indice) {
  return guarded({"SeekIndex"}, [&] {
    if (!indice.empty()) SetIndex(indice);
    return worker_.seek(Valori);
  });
}

// --- Fields ------------------------------------------------------------------------------------------------

// Called for every value: what they say when they fail is composed once.
Variant CData::GetPound(const std::string& Campo) {
  static constexpr Failing kFailing{"Get£", kFieldMissing, kFieldSource};
  return guarded(kFailing, [&] { return worker_.field_value(Campo); });
}
Variant CData::GetValue(const std::string& Campo) {
  static constexpr Failing kFailing{"GetValue", kFieldMissing, kFieldSource};
  return guarded(kFailing, [&] { return worker_.field_value(Campo); });
}
Variant CData::GetPoundPos(std::int16_t pos) {
  return guarded({"Get£", kFieldMissing, kFieldSource}, [&] { return worker_.field_value(pos); });
}
Variant CData::GetValuePos(std::int16_t pos) {
  return guarded({"GetValue", kFieldMissing, kFieldSource}, [&] { return worker_.field_value(pos); });
}

Variant CData::GetPoundShape(const std::string& Campo) {
  return guarded({"Get£", kFieldMissing, kFieldSource}, [&] { return worker_.child_value(Campo); });
}
Variant CData::GetValueShape(const std::string& Campo) {
  return guarded({"GetValue", kFieldMissing, kFieldSource}, [&] { return worker_.child_value(Campo); });
}

std::string CData::GetFieldName(std::int16_t pos) {
  return guarded({"GetFieldName"}, [&] { return worker_.field_name(pos); });
}

std::string CData::GetFieldsName() {
  return guarded({"GetFieldsName"}, [&] {
    std::vector<std::string> names;
    for (const ado::Column& column : worker_.open_rows().columns()) names.push_back(column.name);
    return text::join(names, ",");
  });
}

std::int32_t CData::FieldsCount() {
  return guarded({"FieldsCount"},
                 [&] { return static_cast<std::int32_t>(worker_.open_rows().columns().size()); });
}
std::int32_t CData::GetFieldType(const std::string& Campo) {
  return guarded({"GetFieldType", kFieldMissing, kFieldSource},
                 [&] { return static_cast<std::int32_t>(worker_.column(Campo).type); });
}
std::int32_t CData::GetFieldSize(const std::string& Campo) {
  return guarded({"GetFieldSize", kFieldMissing, kFieldSource},
                 [&] { return static_cast<std::int32_t>(worker_.column(Campo).defined_size); });
}
std::int16_t CData::GetDecimals(const std::string& Campo) {
  return guarded({"GetDecimals", kFieldMissing, kFieldSource},
                 [&] { return std::int16_t{worker_.column(Campo).scale}; });
}
std::int32_t CData::RecordCount() {
  return guarded({"RecordCount"}, [&] { return worker_.open_rows().RecordCount(); });
}

// --- Writing -----------------------------------------------------------------------------------------------

void CData::SetPound(const std::string& Campo, const Variant& Valore) {
  guarded({"Set£"}, [&] { worker_.set_field_value(Campo, Valore); });
}
void CData::SetValue(const Variant& Campo, const Variant& Valore) {
  guarded({"SetValue"}, [&] {
    const auto* const name = Campo.get_if<std::string>();
    worker_.set_field_value(name != nullptr ? *name : to_text(Campo, platform::locale()), Valore);
  });
}
void CData::SetPoundPos(std::int16_t pos, const Variant& Valore) {
  guarded({"Set£"}, [&] {
    if (worker_.is_recordset_open()) worker_.set_field_value(worker_.field_name(pos), Valore);
  });
}

Variant CData::AddNew() {
  return guarded({"AddNew"}, [&] {
    worker_.table = m_Tabella;
    worker_.add_new();
    show_row();
    return Variant();
  });
}

bool CData::Save() {
  Failing failing{"Save"};
  failing.context = "CRecord-Save ";
  return guarded(failing, [&] {
    try {
      bound_.save(worker_);
      worker_.update();
    } catch (Error& error) {
      data::name_duplicate_key(error);
      throw;
    }
    return true;
  });
}

bool CData::Delete() {
  return guarded({"Delete", "Can't delete the record!"}, [&] { return worker_.delete_row(); });
}

bool CData::ExecuteSQL(const std::string& StrSQL, std::int32_t Timeout, Ref<std::int32_t> ElabRec) {
  Failing failing{"ExecuteSQL"};
  failing.logged = log_activate_;
  failing.context = "ExecuteSQL - ";
  return guarded(failing, [&] {
    worker_.turn_connection_switch();
    std::int32_t affected = ElabRec.value();
    worker_.execute(StrSQL, Timeout, affected);
    ElabRec.set(affected);
    return true;
  });
}

bool CData::ExecuteStoredProc(Ref<std::string> StoredProcName, const Variant::Array& pArray) {
  return guarded({"ExecuteStoredProc"}, [&] {
    worker_.ensure_open();
    const std::string call = call_with_arguments(StoredProcName.value(), pArray);
    StoredProcName.set(call);
    worker_.open_procedure(call);
    return true;
  });
}

void CData::TransBegin() {
  guarded({"TransBegin"}, [&] { worker_.connection()->BeginTrans(); });
}
void CData::TransCommit() {
  guarded({"TransCommit"}, [&] { worker_.connection()->CommitTrans(); });
}
void CData::TransRollBack() {
  guarded({"TransRollBack"}, [&] { worker_.connection()->RollbackTrans(); });
}
std::int32_t CData::GetLastRowID() {
  return guarded({"GetLastRowID"}, [&] { return worker_.last_row_id(); });
}

// --- Bound controls ----------------------------------------------------------------------------------------

Variant CData::Bind(const Ptr<automation::Object>& MyControl, const std::string& Field,
                    const std::string& Property) {
  return guarded({"Bind"}, [&] {
    bound_.bind(MyControl, Field, Property);
    return Variant();
  });
}

void CData::SetBound() {
  guarded({"SetBound"}, [&] { show_row(); });
}

// --- Literals and version ----------------------------------------------------------------------------------

std::string CData::ParSQLStr(const std::string& pStr, bool WithTrim) const {
  return data::text_literal(pStr, WithTrim);
}
std::string CData::ParSQLDate(Date pDate, bool WithHour) const {
  return data::date_literal(pDate, WithHour, kind_);
}
std::string CData::ParSQLDateSQL(Date pDate, bool WithHour) const {
  return data::date_literal(pDate, WithHour, data::Conn_SQL);
}
std::string CData::GetVersion() const { return QUARNOFWK_VERSION; }

}  // namespace quarno
