// Messages without a display: "console" writes each box to standard error and counts it as answered, "none"
// shows nothing. Neither waits for anybody. Any thread may use them.
#pragma once

#include "platform/dialogs.h"

namespace quarno::platform {

/// Where no window can be shown.
class NoWindow : public MessageWindow {
 public:
  void set_content(std::string_view, std::string_view, std::int32_t, std::int32_t) override {}
  void show() override {}
  void hide() override {}
  void set_always_on_top(bool) override {}
};

class NoDialogs : public Dialogs {
 public:
  void message_box(std::string_view, std::string_view, BoxIcon) override {}
  std::string choose_file(const OpenFileRequest&) override { return {}; }
  MessageWindow& message_window() override { return window_; }
  bool has_event_loop() override { return false; }
  void process_pending_events() override {}

 private:
  NoWindow window_;
};

class ConsoleDialogs : public NoDialogs {
 public:
  void message_box(std::string_view text, std::string_view title, BoxIcon icon) override;
};

}  // namespace quarno::platform
