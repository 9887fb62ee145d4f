#include "common/error.h"

#include <new>

namespace quarno {

std::string_view run_time_text(RunTime number) {
  switch (number) {
    case RunTime::invalid_call: return "Invalid procedure call or argument";
    case RunTime::overflow: return "Overflow";
    case RunTime::out_of_memory: return "Out of memory";
    case RunTime::subscript_out_of_range: return "Subscript out of range";
    case RunTime::division_by_zero: return "Division by zero";
    case RunTime::type_mismatch: return "Type mismatch";
    case RunTime::bad_file_number: return "Bad file name or number";
    case RunTime::file_not_found: return "File not found";
    case RunTime::device_io_error: return "Device I/O error";
    case RunTime::file_already_exists: return "File already exists";
    case RunTime::disk_full: return "Disk full";
    case RunTime::input_past_end: return "Input past end of file";
    case RunTime::too_many_files: return "Too many files";
    case RunTime::permission_denied: return "Permission denied";
    case RunTime::path_file_access: return "Path/File access error";
    case RunTime::path_not_found: return "Path not found";
    case RunTime::object_not_set: return "Object variable or With block variable not set";
    case RunTime::invalid_null: return "Invalid use of Null";
    case RunTime::object_required: return "Object required";
    case RunTime::cannot_create_object: return "ActiveX component can't create object";
    case RunTime::unknown_member: return "Object doesn't support this property or method";
    case RunTime::automation_error: return "Automation error";
    case RunTime::unsupported_action: return "Object doesn't support this action";
    case RunTime::named_argument_not_found: return "Named argument not found";
    case RunTime::argument_not_optional: return "Argument not optional";
    case RunTime::wrong_argument_count: return "Wrong number of arguments or invalid property assignment";
    case RunTime::not_a_collection: return "Object not a collection";
  }
  return "Application-defined or object-defined error";
}

Error run_time_error(RunTime number, std::string_view detail) {
  std::string description(run_time_text(number));
  if (!detail.empty()) description.append(": ").append(detail);
  return {static_cast<std::int32_t>(number), std::move(description), "CorvexFwk"};
}

ErrorRecord& current_error() {
  thread_local ErrorRecord instance;
  return instance;
}

Error error_being_handled() {
  try {
    throw;
  } catch (const Error& error) {
    return error;
  } catch (const std::bad_alloc&) {
    return run_time_error(RunTime::out_of_memory);
  } catch (const std::exception& error) {
    return run_time_error(RunTime::automation_error, error.what());
  } catch (...) {
    return run_time_error(RunTime::automation_error);
  }
}

void record(const Error& error) { current_error() = {error.number, error.description, error.source}; }

}  // namespace quarno
