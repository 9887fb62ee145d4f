// Messages to the user. No adapter may ever block a process that has no display.
#pragma once

#include <string_view>

#include "platform/registry.h"

namespace quarno::platform {

enum class BoxIcon { none, exclamation, critical };

class Dialogs {
 public:
  virtual ~Dialogs() = default;
  /// Shows a box with an OK button and returns once it is answered; where it cannot be shown it counts as
  /// answered. An empty `title` means the default title.
  virtual void message_box(std::string_view text, std::string_view title, BoxIcon icon) = 0;
  /// Whether the host's interface has events to be handled here at all. Where it has none, callers save
  /// themselves process_pending_events().
  virtual bool has_event_loop() = 0;
  /// Lets the host's interface handle what is waiting; returns at once.
  virtual void process_pending_events() = 0;
};

inline constexpr std::string_view kDefaultTitle = "QuarnoFwk";

inline Dialogs& dialogs() { return port<Dialogs>(); }

}  // namespace quarno::platform
