#include "providers/desktop/dbase/changes.h"

#include <algorithm>

namespace quarno::desktop::dbase {
namespace {

constexpr std::uint32_t kChunkBytes = 1 << 20;

}  // namespace

void Changes::restart(std::uint32_t file_records, std::uint32_t record_length) {
  const std::uint64_t steps = steps_ + 1;
  *this = {};
  steps_ = steps;
  file_records_ = file_records;
  record_length_ = record_length;
  chunk_records_ = std::max<std::uint32_t>(1, kChunkBytes / record_length);
}

char* Changes::appended_place(std::uint32_t index) {
  return chunks_[index / chunk_records_].data() + std::size_t{index % chunk_records_} * record_length_;
}

char* Changes::place(std::uint32_t record) {
  if (record >= file_records_) return appended_place(record - file_records_);
  const auto slot = slots_.find(record);
  return slot == slots_.end() ? nullptr : slot_bytes_.data() + slot->second * record_length_;
}

const char* Changes::find(std::uint32_t record) const { return const_cast<Changes*>(this)->place(record); }

void Changes::append(std::string_view bytes) {
  if (appended_ / chunk_records_ == chunks_.size()) {
    // The first chunk grows, so that a single new record does not cost a megabyte.
    chunks_.emplace_back(std::size_t{record_length_} * (chunks_.empty() ? 1 : chunk_records_), '\0');
  }
  std::string& chunk = chunks_[appended_ / chunk_records_];
  const std::size_t end = (std::size_t{appended_ % chunk_records_} + 1) * record_length_;
  if (chunk.size() < end) chunk.resize(std::min(std::size_t{chunk_records_} * record_length_, end * 2));
  ++appended_;
  ++steps_;
  std::copy(bytes.begin(), bytes.end(), appended_place(appended_ - 1));
}

void Changes::put(std::uint32_t record, std::string_view bytes) {
  char* target = place(record);
  if (target == nullptr) {
    slots_.emplace(record, slot_bytes_.size() / record_length_);
    slot_bytes_.append(bytes);
    return;
  }
  std::copy(bytes.begin(), bytes.end(), target);
}

void Changes::replace(std::uint32_t record, std::string_view bytes) {
  if (!marks_.empty() && record < marks_.back().count) {
    const char* const now = place(record);
    befores_.push_back({record, now == nullptr, now == nullptr ? "" : std::string(now, record_length_)});
  }
  put(record, bytes);
  ++steps_;
}

std::vector<std::uint32_t> Changes::changed_records() const {
  std::vector<std::uint32_t> records;
  records.reserve(slots_.size());
  for (const auto& [record, slot] : slots_) records.push_back(record);
  std::sort(records.begin(), records.end());
  return records;
}

void Changes::savepoint(int level) { marks_.push_back({level, count(), befores_.size()}); }

void Changes::release(int level) {
  while (!marks_.empty() && marks_.back().level >= level) marks_.pop_back();
  if (marks_.empty()) befores_.clear();
}

void Changes::rollback_to(int level) {
  const auto mark = std::find_if(marks_.begin(), marks_.end(),
                                 [&](const Mark& candidate) { return candidate.level >= level; });
  // The engine marks a table from its first change on, and lets the marks of statements go: without one, all
  // changes came behind the savepoint.
  if (mark == marks_.end()) return restart(file_records_, record_length_);
  ++steps_;
  for (; befores_.size() > mark->before; befores_.pop_back()) {
    const Before& before = befores_.back();
    // A freed slot stays unused until the transaction ends.
    if (before.in_file) {
      slots_.erase(before.record);
    } else {
      put(before.record, before.bytes);
    }
  }
  appended_ = mark->count - file_records_;
  marks_.erase(mark + 1, marks_.end());
}

}  // namespace quarno::desktop::dbase
