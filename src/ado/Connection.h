// A connection to one data source. It is closed at first; Open finds the provider that its string reaches.
// Recordsets opened on it are closed with it. Used on the thread that created it.
#pragma once

#include <cstdint>
#include <memory>
#include <string>
#include <vector>

#include "ado/Errors.h"
#include "ado/Properties.h"
#include "ado/ado_error.h"
#include "ado/enums.h"
#include "ado/provider.h"
#include "automation/automation.h"
#include "common/ref.h"

namespace quarno::ado {

class Recordset;

class Connection : public automation::Automation<Connection> {
 public:
  static constexpr std::string_view kClassName = "Connection";
  static std::span<const automation::Member> members();

  Connection();
  ~Connection() override;

  std::string ConnectionString() const { return text_; }
  void set_ConnectionString(const std::string& value);
  std::int32_t ConnectionTimeout() const { return connection_timeout_; }
  void set_ConnectionTimeout(std::int32_t seconds);
  std::int32_t CommandTimeout() const { return command_timeout_; }
  void set_CommandTimeout(std::int32_t seconds);
  std::int32_t CursorLocation() const { return cursor_location_; }
  void set_CursorLocation(std::int32_t value);
  std::int32_t State() const { return session_ != nullptr ? adStateOpen : adStateClosed; }
  Ptr<ado::Errors> Errors() const { return errors_; }
  Ptr<ado::Properties> Properties() const { return properties_; }

  void Open(const std::string& ConnectionString = {}, const std::string& UserID = {},
            const std::string& Password = {}, std::int32_t Options = -1);
  void Close();
  Ptr<Recordset> Execute(const std::string& CommandText, Ref<std::int32_t> RecordsAffected = {},
                         std::int32_t Options = -1);
  std::int32_t BeginTrans();
  void CommitTrans();
  void RollbackTrans();

  // For the model's other objects.

  bool is_open() const { return session_ != nullptr; }
  /// Open, and the data source still answers as far as its driver knows.
  bool is_alive() const { return session_ != nullptr && session_->is_alive(); }
  /// Lets go of a session whose data source is gone, with every recordset on it. True when a transaction went
  /// with it.
  bool drop_lost_session();
  /// What is asked of the open session from here on goes through what `around` makes of it.
  template <class Around>
  void extend_session(Around&& around) {
    if (session_ != nullptr) session_ = around(std::move(session_));
  }
  /// The open session; raises `closed` when there is none.
  Session& session(Model closed = Model::object_closed);
  /// Runs work of the provider's; what it reports as a failure also goes into Errors.
  template <class Work>
  auto report_failures(Work&& work) {
    try {
      return work();
    } catch (const Error& error) {
      if (error.from_provider) errors_->report(error);
      throw;
    }
  }
  void attach(Recordset& recordset) { recordsets_.push_back(&recordset); }
  void detach(Recordset& recordset);

 private:
  std::string text_;
  std::int32_t connection_timeout_ = 15;
  std::int32_t command_timeout_ = 30;
  std::int32_t cursor_location_ = adUseServer;
  Ptr<ado::Errors> errors_;
  Ptr<ado::Properties> properties_;
  std::unique_ptr<Session> session_;
  std::vector<Recordset*>
      recordsets_;  // open on this connection; they keep it alive, not the other way round
};

}  // namespace quarno::ado
