#include "ado/persist/snapshot_reader.h"

#include <expat.h>

#include <algorithm>
#include <cstring>
#include <exception>
#include <optional>
#include <unordered_map>

#include "ado/persist/blank_keeper.h"
#include "ado/persist/schema.h"
#include "ado/persist/snapshot_error.h"
#include "ado/persist/value_text.h"
#include "common/text.h"

namespace quarno::ado::persist {
namespace {

constexpr std::size_t kDeepest = 64;
constexpr std::size_t kLongestTag = std::size_t{1} << 30;

struct FoldedHash {
  std::size_t operator()(const std::string& text) const { return text::hash_fold(text); }
};
struct FoldedEqual {
  bool operator()(const std::string& a, const std::string& b) const { return text::equal_fold(a, b); }
};

// Takes the attributes of one kind of rows.
class RowTaker {
 public:
  explicit RowTaker(const RowShape& shape) : shape_(shape), values_(shape.columns.size()) {
    for (std::size_t i = 0; i < shape.places.size(); ++i) {
      exact_.emplace(shape.places[i].key, i);
      folded_.emplace(shape.places[i].key, i);
    }
    for (const RowShape& chapter : shape.chapters) chapters_.emplace_back(chapter);
  }

  const RowShape& shape() const { return shape_; }
  std::vector<RowTaker>& chapters() { return chapters_; }

  void take(const char** attributes);
  bool is_duplicate() const { return is_duplicate_; }
  /// Appends what was taken; a new row need not have all of its values yet.
  void append_to(ColumnStore& store, bool is_new, std::uint64_t line) const;
  /// Which columns were written or said to be null.
  std::vector<bool> assigned() const;
  std::vector<std::pair<std::size_t, Variant>> changes(std::uint64_t line) const;

 private:
  std::optional<std::size_t> find(const std::string& key) const;

  const RowShape& shape_;
  std::unordered_map<std::string, std::size_t> exact_;
  std::unordered_map<std::string, std::size_t, FoldedHash, FoldedEqual> folded_;
  std::vector<RowTaker> chapters_;
  std::vector<const char*> values_;  // by column; null where there is none
  std::string_view nulls_;           // columns that were set to null
  bool is_duplicate_ = false;
};

std::optional<std::size_t> RowTaker::find(const std::string& key) const {
  const auto exact = exact_.find(key);
  if (exact != exact_.end()) return exact->second;
  const auto folded = folded_.find(key);
  if (folded != folded_.end()) return folded->second;
  return std::nullopt;
}

void RowTaker::take(const char** attributes) {
  std::ranges::fill(values_, nullptr);
  nulls_ = {};
  is_duplicate_ = false;
  // Values mostly come in the columns' order.
  std::size_t next = 0;
  for (; *attributes != nullptr; attributes += 2) {
    const char* const key = attributes[0];
    if (next < values_.size() && std::strcmp(shape_.places[next].key.c_str(), key) == 0) {
      values_[next++] = attributes[1];
    } else if (const auto found = find(key)) {
      values_[*found] = attributes[1];
      next = *found + 1;
    } else if (const Name name = Name::of(key); name.is(Space::rowset, "forcenull")) {
      nulls_ = attributes[1];
    } else if (name.is(Space::rowset, "duplicate")) {
      is_duplicate_ = text::equal_fold(attributes[1], "true");
    }
  }
}

void RowTaker::append_to(ColumnStore& store, bool is_new, std::uint64_t line) const {
  for (std::size_t i = 0; i < values_.size(); ++i) {
    if (values_[i] == nullptr) {
      if (!is_new && !shape_.places[i].may_be_absent) throw bad_value(line, shape_.columns[i].name);
      store.column(i).append_null();
    } else if (!append_value(store.column(i), shape_.columns[i], values_[i])) {
      throw bad_value(line, shape_.columns[i].name);
    }
  }
}

std::vector<bool> RowTaker::assigned() const {
  std::vector<bool> assigned(values_.size());
  for (std::size_t i = 0; i < values_.size(); ++i) assigned[i] = values_[i] != nullptr;
  constexpr std::string_view kBlanks = " \t\r\n";
  for (std::string_view rest = nulls_; !rest.empty();) {
    const std::string_view key = rest.substr(0, rest.find_first_of(kBlanks));
    rest.remove_prefix(std::min(rest.size(), key.size() + 1));
    if (const auto found = find(std::string(key))) assigned[*found] = true;
  }
  return assigned;
}

std::vector<std::pair<std::size_t, Variant>> RowTaker::changes(std::uint64_t line) const {
  std::vector<std::pair<std::size_t, Variant>> result;
  const std::vector<bool> are_assigned = assigned();
  for (std::size_t i = 0; i < values_.size(); ++i) {
    if (!are_assigned[i]) continue;
    Variant value = Variant::null();
    if (values_[i] != nullptr) {
      ColumnData data(shape_.columns[i].type);
      if (!append_value(data, shape_.columns[i], values_[i])) throw bad_value(line, shape_.columns[i].name);
      value = data.value(0);
    }
    result.emplace_back(i, std::move(value));
  }
  return result;
}

ChapterData chapter_data(const RowShape& shape) {
  ChapterData data(shape.columns);
  data.name = shape.name;
  data.reshape_name = shape.reshape_name;
  data.position = shape.position;
  data.relation = shape.relation;
  data.is_computed = shape.is_computed;
  for (const RowShape& chapter : shape.chapters) data.chapters.push_back(chapter_data(chapter));
  return data;
}

int take_encoding(void*, const XML_Char* name, XML_Encoding* encoding) {
  if (!text::equal_fold(name, "windows-1252")) return XML_STATUS_ERROR;
  for (int byte = 0; byte < 256; ++byte) {
    const char c = static_cast<char>(byte);
    const std::string character = text::from_windows_1252({&c, 1});
    std::size_t at = 0;
    encoding->map[byte] = static_cast<int>(text::next_character(character, at));
  }
  return XML_STATUS_OK;
}

}  // namespace

// Runs the parser over the text and stops it where enough rows were taken.
class SnapshotReader::Parsing {
 public:
  explicit Parsing(ByteSource source) : text_(std::move(source)) {
    advance_until([&] { return taker_.has_value(); });
    if (!taker_) throw no_snapshot("There is no schema in it.");
  }

  const RowShape& shape() const { return shape_; }
  std::shared_ptr<Extras> extras() const { return extras_; }

  std::size_t fetch(ColumnStore& store, std::size_t limit) {
    store_ = &store;
    taken_ = 0;
    limit_ = limit;
    advance_until([&] { return taken_ >= limit_; });
    return taken_;
  }

 private:
  enum class Place { root, schema, data, insert, update, original, deleted, row, chapter, ignored };
  struct Open {
    Place place;
    RowTaker* taker = nullptr;                     // of a row
    ChapterData* data = nullptr;                   // of a chapter's row
    std::vector<ChapterData>* chapters = nullptr;  // below a row
  };
  struct Free {
    void operator()(XML_Parser parser) const { XML_ParserFree(parser); }
  };

  template <class Enough>
  void advance_until(const Enough& enough);
  void feed();
  void check(XML_Status status);
  void make_parser();
  // Exceptions do not pass through the parser: the first one is kept and raised behind it.
  template <class Work>
  void guarded(const Work& work) {
    if (failure_) return;
    try {
      work();
    } catch (...) {
      failure_ = std::current_exception();
      XML_StopParser(parser_.get(), XML_FALSE);
    }
  }

  void start(const char* parsed, const char** pairs);
  void start_in(Open parent, const char* parsed, const char** pairs);
  void end();
  void start_row(Place kind, const char** pairs);
  void start_chapter_row(const Open& parent, const Name& name, const char** pairs);
  bool is_row(const char* parsed);
  void pause() { XML_StopParser(parser_.get(), XML_TRUE); }
  std::uint64_t line() const { return XML_GetCurrentLineNumber(parser_.get()); }

  TextSource text_;
  std::unique_ptr<std::remove_pointer_t<XML_Parser>, Free> parser_;
  BlankKeeper keeper_;
  std::string block_;
  bool is_paused_ = false, is_done_ = false, was_read_ = false;
  std::exception_ptr failure_;

  SchemaReader schema_;
  RowShape shape_;
  std::optional<RowTaker> taker_;  // once the schema was read
  std::shared_ptr<Extras> extras_ = std::make_shared<Extras>();
  std::vector<Open> open_;
  std::string row_name_;       // as the parser hands it out
  bool has_original_ = false;  // the changed row of an update may follow

  ColumnStore* store_ = nullptr;
  std::size_t row_count_ = 0;
  std::size_t taken_ = 0;
  std::size_t limit_ = 0;
};

void SnapshotReader::Parsing::make_parser() {
  const char separator[] = {kSpaceEnd, '\0'};
  parser_.reset(XML_ParserCreateNS(text_.is_utf8() ? "UTF-8" : nullptr, separator[0]));
  if (parser_ == nullptr) throw std::bad_alloc();
  XML_SetUserData(parser_.get(), this);
  XML_SetUnknownEncodingHandler(parser_.get(), take_encoding, nullptr);
  XML_SetElementHandler(
      parser_.get(),
      [](void* self, const XML_Char* name, const XML_Char** pairs) {
        auto* const parsing = static_cast<Parsing*>(self);
        parsing->guarded([&] { parsing->start(name, pairs); });
      },
      [](void* self, const XML_Char*) {
        auto* const parsing = static_cast<Parsing*>(self);
        parsing->guarded([&] { parsing->end(); });
      });
  // Declarations could make a small file large, or name others: no snapshot has any.
  XML_SetStartDoctypeDeclHandler(
      parser_.get(), [](void* self, const XML_Char*, const XML_Char*, const XML_Char*, int) {
        static_cast<Parsing*>(self)->guarded([] { throw no_snapshot("It declares a document type."); });
      });
}

template <class Enough>
void SnapshotReader::Parsing::advance_until(const Enough& enough) {
  while (!enough() && !is_done_) {
    if (failure_) std::rethrow_exception(failure_);
    if (is_paused_) {
      is_paused_ = false;
      check(XML_ResumeParser(parser_.get()));
    } else {
      feed();
    }
    if (failure_) std::rethrow_exception(failure_);
  }
}

void SnapshotReader::Parsing::feed() {
  bool is_end = false;
  std::string_view ready;
  while (ready.empty() && !is_end) {
    block_.clear();
    is_end = !text_.read(block_);
    if (parser_ == nullptr) make_parser();
    keeper_.add(block_);
    if (keeper_.waiting() > kLongestTag) throw no_snapshot("A tag is too long.");
    ready = keeper_.ready(is_end);
  }
  const std::size_t count = ready.size();
  was_read_ = is_end;
  check(XML_Parse(parser_.get(), ready.data(), static_cast<int>(count), is_end ? XML_TRUE : XML_FALSE));
  keeper_.drop(count);
}

void SnapshotReader::Parsing::check(XML_Status status) {
  if (failure_) return;
  if (status == XML_STATUS_SUSPENDED) {
    is_paused_ = true;
  } else if (status == XML_STATUS_ERROR) {
    // What is no text of this kind at all needs no line.
    std::string detail;
    if (!open_.empty()) {
      detail =
          "Line " + std::to_string(line()) + ": " + XML_ErrorString(XML_GetErrorCode(parser_.get())) + ".";
    }
    failure_ = std::make_exception_ptr(no_snapshot(detail));
  } else if (was_read_) {
    is_done_ = true;
    if (!taker_) failure_ = std::make_exception_ptr(no_snapshot("There is no schema in it."));
  }
}

bool SnapshotReader::Parsing::is_row(const char* parsed) {
  if (row_name_ == parsed) return true;
  const Name name = Name::of(parsed);
  if (name.space == Space::rowset || !text::equal_fold(name.local, shape_.element)) return false;
  row_name_ = parsed;
  return true;
}

void SnapshotReader::Parsing::start(const char* parsed, const char** pairs) {
  if (open_.size() >= kDeepest) throw no_snapshot("It is nested too deeply.");
  if (open_.empty()) return open_.push_back({Place::root});
  start_in(open_.back(), parsed, pairs);
}

void SnapshotReader::Parsing::start_in(Open parent, const char* parsed, const char** pairs) {
  const auto name = [&] { return Name::of(parsed); };
  const auto in_rowset = [&](std::string_view word) { return name().is(Space::rowset, word); };
  switch (parent.place) {
    case Place::root:
      if (name().is(Space::schema, "Schema") && !taker_) return open_.push_back({Place::schema});
      if (!in_rowset("data")) break;
      if (!taker_) throw no_snapshot("Its rows come before their columns.");
      return open_.push_back({Place::data});
    case Place::schema: schema_.start(name(), Attributes(pairs)); return open_.push_back({Place::schema});
    case Place::data:
      if (is_row(parsed)) return start_row(Place::data, pairs);
      if (in_rowset("insert")) return open_.push_back({Place::insert});
      if (in_rowset("delete")) return open_.push_back({Place::deleted});
      if (!in_rowset("update")) break;
      has_original_ = false;
      return open_.push_back({Place::update});
    case Place::update:
      if (in_rowset("original")) return open_.push_back({Place::original});
      [[fallthrough]];
    case Place::insert:
    case Place::original:
    case Place::deleted:
      if (is_row(parsed)) return start_row(parent.place, pairs);
      break;
    case Place::row:
    case Place::chapter: return start_chapter_row(parent, name(), pairs);
    case Place::ignored: break;
  }
  open_.push_back({Place::ignored});
}

void SnapshotReader::Parsing::start_row(Place kind, const char** pairs) {
  taker_->take(pairs);
  open_.push_back({Place::row, &*taker_, nullptr, &extras_->chapters});
  if (kind == Place::update) {
    if (!has_original_) throw no_snapshot("A changed row lacks what it was before.");
    has_original_ = false;
    extras_->pending.back().changes = taker_->changes(line());
    return;
  }
  taker_->append_to(*store_, kind == Place::insert, line());
  const std::size_t row = row_count_++;
  if (kind == Place::original) {
    extras_->pending.push_back({row, adRecModified, {}, {}});
    has_original_ = true;
  } else if (kind == Place::insert) {
    extras_->pending.push_back({row, adRecNew, taker_->assigned(), {}});
  } else if (kind == Place::deleted) {
    extras_->pending.push_back({row, adRecDeleted, {}, {}});
  }
  if (++taken_ >= limit_) pause();
}

// A child that another parent had before is there already, with all below it.
void SnapshotReader::Parsing::start_chapter_row(const Open& parent, const Name& name, const char** pairs) {
  std::vector<RowTaker>& takers = parent.taker->chapters();
  const auto found = std::ranges::find_if(
      takers, [&](const RowTaker& taker) { return text::equal_fold(taker.shape().element, name.local); });
  if (found == takers.end()) return open_.push_back({Place::ignored});
  found->take(pairs);
  if (found->is_duplicate()) return open_.push_back({Place::ignored});
  ChapterData& data = (*parent.chapters)[static_cast<std::size_t>(found - takers.begin())];
  found->append_to(data.rows, false, line());
  open_.push_back({Place::chapter, &*found, &data, &data.chapters});
}

void SnapshotReader::Parsing::end() {
  const Place closed = open_.back().place;
  open_.pop_back();
  if (closed == Place::update && has_original_) throw no_snapshot("A changed row lacks what it is now.");
  if (closed != Place::schema) return;
  if (open_.back().place == Place::schema) return schema_.end();
  shape_ = schema_.finish();
  taker_.emplace(shape_);
  extras_->reshape_name = shape_.reshape_name;
  extras_->is_updatable = shape_.is_updatable;
  extras_->command_timeout = shape_.command_timeout;
  for (const RowShape& chapter : shape_.chapters) extras_->chapters.push_back(chapter_data(chapter));
  pause();
}

SnapshotReader::SnapshotReader(ByteSource source) : parsing_(std::make_unique<Parsing>(std::move(source))) {}
SnapshotReader::~SnapshotReader() = default;

const std::vector<Column>& SnapshotReader::columns() const { return parsing_->shape().columns; }
std::shared_ptr<Extras> SnapshotReader::extras() const { return parsing_->extras(); }
std::size_t SnapshotReader::fetch(ColumnStore& store, std::size_t limit) {
  return parsing_->fetch(store, limit);
}

void apply_pending(const Extras& extras, RowSet& rows) {
  for (const PendingRow& pending : extras.pending) {
    if (pending.kind == adRecNew) rows.stage_new(pending.row, pending.assigned);
    if (pending.kind == adRecDeleted) rows.stage_delete(pending.row);
    for (const auto& [column, value] : pending.changes) rows.stage_change(pending.row, column, value);
  }
}

}  // namespace quarno::ado::persist
