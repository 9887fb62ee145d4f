// What the contenders that call ODBC themselves share.
#pragma once

#include <sql.h>
#include <sqlext.h>

#include <string>

#include "measure.h"

namespace quarno::bench {

inline SQLCHAR* odbc_text(const std::string& text) {
  return const_cast<SQLCHAR*>(reinterpret_cast<const SQLCHAR*>(text.c_str()));
}

inline void check(SQLRETURN result, const char* what) { require(SQL_SUCCEEDED(result), what); }

// A connection with one statement.
class Link {
 public:
  explicit Link(const std::string& source) {
    check(SQLAllocHandle(SQL_HANDLE_ENV, SQL_NULL_HANDLE, &environment_), "SQLAllocHandle");
    // The number travels as a pointer.
    check(SQLSetEnvAttr(environment_, SQL_ATTR_ODBC_VERSION, reinterpret_cast<SQLPOINTER>(SQL_OV_ODBC3), 0),
          "SQLSetEnvAttr");
    check(SQLAllocHandle(SQL_HANDLE_DBC, environment_, &connection_), "SQLAllocHandle");
    connected_ = SQL_SUCCEEDED(SQLDriverConnect(connection_, nullptr, odbc_text("DSN=" + source), SQL_NTS,
                                                nullptr, 0, nullptr, SQL_DRIVER_NOPROMPT));
    if (connected_) check(SQLAllocHandle(SQL_HANDLE_STMT, connection_, &statement_), "SQLAllocHandle");
  }
  ~Link() {
    if (connected_) {
      SQLFreeHandle(SQL_HANDLE_STMT, statement_);
      SQLDisconnect(connection_);
    }
    SQLFreeHandle(SQL_HANDLE_DBC, connection_);
    SQLFreeHandle(SQL_HANDLE_ENV, environment_);
  }
  Link(const Link&) = delete;
  Link& operator=(const Link&) = delete;

  bool connected() const { return connected_; }
  SQLHSTMT statement() const { return statement_; }
  void execute(const std::string& text) const {
    check(SQLExecDirect(statement_, odbc_text(text), SQL_NTS), text.c_str());
  }
  void hold_transaction() const {
    // The number travels as a pointer.
    // NOLINTNEXTLINE(performance-no-int-to-ptr): the interface asks for it
    const auto off = reinterpret_cast<SQLPOINTER>(SQLULEN{SQL_AUTOCOMMIT_OFF});
    check(SQLSetConnectAttr(connection_, SQL_ATTR_AUTOCOMMIT, off, 0), "SQLSetConnectAttr");
  }
  void commit() const { check(SQLEndTran(SQL_HANDLE_DBC, connection_, SQL_COMMIT), "SQLEndTran"); }

 private:
  SQLHENV environment_ = nullptr;
  SQLHDBC connection_ = nullptr;
  SQLHSTMT statement_ = nullptr;
  bool connected_ = false;
};

}  // namespace quarno::bench
