// Recordsets that no connection opens: from a file, and of columns that a host made. And their way into a
// file.
#include <algorithm>
#include <numeric>

#include "ado/Fields.h"
#include "ado/Recordset.h"
#include "ado/ado_error.h"
#include "ado/persist/hierarchy.h"
#include "common/text.h"

namespace quarno::ado {
namespace {

constexpr const char* kSource = "ADODB.Recordset";
constexpr std::int32_t kFileNotFound = -2147287038;
constexpr std::int32_t kFileExists = -2147286960;

// A text that can be nothing else, even when there is no such file.
bool is_file_name(std::string_view source) {
  constexpr std::string_view kEnd = ".xml";
  return source.size() > kEnd.size() && text::equal_fold(source.substr(source.size() - kEnd.size()), kEnd);
}

// No result is behind it.
class NoRows : public Rows {
 public:
  explicit NoRows(const std::vector<Column>& columns) : columns_(columns) {}
  const std::vector<Column>& columns() const override { return columns_; }
  std::size_t fetch(ColumnStore&, std::size_t) override { return 0; }

 private:
  std::vector<Column> columns_;
};

}  // namespace

// --- Files -------------------------------------------------------------------------------------------------

void Recordset::open_file(bool is_sure) {
  platform::Files& files = platform::files();
  if (!files.exists(source_)) {
    if (!is_sure && !is_file_name(source_)) throw model_error(Model::invalid_connection);
    throw Error(kFileNotFound, "The file was not found: " + source_, kSource);
  }
  auto reader = std::make_unique<persist::SnapshotReader>(
      persist::file_source(files.open(source_, platform::OpenFor::input)));
  const auto extras = reader->extras();
  std::shared_ptr<RowSet> rows = persist::rows_of(std::move(reader));
  cursor_location_ = adUseClient;
  command_timeout_ = extras->command_timeout;
  is_detached_ = true;
  take_rows(std::move(rows));
}

void Recordset::Save(const std::string& Destination, std::int32_t PersistFormat) {
  require_open();
  if (PersistFormat == adPersistADTG) {
    Error error = model_error(Model::feature_not_available);
    error.description += " Files in ADTG format are not written: give format 1, XML.";
    throw error;
  }
  if (PersistFormat != adPersistXML || Destination.empty()) throw model_error(Model::invalid_argument);
  const Error is_there(kFileExists, "File already exists.", kSource);
  if (platform::files().exists(Destination)) throw Error(is_there);
  try {
    save(Destination, false);
  } catch (const Error& error) {
    if (error.number == static_cast<std::int32_t>(RunTime::file_already_exists)) throw Error(is_there);
    throw;
  }
}

void Recordset::save(const std::string& path, bool over_file) {
  require_open();
  require_all_rows(is_forward_only_);
  finish_edit();
  const std::vector<std::size_t> order = saved_order();
  const auto table = persist::table_to_save(*rows_, lock_type_ != adLockReadOnly, command_timeout_);
  persist::save_snapshot(path, table, order, over_file ? persist::OverFile::yes : persist::OverFile::no);
  place_on_first(true);
}

// Criteria choose what is saved; what became of rows does not.
std::vector<std::size_t> Recordset::saved_order() const {
  load_all();
  const auto* const group = filter_.get_if<std::int32_t>();
  if (group != nullptr && *group != adFilterNone) {
    return chosen_rows(std::int32_t{adFilterNone}, sort_keys());
  }
  if (shown_) return *shown_;
  std::vector<std::size_t> all(rows_->row_count());
  std::iota(all.begin(), all.end(), std::size_t{0});
  return all;
}

// --- Columns that a host made ------------------------------------------------------------------------------

void Recordset::append_column(Column column) {
  if (is_open() || connection_) throw model_error(Model::illegal_operation, "ADODB.Fields");
  if (find_made_column(column.name) != NameIndex::kUnknown) {
    throw model_error(Model::in_collection, "ADODB.Fields");
  }
  made_columns_.push_back(std::move(column));
  field_objects_.push_back(nullptr);
}

Column& Recordset::made_column(std::size_t index) {
  if (is_open()) throw model_error(Model::illegal_operation, "ADODB.Field");
  return made_columns_.at(index);
}

std::int32_t Recordset::find_made_column(std::string_view name) const {
  const auto found =
      std::ranges::find_if(made_columns_, [&](const Column& c) { return text::equal_fold(c.name, name); });
  return found == made_columns_.end() ? NameIndex::kUnknown
                                      : static_cast<std::int32_t>(found - made_columns_.begin());
}

void Recordset::open_made_columns() {
  auto rows = std::make_shared<RowSet>(std::make_unique<NoRows>(made_columns_));
  rows->load(1);
  source_.clear();
  cursor_location_ = adUseClient;
  // What only its host fills can always be changed.
  if (lock_type_ == adLockReadOnly) lock_type_ = adLockBatchOptimistic;
  is_detached_ = true;
  take_rows(std::move(rows));
  made_columns_.clear();
}

// --- Long values, piece by piece ---------------------------------------------------------------------------

Variant Recordset::next_piece(std::size_t column, std::size_t size) {
  require_row();
  const std::size_t at = edit_mode_ == adEditAdd ? rows_->row_count() : row();
  if (piece_.column != column || piece_.row != at || piece_.is_written) {
    piece_ = {};
    Variant whole = value(column);
    piece_ = {column, at, 0, false, std::move(whole)};
  }
  std::size_t& position = piece_.position;
  if (const auto* const bytes = piece_.value.get_if<Variant::Bytes>(); bytes && position < bytes->size()) {
    const std::size_t count = std::min(size, bytes->size() - position);
    const auto begin = bytes->begin() + static_cast<std::ptrdiff_t>(position);
    position += count;
    return Variant::Bytes(begin, begin + static_cast<std::ptrdiff_t>(count));
  }
  if (const auto* const text = piece_.value.get_if<std::string>(); text && position < text->size()) {
    const std::string_view piece = text::left(std::string_view(*text).substr(position), size);
    position += piece.size();
    return piece;
  }
  return Variant::null();
}

void Recordset::append_piece(std::size_t column, const Variant& data) {
  require_row();
  const std::size_t at = edit_mode_ == adEditAdd ? rows_->row_count() : row();
  const bool goes_on = piece_.column == column && piece_.row == at && piece_.is_written &&
                       edit_mode_ != adEditNone && !pending_[column].is_null() && !data.is_null();
  if (!goes_on) {
    set_value(column, data);
    piece_ = {column, at, 0, true, {}};
    return;
  }
  const auto append = [](auto& to, const auto* piece) {
    if (piece == nullptr) throw model_error(Model::data_conversion, "ADODB.Field");
    to.insert(to.end(), piece->begin(), piece->end());
  };
  if (auto* const bytes = pending_[column].get_if<Variant::Bytes>()) {
    append(*bytes, data.get_if<Variant::Bytes>());
  } else if (auto* const text = pending_[column].get_if<std::string>()) {
    append(*text, data.get_if<std::string>());
  }
}

}  // namespace quarno::ado
