// Owners of the driver manager's handles, and the one way a failed call becomes an error.
#pragma once

#include <sql.h>
#include <sqlext.h>

#include <memory>
#include <string>
#include <string_view>

#include "common/error.h"

namespace quarno::odbc {

// The calls take their text as non-const and do not change it.
inline SQLCHAR* odbc_text(const std::string& text) {
  return const_cast<SQLCHAR*>(reinterpret_cast<const SQLCHAR*>(text.c_str()));
}

/// Attributes that are numbers travel as pointers.
inline SQLPOINTER odbc_number(SQLULEN number) {
  // NOLINTNEXTLINE(performance-no-int-to-ptr): the interface asks for it
  return reinterpret_cast<SQLPOINTER>(number);
}

/// One connection with the environment it lives in. Disconnects at the end; work left in a transaction is
/// undone.
class Link {
 public:
  Link();
  ~Link();
  Link(const Link&) = delete;
  Link& operator=(const Link&) = delete;

  SQLHENV environment() const { return environment_; }
  SQLHDBC handle() const { return connection_; }
  /// Connects by a driver's text; `password` is kept out of every message from here on.
  void connect(const std::string& text, std::string password);
  void set(SQLINTEGER attribute, SQLULEN value);
  void begin_transaction() { set(SQL_ATTR_AUTOCOMMIT, SQL_AUTOCOMMIT_OFF); }
  /// `how` is SQL_COMMIT or SQL_ROLLBACK.
  void end_transaction(SQLSMALLINT how);
  /// Raises what the driver reports when `result` is a failure. SQL_NO_DATA is none.
  void check(SQLRETURN result, SQLSMALLINT kind, SQLHANDLE handle, std::string_view statement = {}) const;
  /// What the last call on the handle left, as an error.
  Error failure(SQLSMALLINT kind, SQLHANDLE handle, std::string_view statement) const;

 private:
  void disconnect();

  SQLHENV environment_ = nullptr;
  SQLHDBC connection_ = nullptr;
  bool connected_ = false;
  std::string password_;
};

/// A statement handle, freed before its connection, which it keeps.
class Statement {
 public:
  explicit Statement(std::shared_ptr<Link> link);
  ~Statement();
  Statement(Statement&& other) noexcept;
  Statement(const Statement&) = delete;
  Statement& operator=(const Statement&) = delete;
  Statement& operator=(Statement&&) = delete;

  SQLHSTMT get() const { return handle_; }
  void check(SQLRETURN result, std::string_view text = {}) const {
    link_->check(result, SQL_HANDLE_STMT, handle_, text);
  }
  Error failure(std::string_view text) const { return link_->failure(SQL_HANDLE_STMT, handle_, text); }
  /// Ends the result that is open; the connection is free for the next statement.
  void close() const { SQLFreeStmt(handle_, SQL_CLOSE); }
  /// Nothing can be done with it any more.
  void free();

 private:
  std::shared_ptr<Link> link_;
  SQLHSTMT handle_ = nullptr;
};

/// A value of the current row as text; empty for null.
std::string text_at(const Statement& statement, SQLUSMALLINT index);

}  // namespace quarno::odbc
