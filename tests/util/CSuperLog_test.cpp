#include "util/CSuperLog.h"

#include <gtest/gtest.h>

#include <vector>

#include "common/error.h"
#include "platform/fake/fakes.h"
#include "support/temp_folder.h"

namespace quarno {
namespace {

using test::bytes_of;

class CSuperLogTest : public ::testing::Test {
 protected:
  CSuperLogTest() : log_(make_log("app.log")) { current_error() = {77, "before", "somewhere"}; }
  Ptr<CSuperLog> make_log(const std::string& name) {
    auto log = make<CSuperLog>();
    log->set_fileName(folder_ / name);
    return log;
  }
  // The description that a member left, marked when its result was true; the rest of the record is as it was.
  static std::string recorded(bool result) {
    EXPECT_EQ(current_error().number, 77);
    EXPECT_EQ(current_error().source, "somewhere");
    return (result ? "true, " : "") + std::exchange(current_error().description, "before");
  }

  test::TempFolder folder_;
  std::string path_ = folder_ / "app.log";
  Ptr<CSuperLog> log_;
};

TEST_F(CSuperLogTest, WritesExactlyWhatItIsGiven) {
  EXPECT_TRUE(log_->WriteLog("abc", true));
  EXPECT_TRUE(log_->WriteLog("def"));
  EXPECT_TRUE(log_->WriteLine());  // two line ends: two empty lines after an ended one
  EXPECT_TRUE(log_->WriteLog("perché 5 € Ж\r\n\tx"));
  EXPECT_EQ(bytes_of(path_), "abcdef\r\n\r\n\r\nperch\xE9 5 \x80 ?\r\n\tx\r\n");
  EXPECT_EQ(recorded(log_->CloseLog()), "before");  // false, also on success
}

TEST_F(CSuperLogTest, OnlyModeTwoAppends) {
  EXPECT_EQ(log_->OpenMode(), MODE_OVERWRITE);
  for (const std::int32_t mode : {2, 1, 0, 3, -1}) {
    folder_.put("app.log", "old\r\n");
    log_->set_OpenMode(mode);
    EXPECT_TRUE(log_->WriteLog("new"));  // opens by itself
    log_->CloseLog();
    EXPECT_EQ(bytes_of(path_), mode == MODE_APPEND ? "old\r\nnew\r\n" : "new\r\n") << mode;
  }
}

TEST_F(CSuperLogTest, AnOpenLogKeepsItsFile) {
  folder_.put("app.log", "old");
  // An empty text opens the closed log, and so empties it, before it is refused.
  EXPECT_EQ(recorded(log_->WriteLog("")), "Nessun dato da scrivere sul file!");
  EXPECT_EQ(bytes_of(path_), "");
  EXPECT_EQ(recorded(log_->OpenLog()), "Log gia aperto 1");
  log_->set_fileName(folder_ / "later.log");  // these take effect at the next open
  log_->set_OpenMode(MODE_APPEND);
  EXPECT_TRUE(log_->WriteLog("x"));
  EXPECT_EQ(bytes_of(path_), "x\r\n");
  log_->CloseLog();
  EXPECT_TRUE(log_->OpenLog() && bytes_of(folder_ / "later.log").empty());
}

TEST_F(CSuperLogTest, WhatCannotBeOpenedIsReported) {
  EXPECT_EQ(recorded(log_->WriteLine()), "Log non aperto!");  // opens nothing
  EXPECT_EQ(bytes_of(path_), "<missing>");
  log_->set_fileName("");
  EXPECT_EQ(recorded(log_->OpenLog()), "Specificare il nome del File!");
  EXPECT_EQ(log_->FileNumber(), 0);
  const auto other = make_log("other.log");
  EXPECT_TRUE(other->OpenLog());  // holds number 1
  for (const std::string& name : {folder_ / "none/a.log", folder_.path()}) {
    log_->set_fileName(name);
    log_->set_SupressErrors(true);  // recorded all the same
    EXPECT_EQ(recorded(log_->OpenLog()), "Errore di apertura del file di LOG " + name);
    EXPECT_EQ(log_->FileNumber(), 2);  // the number that was tried stays
    EXPECT_EQ(recorded(log_->WriteLog("x")), "Log non aperto!");
  }
  EXPECT_EQ(FileNumber::take().value(), 2);  // but is not held
}

TEST_F(CSuperLogTest, The256thOpenLogFails) {
  std::vector<Ptr<CSuperLog>> logs;
  for (int i = 1; i <= 255; ++i) {
    logs.push_back(make_log(std::to_string(i)));
    ASSERT_TRUE(logs.back()->OpenLog() && logs.back()->FileNumber() == i);
  }
  EXPECT_EQ(recorded(log_->OpenLog()), "Errore di apertura del file di LOG " + path_);
  EXPECT_EQ(log_->FileNumber(), 0);
  logs[149] = nullptr;  // released while open
  logs[99]->CloseLog();
  EXPECT_TRUE(log_->OpenLog() && log_->FileNumber() == 100);
  EXPECT_EQ(FileNumber::take().value(), 150);
}

TEST_F(CSuperLogTest, WriteAndCloseFailuresHaveTheirOwnTexts) {
  platform::fake::FailingFiles failing(platform::files());
  const platform::ScopedPort<platform::Files> scope(failing);
  failing.writes_allowed = 1;
  EXPECT_TRUE(log_->WriteLog("kept"));
  EXPECT_EQ(recorded(log_->WriteLog("lost")), "Errore durante la scrittura!");
  EXPECT_EQ(recorded(log_->WriteLine()), "Errore durante il tentativo di scrittura!");
  failing.writes_allowed = 1;
  EXPECT_EQ(recorded(log_->WriteLog("room again")), "true, before");  // a failed write leaves the log open
  failing.close_fails = true;
  EXPECT_EQ(recorded(log_->CloseLog()), "Errore nel tentativo di chiusura log.");
  EXPECT_EQ(bytes_of(path_), "kept\r\nroom again\r\n");
  EXPECT_TRUE(log_->OpenLog());  // closed all the same
  EXPECT_EQ(log_->FileNumber(), 1);
}

TEST_F(CSuperLogTest, VersionFollowsTheLocale) {
  platform::fake::FixedLocale point{LocaleInfo{}}, comma(platform::fake::FixedLocale::italian());
  const platform::ScopedPort<platform::Locale> outer(point);
  EXPECT_EQ(log_->version(), "1.0.1");
  const platform::ScopedPort<platform::Locale> inner(comma);
  EXPECT_EQ(log_->version(), "1.0,1");
}

}  // namespace
}  // namespace quarno
