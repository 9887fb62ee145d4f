#include "ado/ado_error.h"

namespace quarno::ado {
namespace {

std::string_view text_of(Model error) {
  switch (error) {
    case Model::invalid_argument:
      return "Arguments are of the wrong type, are out of acceptable range, or are in conflict with one "
             "another.";
    case Model::no_current_record:
      return "Either BOF or EOF is True, or the current record has been deleted. Requested operation "
             "requires a "
             "current record.";
    case Model::illegal_operation: return "Operation is not allowed in this context.";
    case Model::in_transaction:
      return "Connection object cannot be explicitly closed while in a transaction.";
    case Model::feature_not_available:
      return "Object or provider is not capable of performing requested operation.";
    case Model::item_not_found:
      return "Item cannot be found in the collection corresponding to the requested name or ordinal.";
    case Model::in_collection: return "Object is already in collection. Cannot append.";
    case Model::object_not_set: return "Object is no longer valid.";
    case Model::data_conversion:
      return "Application uses a value of the wrong type for the current operation.";
    case Model::object_closed: return "Operation is not allowed when the object is closed.";
    case Model::object_open: return "Operation is not allowed when the object is open.";
    case Model::provider_not_found: return "Provider cannot be found. It may not be properly installed.";
    case Model::invalid_connection:
      return "The connection cannot be used to perform this operation. It is either closed or invalid in "
             "this context.";
  }
  return "Provider failed to perform the requested operation.";
}

}  // namespace

Error model_error(Model error, std::string_view source) {
  return {full_number(error), std::string(text_of(error)), std::string(source)};
}

Error provider_error(std::int32_t number, std::string description, std::string source) {
  Error error(number, std::move(description), std::move(source));
  error.from_provider = true;
  return error;
}

Error multiple_step_error() {
  return {kMultipleStep, "Multiple-step operation generated errors. Check each status value.", "ADODB.Field"};
}

}  // namespace quarno::ado
