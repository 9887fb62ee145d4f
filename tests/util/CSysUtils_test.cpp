#include "util/CSysUtils.h"

#include <gtest/gtest.h>

#include "platform/fake/fakes.h"
#include "platform/fake/recording_shell.h"
#include "support/temp_folder.h"

namespace quarno {
namespace {

using namespace std::string_literals;

// The dialog as the user saw it, what became of both arguments, and the path: NUL shown as "/".
std::string chosen(std::string filter, std::string folder, const std::string& answer) {
  platform::fake::RecordingDialogs dialogs;
  dialogs.chosen = answer;
  const platform::ScopedPort<platform::Dialogs> scope(dialogs);
  const std::string path = make<CSysUtils>()->GetFileName(filter, folder, 7);
  const platform::OpenFileRequest& seen = dialogs.requests.at(0);
  EXPECT_EQ(dialogs.requests.size(), 1u);
  EXPECT_EQ(seen.title + std::to_string(seen.owner), "Select File7");
  std::string all =
      seen.description + "|" + seen.pattern + "|" + seen.folder + "|" + filter + "|" + folder + "|" + path;
  for (char& character : all) character = character == '\0' ? '/' : character;
  return all;
}

TEST(CSysUtils, AsksForAFileAndWritesBothTextsBack) {
  const std::string longest = "C:\\" + std::string(252, 'a') + "é", one_more = longest + "b";
  const struct {
    std::string filter, folder, answer, expected;
  } rows[] = {
      {"*.csv", "", "C:\\a b.csv ", "*.csv|*.csv|C:\\|*.csv/*.csv//|C:\\|C:\\a b.csv "},
      {"*.txt;*.log", "D:\\x", "", "*.txt;*.log|*.txt;*.log|D:\\x|*.txt;*.log/*.txt;*.log//|D:\\x|"},
      // What the last call wrote back shows the same filter; a host's own pair is taken as one.
      {"*.a\0*.a\0\0"s, "C:\\", "", "*.a|*.a|C:\\|*.a/*.a///*.a/*.a////|C:\\|"},
      {"Text\0*.txt"s, "C:\\", "", "Text|*.txt|C:\\|Text/*.txt/Text/*.txt//|C:\\|"},
      {"", "C:\\", "", "||C:\\|///|C:\\|"},
      // The code page holds € and è, but no ж; the caller's own texts and the path stay whole.
      {"€ж*", "C:\\èж", "C:\\ж", "€?*|€?*|C:\\è?|€ж*/€ж*//|C:\\èж|C:\\ж"},
      {"*", "C:\\", "  C:\\a \0junk"s, "*|*|C:\\|*/*//|C:\\|C:\\a "},
      {"*", "C:\\", longest, "*|*|C:\\|*/*//|C:\\|" + longest},
      {"*", "C:\\", one_more, "*|*|C:\\|*/*//|C:\\|"},
  };
  for (const auto& row : rows) EXPECT_EQ(chosen(row.filter, row.folder, row.answer), row.expected);
}

// The real files, where a document goes away after so many looks.
struct VanishingFiles : platform::fake::FailingFiles {
  using FailingFiles::FailingFiles;
  std::string find(std::string_view path) override {
    if (looks-- <= 0) return {};
    return FailingFiles::find(path);
  }
  int looks = 1;
};

TEST(CSysUtils, HandsOverWhatIsThereAndSaysNothing) {
  const test::TempFolder folder;
  const test::ScopedVariable drive("QUARNOFWK_DRIVE_C", folder.path());
  folder.put("a;b.txt", "");
  folder.put(".hidden", "");
  std::filesystem::create_directory(folder / "empty");
  const std::string at = folder.path() + "/";
  const std::pair<std::string, std::string> rows[] = {
      {"C:\\A;B.TXT", at + "a;b.txt"},
      {"C:\\*.txt", at + "*.txt"},
      {"C:\\?;b.txt", at + "?;b.txt"},
      {"C:\\", at},
      {"C:\\none.txt", ""},
      {"C:\\*.none", ""},
      {"C:\\.hidden", ""},
      {"C:\\empty", ""},
      {"C:\\empty\\", ""},
      {"C:\\a;b.txt\0x"s, ""},
      {std::string(5000, 'x'), ""},
      {"", ""},
  };
  const auto utilities = make<CSysUtils>();
  for (const auto& [name, file] : rows) {
    platform::fake::RecordingShell shell;
    const platform::ScopedPort<platform::Shell> scope(shell);
    EXPECT_EQ(utilities->StartDoc(name) + utilities->PrintDoc(name), 0);
    const auto call = [&](const char* verb) { return verb + file + " in " + at; };
    const std::vector<std::string> expected = {call("open "), call("print ")};
    EXPECT_EQ(shell.calls, file.empty() ? std::vector<std::string>() : expected) << name;
  }

  platform::fake::RecordingShell shell;
  const platform::ScopedPort<platform::Shell> shell_scope(shell);
  VanishingFiles files(platform::files());
  const platform::ScopedPort<platform::Files> files_scope(files);
  EXPECT_EQ(utilities->StartDoc("C:\\a;b.txt"), 0);
  EXPECT_TRUE(shell.calls.empty()) << "it has gone meanwhile";
  struct FailingShell : platform::fake::RecordingShell {
    void open(const std::string&, const std::string&) override {
      throw run_time_error(RunTime::out_of_memory);
    }
  } failing;
  const platform::ScopedPort<platform::Shell> failing_scope(failing);
  files.looks = 2;
  EXPECT_EQ(utilities->StartDoc("C:\\a;b.txt"), 0);
  EXPECT_EQ(files.looks, 0);
}

}  // namespace
}  // namespace quarno
