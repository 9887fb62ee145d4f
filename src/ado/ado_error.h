// Errors of the data-access object model itself, and the numbers under which data sources report theirs.
#pragma once

#include <cstdint>
#include <string_view>

#include "common/error.h"

namespace quarno::ado {

/// The model's own errors; raised as full negative numbers with the fixed text.
enum class Model : std::int32_t {
  invalid_argument = 3001,
  no_current_record = 3021,
  illegal_operation = 3219,
  in_transaction = 3246,
  feature_not_available = 3251,
  item_not_found = 3265,
  in_collection = 3367,
  object_not_set = 3420,
  data_conversion = 3421,
  object_closed = 3704,
  object_open = 3705,
  provider_not_found = 3706,
  invalid_connection = 3709,
};

/// HRESULT of the model's error n: 0x800A0000 + n.
constexpr std::int32_t full_number(Model error) {
  return static_cast<std::int32_t>(0x800A0000u + static_cast<std::uint32_t>(error));
}

Error model_error(Model error, std::string_view source = "ADODB.Recordset");

/// Numbers under which a data source's own failures are reported.
inline constexpr std::int32_t kUnspecified = -2147467259;  // 0x80004005
inline constexpr std::int32_t kTypeMismatchInCriteria = -2147217913;
inline constexpr std::int32_t kReadOnly = -2147217911;
inline constexpr std::int32_t kNoCommandText = -2147217908;
inline constexpr std::int32_t kParameterMissing = -2147217904;
inline constexpr std::int32_t kErrorsInCommand = -2147217900;
inline constexpr std::int32_t kMultipleStep = -2147217887;
inline constexpr std::int32_t kNoBackwardFetch = -2147217884;
inline constexpr std::int32_t kDeletedRow = -2147217885;
inline constexpr std::int32_t kIntegrityViolation = -2147217873;
inline constexpr std::int32_t kTimeoutExpired = -2147217871;
inline constexpr std::int32_t kNoSuchIndex = -2147217867;
inline constexpr std::int32_t kTableNotFound = -2147217865;
inline constexpr std::int32_t kConflict = -2147217864;
inline constexpr std::int32_t kLoginFailed = -2147217843;
inline constexpr std::int32_t kNoTransaction = -2147168242;
inline constexpr std::int32_t kTransactionActive = -2147168237;

/// An error that the data source reports; it also goes into the connection's Errors.
Error provider_error(std::int32_t number, std::string description, std::string source);

/// A column assignment that failed: too long, out of range, not updatable.
Error multiple_step_error();

}  // namespace quarno::ado
