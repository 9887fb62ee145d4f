#include "providers/odbc/handles.h"

#include <array>

#include <utility>

#include "ado/ado_error.h"
#include "providers/odbc/diagnosis.h"
#include "providers/odbc/odbc_provider.h"

namespace quarno::odbc {

Link::Link() {
  SQLAllocHandle(SQL_HANDLE_ENV, SQL_NULL_HANDLE, &environment_);
  SQLSetEnvAttr(environment_, SQL_ATTR_ODBC_VERSION, odbc_number(SQL_OV_ODBC3), 0);
  SQLAllocHandle(SQL_HANDLE_DBC, environment_, &connection_);
  if (connection_ != nullptr) return;
  SQLFreeHandle(SQL_HANDLE_ENV, environment_);
  throw ado::provider_error(ado::kUnspecified, "The ODBC driver manager gives no connection.", kSourceName);
}

Link::~Link() {
  if (connected_) disconnect();
  SQLFreeHandle(SQL_HANDLE_DBC, connection_);
  SQLFreeHandle(SQL_HANDLE_ENV, environment_);
}

// Drivers and the driver manager refuse to disconnect in the middle of a transaction, and a transaction of a
// lost connection cannot be ended: without autocommit off it counts as none.
void Link::disconnect() {
  SQLEndTran(SQL_HANDLE_DBC, connection_, SQL_ROLLBACK);
  if (SQL_SUCCEEDED(SQLDisconnect(connection_))) return;
  SQLSetConnectAttr(connection_, SQL_ATTR_AUTOCOMMIT, odbc_number(SQL_AUTOCOMMIT_ON), 0);
  SQLDisconnect(connection_);
}

// The ANSI entry points, here and everywhere: text is UTF-8 then, whereas a connection made by the wide one
// makes two of the drivers take narrow statements for Latin-1.
void Link::connect(const std::string& text, std::string password) {
  password_ = std::move(password);
  const SQLRETURN result = SQLDriverConnect(connection_, nullptr, odbc_text(text), SQL_NTS, nullptr, 0,
                                            nullptr, SQL_DRIVER_NOPROMPT);
  check(result, SQL_HANDLE_DBC, connection_);
  connected_ = true;
}

void Link::set(SQLINTEGER attribute, SQLULEN value) {
  check(SQLSetConnectAttr(connection_, attribute, odbc_number(value), 0), SQL_HANDLE_DBC, connection_);
}

// Ended before autocommit goes on: one driver undoes pending work when it is switched.
void Link::end_transaction(SQLSMALLINT how) {
  check(SQLEndTran(SQL_HANDLE_DBC, connection_, how), SQL_HANDLE_DBC, connection_);
  set(SQL_ATTR_AUTOCOMMIT, SQL_AUTOCOMMIT_ON);
}

void Link::check(SQLRETURN result, SQLSMALLINT kind, SQLHANDLE handle, std::string_view statement) const {
  if (SQL_SUCCEEDED(result) || result == SQL_NO_DATA) return;
  throw failure(kind, handle, statement);
}

Error Link::failure(SQLSMALLINT kind, SQLHANDLE handle, std::string_view statement) const {
  return error_from(diagnosis_of(kind, handle), password_, statement);
}

Statement::Statement(std::shared_ptr<Link> link) : link_(std::move(link)) {
  link_->check(SQLAllocHandle(SQL_HANDLE_STMT, link_->handle(), &handle_), SQL_HANDLE_DBC, link_->handle());
}

Statement::~Statement() { free(); }

void Statement::free() {
  if (handle_ != nullptr) SQLFreeHandle(SQL_HANDLE_STMT, handle_);
  handle_ = nullptr;
}

Statement::Statement(Statement&& other) noexcept
    : link_(std::move(other.link_)), handle_(std::exchange(other.handle_, nullptr)) {}

std::string text_at(const Statement& statement, SQLUSMALLINT index) {
  std::array<char, 1024> buffer{};
  SQLLEN length = 0;
  statement.check(
      SQLGetData(statement.get(), index, SQL_C_CHAR, buffer.data(), SQLLEN{buffer.size()}, &length));
  return length == SQL_NULL_DATA ? std::string() : buffer.data();
}

}  // namespace quarno::odbc
