#include "data/CRecorset.h"

#include "ado/ado_error.h"
#include "ado/field_conversion.h"
#include "ado/shape/shape_session.h"
#include "common/convert.h"
#include "common/error.h"
#include "common/text.h"
#include "data/connection_text.h"
#include "data/field_value.h"
#include "net/CPing.h"
#include "platform/dialogs.h"
#include "platform/files.h"
#include "platform/locale.h"

namespace quarno::data {
namespace {

constexpr const char* kFileMissing = "File not found !";
constexpr std::int32_t kNoAnswer = -5167;

}  // namespace

CRecorset::CRecorset() : error_(make<CError>()), connection_(make<ado::Connection>()) {}

void CRecorset::tell(const char* text) const {
  if (show_messages) platform::dialogs().message_box(text, {}, platform::BoxIcon::none);
}

// The checks of a kind, before anything is opened. Only a missing desktop file raises, and only without
// messages.
bool CRecorset::settings_name_a_source() {
  switch (settings.kind) {
    case Conn_ODBC:
      if (!text::trim(settings.server).empty()) return true;
      tell("DSN non specificato");
      return false;
    case Conn_Jet:
      if (!platform::files().find(settings.database).empty()) return true;
      tell(kFileMissing);
      if (!show_messages) {
        throw Error(static_cast<std::int32_t>(RunTime::file_not_found), kFileMissing, "CorvexFwk");
      }
      return false;
    case Conn_DB3:
      if (!platform::files().find(settings.database + "\\*.dbf").empty()) return true;
      tell("Database non trovato !");
      return false;
    default: return true;
  }
}

void CRecorset::ensure_open() {
  if (connection_->is_alive()) return;
  if (connection_->is_open() && connection_->drop_lost_session()) {
    // Said once: what the transaction held is gone, and what follows must not pass for a part of it.
    throw Error(ado::kUnspecified, "The connection was lost; its open transaction was rolled back.",
                "CData-Initialize");
  }
  if (is_sql_server_family(settings.kind)) settings.version = text::upper(settings.version);
  if (!settings_name_a_source()) return;
  connection_->set_ConnectionString(connection_text(settings));
  if (password_is_property(settings)) {
    connection_->Properties()->Item("Jet OLEDB:Database Password")->Value = settings.file_password;
  }
  if (ping_on_open && !make<CPing>()->Ping(settings.server)) {
    throw Error(kNoAnswer, "Error on ping", "CData-Initialize");
  }
  connection_->Open();
  if (!recordset_) recordset_ = make<ado::Recordset>();
}

std::string CRecorset::composed_select(SelectParts parts) {
  const bool qualified = settings.kind == Conn_SQL && table.find('.') == std::string::npos;
  if (qualified && text::trim(settings.owner).empty()) settings.owner = "dbo";
  parts.table = qualified_table(settings, table);
  return select_text(parts);
}

void CRecorset::open_recordset(const std::string& statement) {
  ensure_open();
  if (shaped_) connection_->extend_session(ado::shape::shaping_session);
  open_rows_of(statement, execute_options);
  take_child();
}

void CRecorset::take_shapes() {
  settings.provider = "MSDataShape";
  shaped_ = true;
}

double CRecorset::parent_mark() const {
  const bool has_child = (shaped_ || is_from_file_) && on_row() &&
                         recordset_->columns().back().type == ado::DataType::chapter &&
                         recordset_->EditMode() != ado::adEditAdd;
  if (!has_child) return kNoParent;
  try {
    return std::get<double>(recordset_->Bookmark().storage());
  } catch (const Error&) {
    return child_mark_;  // a row that was deleted keeps what it had
  }
}

void CRecorset::take_child() {
  child_ = nullptr;
  child_past_end_ = false;
  // Noted first: a child that cannot be read is not asked for again and again.
  child_mark_ = parent_mark();
  if (child_mark_ == kNoParent) return;
  const Variant value = recordset_->value(recordset_->columns().size() - 1);
  const auto* const object = value.get_if<Variant::Object>();
  if (object != nullptr) child_ = Ptr<ado::Recordset>(dynamic_cast<ado::Recordset*>(object->get()));
}

void CRecorset::follow_parent() {
  if (parent_mark() != child_mark_) take_child();
}

void CRecorset::open_procedure(const std::string& call) {
  open_rows_of(call, ado::adCmdStoredProc | (execute_options & ado::adAsyncFetch));
}

void CRecorset::open_rows_of(const std::string& statement, std::int32_t options) {
  close_recordset();
  if (!recordset_) recordset_ = make<ado::Recordset>();
  recordset_->set_CursorType(cursor_type);
  recordset_->set_CursorLocation(cursor_location);
  recordset_->set_LockType(lock_type);
  past_end_ = false;
  is_from_file_ = false;
  if (!connection_->is_open()) throw ado::model_error(ado::Model::invalid_connection);
  recordset_->set_ActiveConnection(Ptr<automation::Object>(connection_.get()));
  recordset_->Open(statement, Variant(), ado::adOpenUnspecified, ado::adLockUnspecified, options);
  // Only what has bookmarks can be cloned.
  const bool can_clone = recordset_->is_open() && recordset_->Supports(ado::adBookmark);
  clone_ = can_clone ? recordset_->Clone() : nullptr;
  editing_ = false;
}

void CRecorset::close_recordset() {
  child_ = nullptr;
  child_past_end_ = false;
  child_mark_ = kNoParent;
  if (recordset_ && recordset_ == detached_) {
    // It has members of its own that go on with it.
    recordset_ = clone_ = nullptr;
    editing_ = past_end_ = false;
  }
  if (!is_recordset_open()) return;
  // Closing during an edit is refused; what was not saved is dropped.
  if (editing_ || recordset_->EditMode() != ado::adEditNone) recordset_->CancelUpdate();
  editing_ = false;
  recordset_->Close();
}

ado::Recordset& CRecorset::open_rows() const {
  if (!is_recordset_open()) throw ado::model_error(ado::Model::object_closed);
  return *recordset_;
}

bool CRecorset::step_on(ado::Recordset& rows, bool& past_end) {
  past_end = false;
  if (rows.at_eof()) return false;
  try {
    past_end = !rows.try_move_next();
  } catch (const Error&) {
    // The rows broke off: a host that walks to the end must get there. An edit that could not be saved is
    // another matter.
    past_end = rows.EditMode() == ado::adEditNone;
    throw;
  }
  return !past_end;
}

bool CRecorset::move_next() {
  const bool moved = step_on(open_rows(), past_end_);
  if (moved) take_child();
  return moved;
}

bool CRecorset::move_previous() {
  const bool moved = step_back(open_rows(), past_end_);
  if (moved) take_child();
  return moved;
}

void CRecorset::move_first() {
  open_rows().MoveFirst();
  take_child();
}

void CRecorset::move_last() {
  open_rows().MoveLast();
  take_child();
}

bool CRecorset::step_back(ado::Recordset& rows, bool& past_end) {
  past_end = false;
  if (rows.at_bof()) return false;
  rows.MovePrevious();
  if (!rows.at_bof()) return true;
  rows.MoveNext();
  return false;
}

bool CRecorset::find(const std::string& criterion, std::int32_t direction) {
  ado::Recordset& rows = open_rows();
  rows.Find(criterion, 0, direction);
  take_child();
  return !rows.at_bof() && !rows.at_eof();
}

bool CRecorset::set_index(const std::string& index) {
  ado::Recordset& rows = open_rows();
  if (!rows.Supports(ado::adIndex)) return false;
  rows.set_Index(index);
  return true;
}

bool CRecorset::seek(const Variant::Array& values) {
  ado::Recordset& rows = open_rows();
  rows.Seek(values);
  return !rows.at_eof();
}

void CRecorset::replace_recordset(const Ptr<ado::Recordset>& recordset) {
  recordset_ = recordset;
  clone_ = nullptr;
  editing_ = false;
  past_end_ = false;
  is_from_file_ = false;
  take_child();
}

ado::Recordset& CRecorset::child_rows() {
  follow_parent();
  if (!child_ || !child_->is_open()) throw ado::model_error(ado::Model::object_closed);
  return *child_;
}

bool CRecorset::is_child_eof() {
  follow_parent();
  return !child_ || !child_->is_open() || child_past_end_ || child_->at_eof();
}

Variant CRecorset::child_value(std::string_view name) {
  follow_parent();
  if (child_ && child_->on_row()) return value_or_substitute(*child_, child_->column_index(text::trim(name)));
  return {};
}

bool CRecorset::is_eof() const { return !is_recordset_open() || past_end_ || recordset_->at_eof(); }

Variant CRecorset::field_value(std::string_view name) const {
  if (on_row()) return value_or_substitute(*recordset_, recordset_->column_index(text::trim(name)));
  return {};
}

Variant CRecorset::value_or_substitute(const ado::Recordset& rows, std::size_t index) const {
  Variant value = rows.value(index);
  if (value.is_null()) value = null_substitute(rows.columns()[index].type, init_date);
  return value;
}

void CRecorset::set_field_value(std::string_view name, const Variant& value) {
  if (is_recordset_open() && set_field(*recordset_, name, value)) editing_ = true;
}

bool CRecorset::set_field(ado::Recordset& rows, std::string_view name, const Variant& value) {
  const std::size_t index = rows.column_index(text::trim(name));
  const ado::Column& info = rows.columns()[index];
  // The data source numbers it.
  if (info.auto_increment) return false;
  // A text in memory has no limit unless it was given one.
  const std::int64_t size = info.defined_size == 0 && rows.is_free() ? INT64_MAX : info.defined_size;
  if (is_stored_as_given(info.type, size, value)) {
    rows.set_value(index, value);
  } else if (const auto stored = value_to_store(info.type, size, value, platform::locale())) {
    rows.set_value(index, *stored);
  } else {
    return false;
  }
  return true;
}

bool CRecorset::holds(std::string_view name, const Variant& value) const {
  if (!on_row()) return false;
  const std::size_t index = recordset_->column_index(text::trim(name));
  const ado::Column& info = recordset_->columns()[index];
  const bool is_computed = info.base_column.empty();
  const Variant now = is_computed ? value_or_substitute(*recordset_, index) : recordset_->value(index);
  const LocaleInfo& locale = platform::locale();
  const auto is_nothing = [](const Variant& each) {
    return each.is_empty() || each.is_null() || each == Variant("");
  };
  if (is_computed && is_nothing(now)) return is_nothing(value);
  const auto stored = value_to_store(info.type, info.defined_size, value, locale);
  try {
    return stored && ado::coerced(*stored, info, locale) == ado::coerced(now, info, locale) &&
           now.is_empty() == stored->is_empty();
  } catch (const Error&) {
    return false;  // setting it says why
  }
}

const std::string& CRecorset::field_name(std::int16_t position) const {
  const auto& columns = open_rows().columns();
  if (position < 0 || static_cast<std::size_t>(position) >= columns.size()) {
    throw ado::model_error(ado::Model::item_not_found);
  }
  return columns[static_cast<std::size_t>(position)].name;
}

const ado::Column& CRecorset::column(std::string_view name) const {
  const ado::Recordset& rows = open_rows();
  return rows.columns()[rows.column_index(text::trim(name))];
}

void CRecorset::add_new() {
  // The table in memory has an AddNew of its own.
  const bool has_query = is_recordset_open() && recordset_ != detached_;
  if (!has_query) open_recordset("Select * from " + table + " WHERE 1=0");
  open_rows().AddNew();
  editing_ = true;
}

void CRecorset::update() { open_rows().Update(); }

bool CRecorset::delete_row() {
  if (!on_row()) return false;
  recordset_->Delete();
  return true;
}

void CRecorset::execute(const std::string& statement, std::int32_t timeout_seconds, std::int32_t& affected) {
  ensure_open();
  connection_->set_CommandTimeout(timeout_seconds);
  // Rows have no taker here, so none are fetched.
  connection_->Execute(statement, affected, execute_options | ado::adExecuteNoRecords);
}

std::int32_t CRecorset::last_row_id() {
  ensure_open();
  auto rows = make<ado::Recordset>();
  rows->set_ActiveConnection(Ptr<automation::Object>(connection_.get()));
  rows->Open("SELECT @@Identity", Variant(), ado::adOpenForwardOnly, ado::adLockReadOnly);
  if (rows->at_eof()) return -1;
  const Variant value = rows->value(0);
  return value.is_null() ? -1 : to_int32(value, platform::locale());
}

ado::Catalog& CRecorset::catalog() {
  ensure_open();
  catalog_.set_ActiveConnection(connection_);
  return catalog_;
}

ado::Table& CRecorset::table_definition() {
  if (!current_table) throw run_time_error(RunTime::object_not_set);
  return *current_table;
}

}  // namespace quarno::data
