#include "platform/files.h"

#include <gtest/gtest.h>
#include <sys/resource.h>
#include <sys/stat.h>
#include <unistd.h>

#include <array>
#include <filesystem>
#include <tuple>

#include "platform/code_page.h"
#include "platform/data_files.h"
#include "platform/path_text.h"
#include "support/outcome.h"
#include "support/temp_folder.h"

namespace quarno::platform {
namespace {

using test::bytes_of;
using test::error_of;
using test::TempFolder;

int open_error(const std::string& path, OpenFor mode) {
  return error_of([&] { return files().open(path, mode); });
}

std::string read_all(const std::string& path) {
  const auto file = files().open(path, OpenFor::input);
  std::string all;
  std::array<char, 5> buffer;
  for (std::size_t count; (count = file->read(buffer)) > 0;) all.append(buffer.data(), count);
  return all;
}

TEST(Files, WritesAppendsAndReads) {
  const TempFolder folder;
  const std::string path = folder / "a.txt";
  files().open(path, OpenFor::output)->write("one\r\n");
  const auto file = files().open(path, OpenFor::append);
  file->write("two");
  file->close();
  file->close();  // twice is harmless
  EXPECT_EQ(read_all(path), "one\r\ntwo");
  EXPECT_EQ(files().size(path), 8u);
  files().open(path, OpenFor::output);
  EXPECT_EQ(bytes_of(path), "");
  files().open(folder / "new.txt", OpenFor::append)->write("x");
  EXPECT_EQ(bytes_of(folder / "new.txt"), "x");
}

TEST(Files, LookupIgnoresCaseWhenTheExactPathIsMissing) {
  const TempFolder folder;
  std::filesystem::create_directories(folder / "Dati/Élan");
  folder.put("Dati/Élan/Misure.TXT", "found");
  EXPECT_EQ(read_all(folder.path() + "\\DATI\\\\élan\\misure.txt"), "found");
  EXPECT_EQ(files().find(folder / "dati/ÉLAN/MISURE.txt"), "Misure.TXT");
  folder.put("Dati/Élan/misure.txt", "exact");
  EXPECT_EQ(read_all(folder / "dati/Élan/misure.txt"), "exact");  // the exact name wins
  EXPECT_TRUE(files().exists(folder / "dati\\") && !files().exists(folder / "dato"));
  EXPECT_EQ(files().native(folder / "dati\\none.txt"), folder / "Dati/none.txt");
  // What is written lands in the folder that is there.
  files().open(folder / "DATI\\nuovo.txt", OpenFor::output)->write("n");
  files().create_folder(folder / "DATI\\sub");
  EXPECT_EQ(bytes_of(folder / "Dati/nuovo.txt"), "n");
  EXPECT_TRUE(std::filesystem::is_directory(folder / "Dati/sub"));
}

TEST(Files, FindListsNormalFilesInNameOrder) {
  const TempFolder folder;
  EXPECT_EQ(files().find(folder.path() + "/"), "");
  for (const char* name : {"b.dbf", "C.DBF", ".hidden", "z.txt"}) folder.put(name, "x");
  std::filesystem::create_directory(folder / "a.dbf");
  ASSERT_EQ(::mkfifo((folder / "a0.dbf").c_str(), 0600), 0);
  std::filesystem::create_symlink("z.txt", folder / "link.txt");
  std::filesystem::create_symlink("nowhere", folder / "broken.txt");
  const std::pair<const char*, const char*> rows[] = {
      {"*.dbf", "C.DBF"}, {"", "C.DBF"}, {"B.DBF", "b.dbf"},     {"a.dbf", ""}, {"a0.dbf", ""},
      {".hidden", ""},    {".*", ""},    {"l*.txt", "link.txt"}, {"br*", ""},   {"none/*", ""}};
  for (const auto& [path, found] : rows) EXPECT_EQ(files().find(folder / path), found) << path;
  EXPECT_EQ(files().find(""), files().find("*"));
}

TEST(Files, SystemFailuresAreRunTimeErrors) {
  const TempFolder folder;
  folder.put("file", "x");
  ASSERT_EQ(::mkfifo((folder / "pipe").c_str(), 0600), 0);
  // clang-format off
  const struct { std::string path; OpenFor mode; int error; } rows[] = {
      {folder / "none", OpenFor::input, 53}, {folder / "none/x", OpenFor::input, 76},
      {folder / "none/x", OpenFor::append, 76}, {folder / "file/x", OpenFor::output, 76},
      {folder.path(), OpenFor::output, 75}, {folder / "pipe", OpenFor::input, 75},
      {folder / "pipe", OpenFor::append, 75}, {folder / std::string(300, 'n'), OpenFor::output, 75},
      {"", OpenFor::output, 52}, {std::string("a\0b", 3), OpenFor::output, 52},
  };
  // clang-format on
  for (const auto& row : rows) EXPECT_EQ(open_error(row.path, row.mode), row.error) << row.path;
  EXPECT_EQ(error_of([&] { return files().size(folder / "none"); }), 53);
  const std::pair<const char*, int> folders[] = {{"a/b", 76}, {"file", 75}, {"FILE", 75}, {"new", 0}};
  for (const auto& [name, error] : folders) {
    EXPECT_EQ(error_of([&, path = folder / name] { return files().create_folder(path), 0; }), error) << name;
  }
  const auto reader = files().open("/proc/self/mem", OpenFor::input);
  std::array<char, 4> buffer;
  EXPECT_EQ(error_of([&] { return reader->read(buffer); }), 57);  // page 0 is never mapped
}

TEST(Files, FullDiskAndNoMoreDescriptors) {
  const auto full = files().open("/dev/full", OpenFor::output);
  EXPECT_EQ(error_of([&] { return full->write("x"), 0; }), 61);
  rlimit before{};
  ASSERT_EQ(::getrlimit(RLIMIT_NOFILE, &before), 0);
  const rlimit none{3, before.rlim_max};
  ASSERT_EQ(::setrlimit(RLIMIT_NOFILE, &none), 0);
  EXPECT_EQ(open_error("/dev/null", OpenFor::output), 67);
  ::setrlimit(RLIMIT_NOFILE, &before);
}

TEST(FilesDeathTest, PermissionDenied) {
  const TempFolder folder;
  const std::string path = folder.put("closed", "x");
  ::chmod(path.c_str(), 0);
  ::chmod(folder.path().c_str(), 0755);
  // In a process of its own that is not root, to whom nothing is denied.
  EXPECT_EXIT(
      {
        if (::geteuid() == 0 && ::setuid(65534) != 0) ::_exit(1);
        ::_exit(open_error(path, OpenFor::input));
      },
      ::testing::ExitedWithCode(70), "");
}

TEST(Files, DriveLettersAreASetting) {
  const TempFolder folder;
  folder.put("Misure.txt", "drive");
  const test::ScopedVariable drive("QUARNOFWK_DRIVE_Q", folder.path() + "/");
  EXPECT_EQ(read_all("q:\\misure.TXT"), "drive");
  EXPECT_EQ(files().native("Q:\\"), folder.path() + "/");
  EXPECT_EQ(files().native("R:\\dev\\null"), "/dev/null");  // not set: the whole file system
}

TEST(PathText, HostPathsBecomeNative) {
  const auto drive_root = [](char letter) {
    return letter == 'C' ? "/" : "/drive_" + std::string(1, letter) + "//";
  };
  // clang-format off
  const struct { const char* host; const char* native; } rows[] = {
      {"\\QuarnoLog.txt", "/QuarnoLog.txt"}, {"a\\b/c.txt", "a/b/c.txt"}, {"C:\\data\\x", "/data/x"},
      {"c:/x", "/x"}, {"D:\\x", "/drive_D/x"}, {"z:\\", "/drive_Z/"}, {"C:x", "x"}, {"C:", ""},
      {"\\\\server\\share", "//server/share"}, {"~\\$HOME\\%TEMP%", "~/$HOME/%TEMP%"}, {"1:\\x", "1:/x"},
      {"è:\\x", "è:/x"}, {"ab:c", "ab:c"}, {"", ""},
  };
  // clang-format on
  for (const auto& row : rows) EXPECT_EQ(native_path(row.host, drive_root), row.native);
}

TEST(PathText, PatternsIgnoreCase) {
  // clang-format off
  const struct { const char* name; const char* pattern; bool matches; } rows[] = {
      {"DATA.DBF", "*.dbf", true}, {"data.dbf", "*.DBF", true}, {"data.dbt", "*.dbf", false}, {"readme", "*.*", true},
      {"readme", "*.txt", false}, {"a", "?", true}, {"", "?", false}, {"ab", "?", false}, {"", "*", true},
      {"", "", true}, {"a", "", false}, {"àb.x", "À?.X", true}, {"è", "?", true}, {"èè", "*?", true},
      {"€uro", "*uro", true}, {"abcabd", "*ab?", true}, {"abcabd", "*abc", false}, {"aaaaaaab", "a*a*a*b", true},
      {"aaaaaaac", "a*a*a*b", false}, {"a*b", "a*b", true}, {"x.tar.gz", "x.*", true}, {"x", "x**", true},
      {"x[1].txt", "x[1].*", true}, {"a\xFF" "b", "a?B", true},
  };
  // clang-format on
  for (const auto& row : rows)
    EXPECT_EQ(matches_pattern(row.name, row.pattern), row.matches) << row.name << " " << row.pattern;
}

TEST(PathText, SplitsFolderAndName) {
  const std::tuple<const char*, const char*, const char*> rows[] = {
      {"a/b", "a", "b"}, {"b", "", "b"}, {"/b", "/", "b"}, {"/", "/", ""}, {"a/b/", "a/b", ""}, {"", "", ""}};
  for (const auto& [path, folder, name] : rows) {
    EXPECT_EQ(split_path(path).folder, folder) << path;
    EXPECT_EQ(split_path(path).name, name) << path;
  }
}

TEST(DataFiles, ReadsWritesLocksAndReplaces) {
  const TempFolder folder;
  const std::string path = folder / "t.dbf";
  const auto first = data_files().create(path);
  EXPECT_EQ(error_of([&] { data_files().create(path); }), 58);
  EXPECT_EQ(error_of([&] { data_files().open(folder / "none", DataFiles::Access::read); }), 53);
  EXPECT_EQ(error_of([&] { data_files().open(folder.path(), DataFiles::Access::read); }), 75);
  first->write_at(4, "tail");
  first->write_at(0, "head");
  std::array<char, 16> buffer;
  ASSERT_EQ(first->read_at(2, buffer), 6u);
  EXPECT_EQ(std::string(buffer.data(), 6), "adtail");
  EXPECT_EQ(first->read_at(100, buffer), 0u);
  first->truncate(5);
  first->sync();
  EXPECT_EQ(first->size(), 5u);

  // Two open files of one process exclude each other; closing one gives up its own locks only.
  const auto second = data_files().open(path, DataFiles::Access::read_write);
  auto third = data_files().open(path, DataFiles::Access::read);
  EXPECT_TRUE(first->try_lock(LockKind::shared, 1 << 30, 1) && third->try_lock(LockKind::shared, 1 << 30, 1));
  EXPECT_FALSE(second->try_lock(LockKind::exclusive, 1 << 30, 1));
  third.reset();
  EXPECT_FALSE(second->try_lock(LockKind::exclusive, 1 << 30, 1));
  first->unlock(1 << 30, 1);
  EXPECT_TRUE(second->try_lock(LockKind::exclusive, 1 << 30, 1));

  folder.put("new", "whole");
  data_files().replace(folder / "new", path);
  data_files().sync_folder(folder.path());
  EXPECT_EQ(bytes_of(path), "whole");
  EXPECT_FALSE(first->is_at(path));  // it lost its name to the other one
  folder.put("made", "later");
  const auto made = data_files().open(folder / "made", DataFiles::Access::read);
  EXPECT_EQ(error_of([&] { data_files().publish(folder / "made", path); }), 58);
  EXPECT_EQ(bytes_of(path), "whole");
  data_files().publish(folder / "made", folder / "other");
  EXPECT_TRUE(made->is_at(folder / "other") && !made->is_at(folder / "made"));
  data_files().remove(folder / "other");
  folder.put(".hidden", "");
  std::filesystem::create_directory(folder / "sub");
  EXPECT_EQ(data_files().names(folder.path()), std::vector<std::string>{"t.dbf"});
  data_files().remove(folder / "T.DBF");
  EXPECT_TRUE(data_files().names(folder.path()).empty() && data_files().names(folder / "none").empty());
}

TEST(CodePages, ConvertBothWaysAndSayWhatTheyLack) {
  const struct {
    int number;
    const char* bytes;
    const char* utf8;
  } rows[] = {
      {437, "\x84\x9B", "ä¢"}, {850, "\xD5", "ı"},   {866, "\x8F\xE0", "Пр"},           {1252, "\x80", "€"},
      {936, "\xC4\xE3", "你"}, {10000, "\x8A", "ä"}, {65001, "Ä\xF0\x9F\x98\x80", "Ä😀"}};
  for (const auto& row : rows) {
    const auto codec = code_page().codec(row.number);
    ASSERT_NE(codec, nullptr) << row.number;
    EXPECT_EQ(codec->decode(row.bytes), row.utf8) << row.number;
    EXPECT_EQ(codec->encode(row.utf8), row.bytes) << row.number;
  }
  EXPECT_EQ(code_page().codec(1252)->decode("a\x81z"), "a\uFFFDz");
  EXPECT_EQ(code_page().codec(936)->decode("a\xFFz"), "a\uFFFDz");
  EXPECT_EQ(code_page().codec(437)->encode("€"), std::nullopt);
  EXPECT_EQ(code_page().codec(936)->encode("a\U0001F600"), std::nullopt);
  EXPECT_EQ(code_page().codec(895), nullptr);
}

}  // namespace
}  // namespace quarno::platform
