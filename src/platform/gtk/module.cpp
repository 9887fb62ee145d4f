// The module's one exported function.
#include "platform/gtk/file_chooser.h"
#include "platform/gtk/message_box.h"
#include "platform/gtk/message_window.h"
#include "platform/gtk/screen.h"
#include "platform/gtk/session.h"

namespace quarno::platform {
namespace {

bool message_box(std::string_view text, std::string_view title, int icon) {
  bool was_answered = false;
  return gtk::guarded([&] { was_answered = gtk::message_box(text, title, icon); }) && was_answered;
}

std::string choose_file(const std::string& title, const std::string& description, const std::string& pattern,
                        const std::string& folder, std::int32_t owner) {
  std::string path;
  gtk::guarded([&] { path = gtk::choose_file(title, description, pattern, folder, owner); });
  return path;
}

void set_window_content(std::string_view caption, std::string_view text, std::int32_t back_colour,
                        std::int32_t fore_colour) {
  gtk::guarded([&] { gtk::set_window_content(caption, text, back_colour, fore_colour); });
}

void show_window() { gtk::guarded(gtk::show_window); }
void hide_window() { gtk::guarded(gtk::hide_window); }
void set_window_on_top(bool on_top) {
  gtk::guarded([&] { gtk::set_window_on_top(on_top); });
}
void process_events() { gtk::guarded(gtk::process_events); }

}  // namespace
}  // namespace quarno::platform

extern "C" __attribute__((visibility("default"))) const quarno::platform::Screen* quarno_gtk_screen() {
  using namespace quarno::platform;
  static constexpr Screen kScreen{gtk::ready,         message_box,         choose_file,
                                  set_window_content, show_window,         hide_window,
                                  set_window_on_top,  gtk::has_own_events, process_events};
  return &kScreen;
}
