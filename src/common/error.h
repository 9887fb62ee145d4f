// The one exception type, and the thread's current error record. Inside the library a failing call throws
// Error; each class turns it into its own kind of failure in one place, and the boundary turns what still
// reaches it into a status plus the record.
#pragma once

#include <cstdint>
#include <exception>
#include <string>
#include <string_view>

namespace quarno {

/// Numbers of the language run time; each has a fixed text.
enum class RunTime : std::int32_t {
  invalid_call = 5,
  overflow = 6,
  out_of_memory = 7,
  subscript_out_of_range = 9,
  division_by_zero = 11,
  type_mismatch = 13,
  bad_file_number = 52,
  file_not_found = 53,
  device_io_error = 57,
  file_already_exists = 58,
  disk_full = 61,
  input_past_end = 62,
  too_many_files = 67,
  permission_denied = 70,
  path_file_access = 75,
  path_not_found = 76,
  object_not_set = 91,
  invalid_null = 94,
  object_required = 424,
  cannot_create_object = 429,
  unknown_member = 438,
  automation_error = 440,
  unsupported_action = 445,
  named_argument_not_found = 448,
  argument_not_optional = 449,
  wrong_argument_count = 450,
  not_a_collection = 451,
};

class Error : public std::exception {
 public:
  Error(std::int32_t error_number, std::string error_description, std::string error_source = {})
      : number(error_number), description(std::move(error_description)), source(std::move(error_source)) {}

  const char* what() const noexcept override { return description.c_str(); }

  std::int32_t
      number;  ///< run-time number, data-access number (a full negative HRESULT) or the library's own
  std::string description;  ///< for the reader of a message box or a log line; never holds a password
  std::string source;       ///< where the error arose

  // Known only when a data source reported the error.
  bool from_provider =
      false;              ///< the data source itself reported it: it also stands in the Errors collection
  std::string sql_state;  ///< five characters, or empty
  std::int32_t native_number = 0;  ///< the engine's own code, 0 when it gave none
  std::string statement;           ///< the SQL text that failed, or empty
};

/// The run-time error of that number with its fixed text and source "CorvexFwk". A non-empty `detail` is
/// appended as ": detail".
Error run_time_error(RunTime number, std::string_view detail = {});

/// The fixed text of a run-time error number.
std::string_view run_time_text(RunTime number);

/// What the calling thread's last raised or recorded error was; number 0 and empty texts before the first.
struct ErrorRecord {
  std::int32_t number = 0;
  std::string description;
  std::string source;
};

/// The calling thread's record itself; it may be changed in place.
ErrorRecord& current_error();

/// The exception being handled as an Error: out of memory is 7, anything else that is no Error 440. Call it
/// inside a catch block only.
Error error_being_handled();

/// Stores an error in the calling thread's record.
void record(const Error& error);

/// For tidying up after a failure, which is the one to report: what fails here goes unsaid.
template <class Work>
void quietly(Work&& work) {
  try {
    work();
  } catch (const Error&) {  // NOLINT(bugprone-empty-catch)
  }
}

}  // namespace quarno
