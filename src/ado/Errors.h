// The connection's Errors: what the data source reported for the last operation that failed.
#pragma once

#include <vector>

#include "automation/automation.h"
#include "common/error.h"

namespace quarno::ado {

class ErrorObject : public automation::Automation<ErrorObject> {
 public:
  static constexpr std::string_view kClassName = "Error";
  static std::span<const automation::Member> members();

  explicit ErrorObject(Error error)
      : error_(std::move(error)) {}  // NOLINT(bugprone-throw-keyword-missing): it is kept, not raised
  const Error& error() const { return error_; }

  std::int32_t Number() const { return error_.number; }
  std::string Description() const { return error_.description; }
  std::string Source() const { return error_.source; }
  std::string SQLState() const { return error_.sql_state; }
  std::int32_t NativeError() const { return error_.native_number; }

 private:
  Error error_;
};

class Errors : public automation::Automation<Errors> {
 public:
  static constexpr std::string_view kClassName = "Errors";
  static std::span<const automation::Member> members();

  std::int32_t Count() const { return static_cast<std::int32_t>(items_.size()); }
  Ptr<ErrorObject> Item(const Variant& Index) const;
  void Clear() { items_.clear(); }

  /// Replaces what an earlier failure left.
  void report(const Error& error);

 private:
  std::vector<Ptr<ErrorObject>> items_;
};

}  // namespace quarno::ado
