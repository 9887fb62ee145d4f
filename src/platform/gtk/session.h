// The one connection to the display, and what every window needs. All of it belongs to the thread that
// connected, but `ready` and `has_own_events`, which say so to any other.
#pragma once

#include <gtk/gtk.h>

#include <functional>
#include <string>
#include <string_view>

namespace quarno::platform::gtk {

/// See Screen.
bool ready();
bool has_own_events();
void process_events();

/// Calls `work`; false when the display was lost meanwhile, in which case `work` may have been left anywhere.
bool guarded(const std::function<void()>& work);

/// Handles events until `done`; false when the display was lost before.
bool run_until(const bool& done);
/// Where nobody else would draw: handles events until `drawn`, for 0.3 s at the most.
void settle(const bool& drawn);

/// Marks a window as one of the library's: when the display is lost, others' windows decide what happens.
void adopt(GtkWidget* window);

/// Destroys a window, unless its display is lost: then it may no longer be touched.
void discard(GtkWidget* window);

/// The text without what is no UTF-8, which becomes U+FFFD, and cut to a number of characters.
std::string shown_text(std::string_view text, glong most_characters = G_MAXLONG);

/// The text with places to break long words, without a hyphen, and with breaks in lines so long that laying
/// them out would take seconds.
std::string broken_text(std::string_view text);

/// A read-only text that wraps at its width.
GtkWidget* new_text_view();
void set_text(GtkWidget* text_view, std::string_view text);

/// The part of the screen that windows may use, in pixels of the toolkit.
GdkRectangle work_area();

/// A window manager shows no more of a title, and an X server takes no endless one.
inline constexpr glong kMostOfATitle = 300;

}  // namespace quarno::platform::gtk
