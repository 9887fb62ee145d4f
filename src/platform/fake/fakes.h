// Ports for tests: each records what it was asked, or answers what the test sets. Put in place with
// ScopedPort.
#pragma once

#include <string>
#include <vector>

#include "common/error.h"
#include "platform/clock.h"
#include "platform/dialogs.h"
#include "platform/files.h"
#include "platform/icmp.h"
#include "platform/locale.h"
#include "platform/module_path.h"

namespace quarno::platform::fake {

class FixedClock : public Clock {
 public:
  explicit FixedClock(const CivilTime& civil) : time(date_from_civil(civil).value()) {}
  Date now() override { return time; }
  Date time;
};

class FixedLocale : public Locale {
 public:
  explicit FixedLocale(LocaleInfo locale) : locale_(std::move(locale)) {}
  const LocaleInfo& info() override { return locale_; }

  /// Decimal comma, point as group sign, Italian month names.
  static LocaleInfo italian() {
    LocaleInfo info;
    info.decimal = ",";
    info.group = ".";
    info.month_abbreviations = {"gen", "feb", "mar", "apr", "mag", "giu",
                                "lug", "ago", "set", "ott", "nov", "dic"};
    return info;
  }

 private:
  LocaleInfo locale_;
};

class FixedModulePath : public ModulePath {
 public:
  explicit FixedModulePath(std::string file) : file_(std::move(file)) {}
  std::string file() override { return file_; }

 private:
  std::string file_;
};

class RecordingDialogs : public Dialogs, private MessageWindow {
 public:
  void message_box(std::string_view text, std::string_view, BoxIcon) override { boxes.emplace_back(text); }
  std::string choose_file(const OpenFileRequest& request) override {
    requests.push_back(request);
    return chosen;
  }
  MessageWindow& message_window() override { return *this; }
  bool has_event_loop() override { return true; }
  void process_pending_events() override { ++events_processed; }

  std::vector<std::string> boxes;
  std::vector<OpenFileRequest> requests;
  std::string chosen;  // what choose_file answers
  std::string window;  // what the message window was told, call by call: "T|text|255|0 show top hide "
  int events_processed = 0;

 private:
  void set_content(std::string_view caption, std::string_view text, std::int32_t back_colour,
                   std::int32_t fore_colour) override {
    window.append(caption).append("|").append(text).append("|") +=
        std::to_string(back_colour) + "|" + std::to_string(fore_colour) + " ";
  }
  void show() override { window += "show "; }
  void hide() override { window += "hide "; }
  void set_always_on_top(bool on_top) override { window += on_top ? "top " : "normal "; }
};

class ScriptedIcmp : public Icmp {
 public:
  std::optional<EchoStatus> echo(std::uint32_t address, std::string_view payload, int timeout_ms) override {
    last_address = address;
    last_payload = payload;
    last_timeout_ms = timeout_ms;
    return answer;
  }
  std::optional<EchoStatus> answer = EchoStatus::success;
  std::uint32_t last_address = 0;
  std::string last_payload;
  int last_timeout_ms = 0;
};

/// The real files, but every write after the first `writes_allowed` fails with the given error, and closing
/// fails when `close_fails` is set.
class FailingFiles : public Files {
 public:
  explicit FailingFiles(Files& real) : real_(real) {}
  std::unique_ptr<File> open(std::string_view path, OpenFor mode) override {
    return std::make_unique<FailingFile>(*this, real_.open(path, mode));
  }
  std::string find(std::string_view path) override { return real_.find(path); }
  bool exists(std::string_view path) override { return real_.exists(path); }
  std::uint64_t size(std::string_view path) override { return real_.size(path); }
  void create_folder(std::string_view path) override { real_.create_folder(path); }
  std::string native(std::string_view path) override { return real_.native(path); }

  int writes_allowed = 0;
  bool close_fails = false;
  RunTime failure = RunTime::disk_full;

 private:
  class FailingFile : public File {
   public:
    FailingFile(FailingFiles& owner, std::unique_ptr<File> real) : owner_(owner), real_(std::move(real)) {}
    std::size_t read(std::span<char> buffer) override { return real_->read(buffer); }
    void write(std::string_view bytes) override {
      if (owner_.writes_allowed-- <= 0) throw run_time_error(owner_.failure);
      real_->write(bytes);
    }
    void close() override {
      real_->close();
      if (owner_.close_fails) throw run_time_error(owner_.failure);
    }

   private:
    FailingFiles& owner_;
    std::unique_ptr<File> real_;
  };

  Files& real_;
};

}  // namespace quarno::platform::fake
