// What the GTK module gives the library: the module's file has one exported function, and that one table of
// functions behind it. Only the library's own adapter sees it; both are built from the same sources.
#pragma once

#include <cstdint>
#include <string>
#include <string_view>

namespace quarno::platform {

/// Texts are UTF-8; what is not is shown as far as it goes. All calls after `ready` said yes.
struct Screen {
  /// Whether the calling thread may show something now. The first call connects to the display; the thread
  /// that did is the only one that may from then on, until the display is lost.
  bool (*ready)();
  /// Shows a box and returns once it is answered; false when the display was lost before. `icon` as BoxIcon.
  bool (*message_box)(std::string_view text, std::string_view title, int icon);
  /// The chosen path; "" when cancelled or the display was lost. `folder` and the path are the platform's.
  std::string (*choose_file)(const std::string& title, const std::string& description,
                             const std::string& pattern, const std::string& folder, std::int32_t owner);
  void (*set_window_content)(std::string_view caption, std::string_view text, std::int32_t back_colour,
                             std::int32_t fore_colour);
  void (*show_window)();
  void (*hide_window)();
  void (*set_window_on_top)(bool on_top);
  /// Whether the thread's events are nobody else's to handle: windows were shown, and no main loop runs.
  bool (*has_own_events)();
  /// Handles what is waiting, for a tenth of a second at the most; asked again within 5 ms it does nothing.
  void (*process_events)();
};

inline constexpr const char* kScreenModule = "QuarnoGtk.so";
/// extern "C" const Screen* quarno_gtk_screen()
inline constexpr const char* kScreenEntry = "quarno_gtk_screen";

}  // namespace quarno::platform
