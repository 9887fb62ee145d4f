// Messages to the user. No adapter may ever block a process that has no display.
#pragma once

#include <cstdint>
#include <string>
#include <string_view>

#include "platform/registry.h"

namespace quarno::platform {

enum class BoxIcon { none, exclamation, critical };

/// What the open-file dialog is to show.
struct OpenFileRequest {
  std::string title;
  std::string description;  // of the only filter
  std::string pattern;      // of the only filter, as *.txt; several with ";" between them
  std::string folder;       // where it starts, as the host names it
  std::int32_t owner = 0;   // handle of the host's window; 0 for none
};

/// The message window. One for the process, kept once it was made; hidden at first.
class MessageWindow {
 public:
  virtual ~MessageWindow() = default;
  /// Colours are RGB, red in the low byte; the text is shown in them too.
  virtual void set_content(std::string_view caption, std::string_view text, std::int32_t back_colour,
                           std::int32_t fore_colour) = 0;
  /// Shows it, not modal, and returns at once. A click on the text hides it.
  virtual void show() = 0;
  virtual void hide() = 0;
  /// The check box: whether the window stays above all others, now and whenever it is shown again.
  virtual void set_always_on_top(bool on_top) = 0;
};

class Dialogs {
 public:
  virtual ~Dialogs() = default;
  /// Shows a box with an OK button and returns once it is answered; where it cannot be shown it counts as
  /// answered. An empty `title` means the default title.
  virtual void message_box(std::string_view text, std::string_view title, BoxIcon icon) = 0;
  /// The path that the user chose, in the platform's form; "" when the dialog was cancelled or cannot be
  /// shown.
  virtual std::string choose_file(const OpenFileRequest& /*request*/) { return {}; }
  /// The one window, made on first use; where none can be shown, one that only keeps what it is given.
  virtual MessageWindow& message_window() = 0;
  /// Whether the host's interface has events to be handled here at all. Where it has none, callers save
  /// themselves process_pending_events().
  virtual bool has_event_loop() = 0;
  /// Lets the host's interface handle what is waiting; returns at once.
  virtual void process_pending_events() = 0;
};

inline constexpr std::string_view kDefaultTitle = "QuarnoFwk";

inline Dialogs& dialogs() { return port<Dialogs>(); }

}  // namespace quarno::platform
