// Numbers of the data-access object model, as hosts pass and read them.
#pragma once

#include <cstdint>

namespace quarno::ado {

enum class DataType : std::int32_t {
  empty = 0,
  small_int = 2,
  integer = 3,
  single = 4,
  real = 5,  // adDouble
  currency = 6,
  date = 7,
  bstr = 8,
  dispatch = 9,
  error = 10,
  boolean = 11,
  variant = 12,
  unknown = 13,
  decimal = 14,
  tiny_int = 16,
  unsigned_tiny_int = 17,
  unsigned_small_int = 18,
  unsigned_int = 19,
  big_int = 20,
  unsigned_big_int = 21,
  guid = 72,
  binary = 128,
  char_ = 129,
  wchar = 130,
  numeric = 131,
  user_defined = 132,
  db_date = 133,
  db_time = 134,
  db_timestamp = 135,
  chapter = 136,
  var_char = 200,
  long_var_char = 201,
  var_wchar = 202,
  long_var_wchar = 203,
  var_binary = 204,
  long_var_binary = 205,
};

enum CursorType : std::int32_t {
  adOpenUnspecified = -1,
  adOpenForwardOnly = 0,
  adOpenKeyset = 1,
  adOpenDynamic = 2,
  adOpenStatic = 3,
};
enum CursorLocation : std::int32_t { adUseServer = 2, adUseClient = 3 };
enum LockType : std::int32_t {
  adLockUnspecified = -1,
  adLockReadOnly = 1,
  adLockPessimistic = 2,
  adLockOptimistic = 3,
  adLockBatchOptimistic = 4,
};
enum ObjectState : std::int32_t { adStateClosed = 0, adStateOpen = 1, adStateFetching = 8 };
enum EditMode : std::int32_t { adEditNone = 0, adEditInProgress = 1, adEditAdd = 2, adEditDelete = 4 };
enum Position : std::int32_t { adPosUnknown = -1, adPosBOF = -2, adPosEOF = -3 };
/// Bits of a row's status.
enum RecordStatus : std::int32_t {
  adRecOK = 0,
  adRecNew = 1,
  adRecModified = 2,
  adRecDeleted = 4,
  adRecUnmodified = 8,
  adRecInvalid = 0x10,
  adRecConcurrencyViolation = 0x800,
  adRecIntegrityViolation = 0x1000,
  adRecPermissionDenied = 0x10000
};
/// Which rows UpdateBatch and CancelBatch mean.
enum Affect : std::int32_t { adAffectCurrent = 1, adAffectGroup = 2, adAffectAll = 3 };
/// Rows that a Filter can choose by what became of them.
enum FilterGroup : std::int32_t {
  adFilterNone = 0,
  adFilterPendingRecords = 1,
  adFilterAffectedRecords = 2,
  adFilterConflictingRecords = 5
};
enum OpenOption : std::int32_t {
  adCmdText = 1,
  adCmdTable = 2,
  adCmdStoredProc = 4,
  adCmdUnknown = 8,
  adAsyncFetch = 32,
  adAsyncFetchNonBlocking = 64,
  adExecuteNoRecords = 128,
  adCmdFile = 256,
  adCmdTableDirect = 512
};
enum PersistFormat : std::int32_t { adPersistADTG = 0, adPersistXML = 1 };
enum SeekOption : std::int32_t {
  adSeekFirstEQ = 1,
  adSeekLastEQ = 2,
  adSeekAfterEQ = 4,
  adSeekAfter = 8,
  adSeekBeforeEQ = 16,
  adSeekBefore = 32
};
enum CursorOption : std::int32_t {
  adHoldRecords = 0x100,
  adMovePrevious = 0x200,
  adBookmark = 0x2000,
  adApproxPosition = 0x4000,
  adFind = 0x80000,
  adUpdateBatch = 0x10000,
  adIndex = 0x100000,
  adSeek = 0x200000,
  adAddNew = 0x1000400,
  adDelete = 0x1000800,
  adUpdate = 0x1008000,
};
/// Bits of a field's attributes.
enum FieldAttribute : std::int32_t {
  adFldUpdatable = 4,
  adFldFixed = 0x10,
  adFldIsNullable = 0x20,
  adFldMayBeNull = 0x40,
  adFldLong = 0x80,
  adFldIsChapter = 0x2000,
  adFldKeyColumn = 0x8000,
};

constexpr bool is_wide_text(DataType t) {
  return t == DataType::wchar || t == DataType::var_wchar || t == DataType::long_var_wchar ||
         t == DataType::bstr;
}
constexpr bool is_text(DataType t) {
  return is_wide_text(t) || t == DataType::char_ || t == DataType::var_char || t == DataType::long_var_char ||
         t == DataType::guid;
}
constexpr bool is_binary(DataType t) {
  return t == DataType::binary || t == DataType::var_binary || t == DataType::long_var_binary;
}
constexpr bool is_long(DataType t) {
  return t == DataType::long_var_char || t == DataType::long_var_wchar || t == DataType::long_var_binary;
}
constexpr bool is_date(DataType t) {
  return t == DataType::date || t == DataType::db_date || t == DataType::db_time ||
         t == DataType::db_timestamp;
}

}  // namespace quarno::ado
