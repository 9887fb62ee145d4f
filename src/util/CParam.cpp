#include "util/CParam.h"

#include "automation/member_table.h"
#include "common/error.h"
#include "common/file_numbers.h"
#include "platform/code_page.h"
#include "platform/files.h"
#include "platform/module_path.h"
#include "platform/path_text.h"
#include "platform/replaced_file.h"
#include "util/line_source.h"
#include "util/param_text.h"

namespace quarno {
namespace {

std::string whole(platform::DataFile* file) {
  if (file == nullptr) return {};
  std::string bytes(file->size(), '\0');
  bytes.resize(file->read_at(0, bytes));
  return bytes;
}

// The content is never shorter than the file. What lies behind the file's end comes first: a full disk then
// shows before anything has changed.
void write_in_place(platform::DataFile& file, std::size_t size, std::span<const std::string_view> pieces) {
  std::string content;
  for (const std::string_view piece : pieces) content.append(piece);
  const std::string_view bytes = content;
  try {
    file.write_at(size, bytes.substr(size));
    file.sync();
  } catch (const Error&) {
    quietly([&] { file.truncate(size); });
    throw;
  }
  file.write_at(0, bytes.substr(0, size));
  file.sync();
}

}  // namespace

CParam::CParam() : param_file_(platform::module_folder()) {
  if (!param_file_.ends_with('\\')) param_file_.push_back('\\');
  const std::string file = platform::module_path().file();
  const std::string name = file.substr(file.find_last_of("/\\") + 1);
  param_file_.append(name, 0, name.rfind('.')).append(".ini");
}

bool CParam::GetIniString(Ref<std::string> TagString, Ref<std::string> str) {
  str.set({});
  try {
    auto found = value(TagString);
    if (!found) return false;
    str.set(std::move(*found));
    return true;
  } catch (const std::exception&) {  // a file too large for the memory, too
    return false;
  }
}

std::string CParam::GetStringIni(Ref<std::string> TagString) { return value(TagString).value_or(""); }

std::optional<std::string> CParam::value(Ref<std::string>& tag) {
  if (!Exist()) return std::nullopt;
  refuse_pattern();
  const FileNumber number = FileNumber::take();
  util::LineSource lines(platform::files().open(param_file_, platform::OpenFor::input));
  tag.set(tag.value() + "=");
  const util::LineSearch search(tag.value(), platform::code_page());
  while (const auto line = lines.line_to_cr()) {
    if (search.is_in(*line)) return platform::code_page().from_ansi(util::value_of(*line, search.length()));
  }
  return std::nullopt;
}

Variant CParam::SetStringIni(Ref<std::string> TagString, const std::string& Value) {
  try {
    change(TagString, Value);
  } catch (const std::exception&) {  // NOLINT(bugprone-empty-catch): the interface tells nobody
  }
  return {};
}

void CParam::change(Ref<std::string>& tag, const std::string& value) {
  const bool is_there = Exist();
  const std::string wanted = tag.value() + "=";
  if (is_there) tag.set(wanted);
  refuse_pattern();
  const FileNumber number = FileNumber::take();
  // A hidden file, or what is no file, counts as missing and cannot be made anew: it stays as it is.
  if (platform::files().exists(param_file_) && !Exist()) throw run_time_error(RunTime::path_file_access);
  platform::ReplacedFile file(param_file_);
  if (!is_there) tag.set(wanted);
  const std::string content = whole(file.old_file());
  const std::string setting = platform::code_page().to_ansi(wanted + value);
  const auto pieces =
      util::changed_content(content, util::LineSearch(wanted, platform::code_page()), setting);
  if (file.is_beside()) {
    for (const std::string_view piece : pieces) file.write(piece);
    if (file.place()) return;
  }
  write_in_place(*file.old_file(), content.size(), pieces);
}

bool CParam::Exist() { return !platform::files().find(param_file_).empty(); }

void CParam::refuse_pattern() const {
  const auto name = platform::split_path(param_file_).name;
  if (name.find_first_of("*?") != std::string_view::npos) throw run_time_error(RunTime::bad_file_number);
}

namespace {

using namespace automation;

constexpr Member kMembers[] = {
    property<&CParam::ParamFile, &CParam::set_ParamFile>(
        "ParamFile", "Path of the parameter file. At first the library's own path with \".ini\"."),
    method<&CParam::GetIniString>("GetIniString", {param("TagString"), param("str")},
                                  "Gives str the value of the first line that holds TagString and \"=\"; "
                                  "true when there is one. False, and "
                                  "str empty, also when the file is missing or cannot be read. \"=\" is "
                                  "added to TagString once the file is "
                                  "open."),
    method<&CParam::GetStringIni>(
        "GetStringIni", {param("TagString")},
        "The value of the first line that holds TagString and \"=\"; \"\" when there is none or the file is "
        "missing. \"=\" is added to TagString once the file is open. Raises 52, 53, 57, 67, 70, 75 when the "
        "file "
        "cannot be read."),
    method<&CParam::SetStringIni>(
        "SetStringIni", {param("TagString"), param("Value")},
        "Puts TagString, \"=\" and Value in the place of the first line that holds TagString and \"=\", or "
        "adds "
        "them, making the file when it is missing. \"=\" is added to TagString once there is a file. Always "
        "empty, also when nothing could be written."),
    method<&CParam::Exist>(
        "Exist", "Whether the path, or pattern of \"*\" and \"?\", names a file that is not hidden."),
};

}  // namespace

std::span<const automation::Member> CParam::members() { return kMembers; }

}  // namespace quarno
