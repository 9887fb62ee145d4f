#include "providers/desktop/dbase/folder.h"

#include <algorithm>

#include "ado/ado_error.h"
#include "common/text.h"
#include "platform/clock.h"
#include "platform/data_files.h"
#include "providers/desktop/dbase/module.h"

namespace quarno::desktop::dbase {
namespace {

constexpr std::string_view kTable = ".dbf";
constexpr std::string_view kMemo = ".dbt";
constexpr std::string_view kCodePage = ".cpg";
constexpr std::size_t kLongestName = 64;

bool has_extension(std::string_view file, std::string_view extension) {
  return file.size() > extension.size() &&
         text::equal_fold(file.substr(file.size() - extension.size()), extension);
}

std::string_view stem(std::string_view file) { return file.substr(0, file.size() - kTable.size()); }

// The file of a table; of two that differ in letter case only, the one named exactly so.
std::string file_for(const std::vector<std::string>& files, std::string_view name,
                     std::string_view extension) {
  std::string found;
  for (const std::string& file : files) {
    if (!has_extension(file, extension) || !text::equal_fold(stem(file), name)) continue;
    if (stem(file) == name) return file;
    if (found.empty()) found = file;
  }
  return found;
}

void require_table_name(const std::string& name) {
  const bool valid =
      !name.empty() && name.size() <= kLongestName && name.front() != '.' && name.front() != ' ' &&
      name.back() != ' ' && name.find_first_of("/\\:*?\"<>|.!`[]") == std::string::npos &&
      std::none_of(name.begin(), name.end(), [](char c) { return static_cast<unsigned char>(c) < ' '; });
  if (!valid) throw refusal(ado::kErrorsInCommand, "'" + name + "' is not a valid name of a table.", "42000");
}

void write_new_file(const std::string& path, std::string_view bytes) {
  const auto file = platform::data_files().create(path);
  try {
    file->write_at(0, bytes);
    file->sync();
  } catch (const Error&) {
    quietly([&] { platform::data_files().remove(path); });
    throw;
  }
}

}  // namespace

Folder::Folder(std::string path, Settings settings) : site_(std::make_shared<Site>()) {
  while (path.size() > 1 && (path.back() == '/' || path.back() == '\\')) path.pop_back();
  site_->folder = std::move(path);
  site_->code_page = settings.code_page;
  site_->may_write = settings.may_write;
}

std::vector<std::string> Folder::names() {
  std::vector<std::string> names;
  for (const std::string& file : platform::data_files().names(site_->folder)) {
    if (!has_extension(file, kTable)) continue;
    const std::string_view name = stem(file);
    const bool known = std::any_of(names.begin(), names.end(),
                                   [&](const std::string& other) { return text::equal_fold(other, name); });
    if (!known) names.emplace_back(name);
  }
  return names;
}

std::shared_ptr<TableFile> Folder::opened(std::string_view name) {
  for (const Opened& candidate : opened_) {
    if (text::equal_fold(candidate.name, name)) return candidate.table;
  }
  const auto files = platform::data_files().names(site_->folder);
  const std::string file = file_for(files, name, kTable);
  if (file.empty()) return nullptr;
  const std::string_view own = stem(file);
  auto table =
      std::make_shared<TableFile>(site_, file, file_for(files, own, kMemo), file_for(files, own, kCodePage));
  opened_.push_back({std::string(own), table});
  return table;
}

bool Folder::bring(sqlite3* database, std::string_view name, const GoOn&) {
  auto table = opened(name);
  if (table == nullptr) return false;
  bring_table(database, std::string(name), std::move(table));
  return true;
}

void Folder::create(sqlite3*, const std::string& name, const std::vector<NewColumn>& columns) {
  if (!site_->may_write)
    throw refusal(ado::kReadOnly, "Cannot update. Database or object is read-only.", "25006");
  require_table_name(name);
  TextForm form(site_->code_page);
  const std::vector<Field> fields = fields_for(columns, form);
  const auto files = platform::data_files().names(site_->folder);
  if (!file_for(files, name, kTable).empty()) {
    throw refusal(ado::kErrorsInCommand, "Table '" + name + "' already exists.", "42S01");
  }
  const std::string header =
      header_text(fields, site_->code_page, civil_from_date(platform::clock().now()), form) + kEndOfFile;
  const bool has_memo = header[0] == '\x83';
  const std::string path = site_->folder + "/" + name;
  // A text file that lost its table would give its texts to the new one.
  if (const std::string stray = file_for(files, name, kMemo); has_memo && !stray.empty()) {
    throw refusal(ado::kUnspecified, "'" + stray + "' is in the way of table '" + name + "'.");
  }
  std::vector<std::string> made;
  const auto make = [&](const char* extension, const std::string& bytes) {
    write_new_file(path + extension, bytes);
    made.push_back(path + extension);
  };
  try {
    // Texts first: a table without its text file could not be used.
    if (has_memo) make(".dbt", MemoFile::empty_file());
    make(".dbf", header);
    platform::data_files().sync_folder(site_->folder);
  } catch (const Error&) {
    for (const std::string& file : made) quietly([&] { platform::data_files().remove(file); });
    throw;
  }
}

void Folder::drop(sqlite3* database, const std::string& name) {
  const auto table = opened(name);
  if (table == nullptr) throw refusal(ado::kTableNotFound, "Table '" + name + "' does not exist.", "42S02");
  const auto files = platform::data_files().names(site_->folder);
  const std::string_view own = stem(table->name());
  std::vector<std::string> companions;
  for (const std::string_view extension : {kMemo, kCodePage}) {
    std::string file = file_for(files, own, extension);
    if (!file.empty()) companions.push_back(std::move(file));
  }
  table->take_away(companions);
  std::erase_if(opened_, [&](const Opened& candidate) { return candidate.table == table; });
  forget_table(database, name);
}

}  // namespace quarno::desktop::dbase
