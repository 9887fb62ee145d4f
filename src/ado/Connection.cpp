#include "ado/Connection.h"

#include <algorithm>

#include "ado/Recordset.h"
#include "automation/member_table.h"

namespace quarno::ado {
namespace {

constexpr const char* kSource = "ADODB.Connection";

// Initialisation properties a host may set before Open; a value given here goes to the provider as if it
// stood in the connection string.
constexpr const char* kInitialisation[] = {"Data Source", "User ID", "Password", "Extended Properties",
                                           "Jet OLEDB:Database Password"};

}  // namespace

Connection::Connection() : errors_(make<ado::Errors>()), properties_(make<ado::Properties>()) {
  for (const char* name : kInitialisation) properties_->add(name, Variant());
}

Connection::~Connection() = default;

void Connection::set_ConnectionString(const std::string& value) {
  if (is_open()) throw model_error(Model::object_open, kSource);
  text_ = value;
  // They belong to the string that stood here before.
  for (const Ptr<Property>& item : properties_->items()) item->Value = Variant();
}

void Connection::set_ConnectionTimeout(std::int32_t seconds) {
  if (is_open()) throw model_error(Model::object_open, kSource);
  if (seconds < 0) throw model_error(Model::invalid_argument, kSource);
  connection_timeout_ = seconds;
}

void Connection::set_CommandTimeout(std::int32_t seconds) {
  if (seconds < 0) throw model_error(Model::invalid_argument, kSource);
  command_timeout_ = seconds;
}

void Connection::set_CursorLocation(std::int32_t value) {
  if (value != adUseServer && value != adUseClient) throw model_error(Model::invalid_argument, kSource);
  cursor_location_ = value;
}

void Connection::Open(const std::string& ConnectionString, const std::string& UserID,
                      const std::string& Password, std::int32_t) {
  if (is_open()) throw model_error(Model::object_open, kSource);
  if (!ConnectionString.empty()) set_ConnectionString(ConnectionString);
  ado::ConnectionString words = ado::ConnectionString::parse(text_);
  for (const Ptr<Property>& item : properties_->items()) {
    if (const auto* value = item->Value.get_if<std::string>()) words.set(item->Name(), *value);
  }
  if (!UserID.empty()) words.set("User ID", UserID);
  if (!Password.empty()) words.set("Password", Password);
  const Provider* const provider = find_provider(words);
  if (provider == nullptr) throw model_error(Model::provider_not_found, kSource);
  session_ = report_failures([&] { return provider->open(words, connection_timeout_); });
}

void Connection::Close() {
  if (!is_open()) throw model_error(Model::object_closed, kSource);
  if (session_->transaction_level() > 0) throw model_error(Model::in_transaction, kSource);
  // Each removes itself from the list.
  while (!recordsets_.empty()) recordsets_.back()->connection_closed();
  session_.reset();
}

bool Connection::drop_lost_session() {
  const bool in_transaction = session_->transaction_level() > 0;
  while (!recordsets_.empty()) recordsets_.back()->connection_closed();
  session_.reset();
  return in_transaction;
}

Session& Connection::session(Model closed) {
  if (session_ == nullptr) throw model_error(closed, kSource);
  return *session_;
}

Ptr<Recordset> Connection::Execute(const std::string& CommandText, Ref<std::int32_t> RecordsAffected,
                                   std::int32_t Options) {
  Session& open_session = session();
  if (CommandText.empty()) {
    throw Error(kNoCommandText, "Command text was not set for the command object.", kSource);
  }
  Outcome outcome =
      report_failures([&] { return open_session.execute(CommandText, command_timeout_, Reading::at_once); });
  RecordsAffected.set(static_cast<std::int32_t>(std::min<std::int64_t>(outcome.affected, INT32_MAX)));
  const bool wanted = Options == -1 || (Options & adExecuteNoRecords) == 0;
  auto result = make<Recordset>();
  if (!wanted && outcome.rows != nullptr) report_failures([&] { outcome.rows->finish(); });
  if (wanted && outcome.rows != nullptr) result->adopt(*this, CommandText, std::move(outcome.rows));
  return result;
}

std::int32_t Connection::BeginTrans() {
  Session& open_session = session();
  report_failures([&] { open_session.begin(); });
  return open_session.transaction_level();
}

void Connection::CommitTrans() {
  Session& open_session = session();
  report_failures([&] { open_session.commit(); });
}

void Connection::RollbackTrans() {
  Session& open_session = session();
  report_failures([&] { open_session.rollback(); });
}

void Connection::detach(Recordset& recordset) { std::erase(recordsets_, &recordset); }

namespace {

using namespace automation;

constexpr Member kMembers[] = {
    property<&Connection::ConnectionString, &Connection::set_ConnectionString>(
        "ConnectionString", "Which data source Open reaches; settable while closed (3705)."),
    property<&Connection::ConnectionTimeout, &Connection::set_ConnectionTimeout>(
        "ConnectionTimeout",
        "Seconds Open may take, 0 for no limit; 15 at first; settable while closed (3705)."),
    property<&Connection::CommandTimeout, &Connection::set_CommandTimeout>(
        "CommandTimeout", "Seconds a statement may take, 0 for no limit; 30 at first."),
    property<&Connection::CursorLocation, &Connection::set_CursorLocation>(
        "CursorLocation", "Where recordsets keep their rows: 2 server, 3 client."),
    read_only<&Connection::State>("State", "0 closed, 1 open."),
    read_only<&Connection::Errors>("Errors",
                                   "What the data source reported for the last operation that failed."),
    read_only<&Connection::Properties>("Properties", "Initialisation properties, settable before Open."),
    method<&Connection::Open>(
        "Open",
        {param("ConnectionString", ""), param("UserID", ""), param("Password", ""), param("Options", -1)},
        "Opens the connection. Raises 3705 when it is open, 3706 when no provider serves the "
        "string, and what the provider reports."),
    method<&Connection::Close>(
        "Close",
        "Closes the connection and every recordset on it. Raises 3704 when it is closed and 3246 "
        "inside a transaction."),
    method<&Connection::Execute>(
        "Execute", {param("CommandText"), param("RecordsAffected", 0), param("Options", -1)},
        "Runs a statement. Gives a recordset, closed when the statement has no rows; "
        "RecordsAffected is written back, -1 when the statement does not count."),
    method<&Connection::BeginTrans>("BeginTrans",
                                    "Begins a transaction; gives its nesting level, 1 for the first."),
    method<&Connection::CommitTrans>("CommitTrans", "Commits the innermost transaction."),
    method<&Connection::RollbackTrans>("RollbackTrans", "Undoes the innermost transaction."),
};

}  // namespace

std::span<const automation::Member> Connection::members() { return kMembers; }

}  // namespace quarno::ado
