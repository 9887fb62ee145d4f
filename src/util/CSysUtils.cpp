#include "util/CSysUtils.h"

#include "automation/member_table.h"
#include "common/text.h"
#include "platform/code_page.h"
#include "platform/dialogs.h"
#include "platform/files.h"
#include "platform/shell.h"

namespace quarno {
namespace {

constexpr std::string_view kDrive = "C:\\";
constexpr std::size_t kLongestPath = 256;  // characters
constexpr char kEnd = '\0';                // of a text in the dialog's record

// A text as the dialog's record holds it: what the code page lacks is "?".
std::string in_record(std::string_view text) {
  return platform::code_page().from_ansi(platform::code_page().to_ansi(text));
}

// The first pair of a filter text, whose texts each end with NUL. An empty description ends the list.
void set_filter(platform::OpenFileRequest& request, std::string_view filter) {
  const auto end = filter.find(kEnd);
  if (end == 0) return;
  request.description = in_record(filter.substr(0, end));
  filter.remove_prefix(end + 1);
  request.pattern = in_record(filter.substr(0, filter.find(kEnd)));
}

using Verb = void (platform::Shell::*)(const std::string& file, const std::string& working_folder);

std::int32_t hand_over(Verb verb, const std::string& document) {
  platform::Files& files = platform::files();
  try {
    const auto is_there = [&] { return !files.find(document).empty(); };
    if (!is_there()) return 0;
    const std::string file = files.native(document);
    const std::string working_folder = files.native(kDrive);
    if (is_there()) (platform::shell().*verb)(file, working_folder);
  } catch (...) {  // NOLINT(bugprone-empty-catch): callers do not learn the outcome
  }
  return 0;
}

}  // namespace

std::string CSysUtils::GetFileName(Ref<std::string> sFilter, Ref<std::string> InitialDir,
                                   std::int32_t HwndParent) {
  // The one pattern is its description too.
  const std::string filter = sFilter.value() + kEnd + sFilter.value() + kEnd + kEnd;
  sFilter.set(filter);
  std::string folder = InitialDir.value();
  if (folder.empty()) InitialDir.set(folder = kDrive);
  platform::OpenFileRequest request;
  request.title = "Select File";
  request.folder = in_record(folder);
  request.owner = HwndParent;
  set_filter(request, filter);
  const std::string chosen = platform::dialogs().choose_file(request);
  if (text::length(chosen) > kLongestPath) return {};  // the record has no room for it: the dialog has failed
  // Behind the path the record is filled with NUL, so that only blanks before it are trimmed away.
  const std::string buffer = chosen + kEnd;
  const std::string_view trimmed = text::trim(buffer);
  return std::string(trimmed.substr(0, trimmed.find(kEnd)));
}

std::int32_t CSysUtils::StartDoc(const std::string& DocName) {
  return hand_over(&platform::Shell::open, DocName);
}

std::int32_t CSysUtils::PrintDoc(const std::string& DocName) {
  return hand_over(&platform::Shell::print, DocName);
}

namespace {

using namespace automation;

constexpr Member kMembers[] = {
    method<&CSysUtils::GetFileName>("GetFileName",
                                    {param("sFilter"), param("InitialDir"), param("HwndParent")},
                                    "The path that the user chose in the open-file dialog, at most 256 "
                                    "characters; empty when the dialog was "
                                    "cancelled or cannot be shown. sFilter is a pattern such as *.txt; it "
                                    "becomes the dialog's filter text, "
                                    "which is the pattern twice, each ended by a NUL, and a NUL. An empty "
                                    "InitialDir becomes C:\\. HwndParent "
                                    "is the host's window, 0 for none. What the ANSI code page lacks is ? in "
                                    "the filter and in the folder; the "
                                    "path chosen is given as it is."),
    method<&CSysUtils::StartDoc>(
        "StartDoc", {param("DocName")},
        "Opens an existing document with the application registered for its kind, without waiting for it. "
        "Always "
        "0, and nothing is raised: also where there is no such file or application."),
    method<&CSysUtils::PrintDoc>("PrintDoc", {param("DocName")},
                                 "Prints an existing document on the user's default printer, without waiting "
                                 "for it. Always 0, and nothing "
                                 "is raised: also where there is no such file or printer."),
};

}  // namespace

std::span<const Member> CSysUtils::members() { return kMembers; }

}  // namespace quarno
