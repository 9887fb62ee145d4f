#include "platform/gtk/file_chooser.h"

#include <gdk/gdkx.h>

#include <memory>
#include <vector>

#include "platform/gtk/session.h"

namespace quarno::platform::gtk {
namespace {

struct Free {
  void operator()(char* text) const { g_free(text); }
};
using Text = std::unique_ptr<char, Free>;

std::string folded(const std::string& text) {
  return Text(g_utf8_casefold(text.c_str(), static_cast<gssize>(text.size()))).get();
}

// Patterns between ";", ready to be compared without letter case. "*.*" means every name, with a point or
// not.
std::vector<std::string> patterns_of(const std::string& all) {
  std::vector<std::string> patterns;
  for (std::size_t start = 0; start <= all.size();) {
    const std::size_t end = std::min(all.find(';', start), all.size());
    const std::string one = folded(Text(g_strstrip(g_strndup(all.data() + start, end - start))).get());
    if (!one.empty()) patterns.push_back(one == "*.*" ? "*" : one);
    start = end + 1;
  }
  if (patterns.empty()) patterns.emplace_back("*");
  return patterns;
}

gboolean passes(const GtkFileFilterInfo* info, gpointer data) {
  const std::string name = folded(info->display_name);
  for (const std::string& pattern : *static_cast<std::vector<std::string>*>(data)) {
    if (g_pattern_match_simple(pattern.c_str(), name.c_str()) != FALSE) return TRUE;
  }
  return FALSE;
}

void delete_patterns(gpointer data) { delete static_cast<std::vector<std::string>*>(data); }

// The host's window, when it is one of this display that is still there.
void stay_above(GtkWidget* dialog, std::int32_t owner) {
  GdkDisplay* const display = gtk_widget_get_display(dialog);
  if (owner == 0 || !GDK_IS_X11_DISPLAY(display)) return;
  gtk_widget_realize(dialog);
  GdkWindow* const window =
      gdk_x11_window_foreign_new_for_display(display, static_cast<std::uint32_t>(owner));
  if (window == nullptr) return;
  gdk_window_set_transient_for(gtk_widget_get_window(dialog), window);
  g_object_unref(window);
}

struct Answer {
  bool is_there = false;
  gint response = GTK_RESPONSE_NONE;
};

void answered(GtkDialog*, gint response, gpointer data) { *static_cast<Answer*>(data) = {true, response}; }

gboolean closed(GtkWidget*, GdkEvent*, gpointer data) {
  static_cast<Answer*>(data)->is_there = true;
  return TRUE;
}

}  // namespace

std::string choose_file(const std::string& title, const std::string& description, const std::string& pattern,
                        const std::string& folder, std::int32_t owner) {
  GtkWidget* const dialog = gtk_file_chooser_dialog_new(
      shown_text(title, kMostOfATitle).c_str(), nullptr, GTK_FILE_CHOOSER_ACTION_OPEN, "_Cancel",
      GTK_RESPONSE_CANCEL, "_Open", GTK_RESPONSE_ACCEPT, nullptr);
  adopt(dialog);
  auto* const chooser = GTK_FILE_CHOOSER(dialog);
  gtk_window_set_modal(GTK_WINDOW(dialog), TRUE);
  gtk_window_set_position(GTK_WINDOW(dialog), GTK_WIN_POS_CENTER);
  gtk_dialog_set_default_response(GTK_DIALOG(dialog), GTK_RESPONSE_ACCEPT);
  GtkFileFilter* const filter = gtk_file_filter_new();
  gtk_file_filter_set_name(filter, shown_text(description, kMostOfATitle).c_str());
  gtk_file_filter_add_custom(filter, GTK_FILE_FILTER_DISPLAY_NAME, passes,
                             new std::vector<std::string>(patterns_of(shown_text(pattern))), delete_patterns);
  gtk_file_chooser_add_filter(chooser, filter);
  if (!folder.empty()) gtk_file_chooser_set_current_folder(chooser, folder.c_str());

  Answer answer;
  g_signal_connect(dialog, "response", G_CALLBACK(answered), &answer);
  g_signal_connect(dialog, "delete-event", G_CALLBACK(closed), &answer);
  stay_above(dialog, owner);
  gtk_window_present(GTK_WINDOW(dialog));
  std::string path;
  // The chooser names a file even when it was cancelled.
  if (run_until(answer.is_there) && answer.response == GTK_RESPONSE_ACCEPT) {
    if (const Text name{gtk_file_chooser_get_filename(chooser)}) path = name.get();
  }
  discard(dialog);
  return path;
}

}  // namespace quarno::platform::gtk
