#include "ado/shape/shape_session.h"

#include <utility>

#include "ado/shape/compose.h"
#include "ado/shape/shape_text.h"

namespace quarno::ado::shape {
namespace {

class ShapeSession : public Session {
 public:
  explicit ShapeSession(std::unique_ptr<Session> data) : data_(std::move(data)) {}

  Outcome execute(const std::string& statement, std::int32_t timeout_seconds, Reading reading) override {
    const bool for_editing = std::exchange(to_be_edited_, {}) == statement;
    if (!is_shape(statement)) return data_->execute(statement, timeout_seconds, reading);
    Outcome outcome;
    outcome.rows = composed(*data_, parse_shape(statement), timeout_seconds, for_editing);
    return outcome;
  }
  Outcome execute_with(const std::string& statement, std::span<const Variant> parameters,
                       std::int32_t timeout_seconds) override {
    return data_->execute_with(statement, parameters, timeout_seconds);
  }
  SchemaSource* schema() override { return data_->schema(); }
  void prepare_editing(const std::string& statement) override {
    if (!is_shape(statement)) return data_->prepare_editing(statement);
    to_be_edited_ = statement;
  }
  std::int64_t write(const std::string& statement, std::span<const Variant> parameters,
                     std::int64_t most) override {
    data_->limit_writes(write_seconds_);
    return data_->write(statement, parameters, most);
  }
  bool write_rows(const std::string& statement, std::span<const std::vector<Variant>> rows) override {
    data_->limit_writes(write_seconds_);
    return data_->write_rows(statement, rows);
  }
  void together(const std::function<void()>& work) override {
    data_->limit_writes(write_seconds_);
    data_->together(work);
  }
  Variant last_identity(const std::string& table, const std::string& column) override {
    return data_->last_identity(table, column);
  }
  void begin() override { data_->begin(); }
  void commit() override { data_->commit(); }
  void rollback() override { data_->rollback(); }
  int transaction_level() const override { return data_->transaction_level(); }
  bool is_alive() override { return data_->is_alive(); }
  const Dialect& dialect() const override { return data_->dialect(); }
  bool has_indexes() const override { return data_->has_indexes(); }
  std::optional<std::vector<IndexColumn>> index_columns(const std::string& table,
                                                        const std::string& index) override {
    return data_->index_columns(table, index);
  }

 private:
  std::unique_ptr<Session> data_;
  std::string to_be_edited_;  // a command whose rows a host is going to change
};

}  // namespace

std::unique_ptr<Session> shaping_session(std::unique_ptr<Session> data) {
  if (dynamic_cast<ShapeSession*>(data.get()) != nullptr) return data;
  return std::make_unique<ShapeSession>(std::move(data));
}

}  // namespace quarno::ado::shape
