// The worker's rows beyond a connection: snapshots, the table in memory, and long fields to and from files.
#include "ado/ado_error.h"
#include "ado/persist/whole_file.h"
#include "common/error.h"
#include "common/text.h"
#include "data/CRecorset.h"
#include "data/piecewise.h"
#include "platform/data_files.h"
#include "platform/files.h"

namespace quarno::data {
namespace {

bool is_no_regular_file(const std::string& path) {
  if (!platform::files().exists(path)) return false;
  try {
    platform::data_files().open(path, platform::DataFiles::Access::read);
    return false;
  } catch (const Error& error) {
    return error.number == static_cast<std::int32_t>(RunTime::path_file_access);
  }
}

}  // namespace

bool CRecorset::save_snapshot(const std::string& path, bool over_file) {
  if (text::upper(path).find(".XML") == std::string::npos) return false;
  if (!over_file && platform::files().exists(path)) return false;
  try {
    open_rows().save(path, over_file);
  } catch (const Error& error) {
    // It came up meanwhile.
    if (error.number == static_cast<std::int32_t>(RunTime::file_already_exists) && !over_file) return false;
    throw;
  }
  past_end_ = false;
  take_child();
  return true;
}

bool CRecorset::open_snapshot(const std::string& path) {
  close_recordset();
  if (!recordset_) recordset_ = make<ado::Recordset>();
  recordset_->set_CursorLocation(ado::adUseClient);
  // Odd and kept: small letters only, unlike what is saved.
  if (path.find(".xml") == std::string::npos || !platform::files().exists(path)) return false;
  recordset_->set_CursorType(ado::adOpenStatic);
  recordset_->set_LockType(ado::adLockBatchOptimistic);
  recordset_->set_ActiveConnection({});
  clone_ = nullptr;
  past_end_ = editing_ = false;
  recordset_->Open(path, Variant(), ado::adOpenUnspecified, ado::adLockUnspecified, ado::adCmdFile);
  clone_ = recordset_->Clone();
  is_from_file_ = true;
  take_child();
  return true;
}

// --- The table in memory -----------------------------------------------------------------------------------

ado::Recordset& CRecorset::detached() {
  if (!detached_) detached_ = make<ado::Recordset>();
  return *detached_;
}

void CRecorset::open_detached() {
  ado::Recordset& rows = detached();
  rows.set_ActiveConnection({});
  rows.set_CursorLocation(ado::adUseClient);
  rows.set_LockType(ado::adLockBatchOptimistic);
  rows.Open(Variant(), Variant());
  detached_past_end_ = false;
  if (!is_recordset_open()) replace_recordset(detached_);
}

bool CRecorset::delete_detached_row() {
  if (!detached().on_row()) return false;
  detached().Delete();
  return true;
}

bool CRecorset::move_detached(std::int32_t count) {
  detached_past_end_ = false;
  detached().Move(count);
  return detached().on_row();
}

Variant CRecorset::detached_value(std::string_view name) const {
  if (!detached_ || !detached_->on_row()) return {};
  return value_or_substitute(*detached_, detached_->column_index(text::trim(name)));
}

// --- Long fields -------------------------------------------------------------------------------------------

// A field whose values are texts or bytes.
std::size_t CRecorset::long_column(const ado::Recordset& rows, std::string_view name) {
  const std::size_t index = rows.column_index(text::trim(name));
  const ado::DataType type = rows.columns()[index].type;
  if (!ado::is_binary(type) && !ado::is_text(type) && type != ado::DataType::variant) {
    throw ado::model_error(ado::Model::illegal_operation, "ADODB.Field");
  }
  return index;
}

void CRecorset::field_to_file(std::string_view name, const std::string& path) {
  ado::Recordset& rows = open_rows();
  const std::size_t index = long_column(rows, name);
  // Without a current row this raises before the file is touched. The whole value is asked for: a walk
  // through the field in pieces goes on where the last one ended, or broke off.
  const Variant value = rows.value(index);
  const auto* const bytes = value.get_if<Variant::Bytes>();
  std::optional<std::size_t> size;
  if (!value.is_text()) size = bytes != nullptr ? bytes->size() : 0;
  const auto copy_to = [&](auto& file) {
    copy_pieces(size, pieces_of(value), [&](std::string_view piece) { file.write(piece); });
  };
  if (is_no_regular_file(path)) {
    // Devices and pipes are written to, never replaced; a folder is refused.
    const auto file = platform::files().open(path, platform::OpenFor::output);
    copy_to(*file);
    return file->close();
  }
  ado::persist::WholeFile file(path);
  copy_to(file);
  file.place(ado::persist::OverFile::yes);
}

void CRecorset::file_to_field(std::string_view name, const std::string& path) {
  ado::Recordset& rows = open_rows();
  const std::size_t index = long_column(rows, name);
  if (!platform::files().exists(path)) return;
  const bool is_text = ado::is_text(rows.columns()[index].type);
  const auto file = platform::files().open(path, platform::OpenFor::input);
  std::string piece(kPieceSize, '\0');
  for (bool is_first = true;; is_first = false) {
    std::size_t count = 0;
    while (count < piece.size()) {
      const std::size_t more = file->read(std::span(piece).subspan(count));
      if (more == 0) break;
      count += more;
    }
    if (count == 0) return;
    const std::string_view read = std::string_view(piece).substr(0, count);
    editing_ = true;
    // Else it would be appended to what the last walk through the field wrote.
    if (is_first) rows.set_value(index, is_text ? Variant("") : Variant(Variant::Bytes()));
    rows.append_piece(index, is_text ? Variant(text::from_windows_1252(read))
                                     : Variant(Variant::Bytes(read.begin(), read.end())));
  }
}

}  // namespace quarno::data
