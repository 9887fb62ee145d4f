#include "platform/gtk/message_window.h"

#include <gtk/gtk.h>

#include <string>

#include "platform/gtk/session.h"

namespace quarno::platform::gtk {
namespace {

constexpr const char* kName = "frmCorvexObj";
constexpr int kWidth = 420;
constexpr int kHeight = 180;
constexpr int kMargin = 8;
// Above themes, applications and the user's own style sheet.
constexpr guint kStylePriority = GTK_STYLE_PROVIDER_PRIORITY_USER + 100;

struct Form {
  GtkWidget* window = nullptr;
  GtkWidget* testo = nullptr;
  GtkWidget* always_on_top = nullptr;
  GtkCssProvider* style = nullptr;
  bool is_drawn = false;
};

// A window manager forgets it while a window is hidden.
void apply_stacking(const Form& form) {
  gtk_window_set_keep_above(GTK_WINDOW(form.window),
                            gtk_toggle_button_get_active(GTK_TOGGLE_BUTTON(form.always_on_top)));
}

void on_toggled(GtkToggleButton*, gpointer form) { apply_stacking(*static_cast<Form*>(form)); }

gboolean on_click(GtkWidget*, GdkEventButton* event, gpointer form) {
  if (event->button != GDK_BUTTON_PRIMARY) return FALSE;
  gtk_widget_hide(static_cast<Form*>(form)->window);
  return TRUE;
}

gboolean on_draw(GtkWidget*, cairo_t*, gpointer form) {
  static_cast<Form*>(form)->is_drawn = true;
  return FALSE;
}

GtkWidget* new_form_window(Form& form) {
  GtkWidget* const window = gtk_window_new(GTK_WINDOW_TOPLEVEL);
  adopt(window);
  gtk_widget_set_name(window, kName);
  gtk_window_set_default_size(GTK_WINDOW(window), kWidth, kHeight);
  gtk_window_set_position(GTK_WINDOW(window), GTK_WIN_POS_CENTER);
  g_signal_connect(window, "delete-event", G_CALLBACK(gtk_widget_hide_on_delete), nullptr);
  g_signal_connect_after(window, "draw", G_CALLBACK(on_draw), &form);
  return window;
}

Form& the_form() {
  static Form form;
  if (form.window != nullptr) return form;
  form.window = new_form_window(form);
  form.testo = new_text_view();
  gtk_text_view_set_left_margin(GTK_TEXT_VIEW(form.testo), kMargin);
  gtk_text_view_set_right_margin(GTK_TEXT_VIEW(form.testo), kMargin);
  gtk_text_view_set_top_margin(GTK_TEXT_VIEW(form.testo), kMargin);
  g_signal_connect(form.testo, "button-release-event", G_CALLBACK(on_click), &form);
  form.always_on_top = gtk_check_button_new_with_label("AlwaysOnTop");
  g_object_set(form.always_on_top, "margin", kMargin, nullptr);
  g_signal_connect(form.always_on_top, "toggled", G_CALLBACK(on_toggled), &form);

  GtkWidget* const scrolled = gtk_scrolled_window_new(nullptr, nullptr);
  gtk_scrolled_window_set_policy(GTK_SCROLLED_WINDOW(scrolled), GTK_POLICY_NEVER, GTK_POLICY_AUTOMATIC);
  gtk_container_add(GTK_CONTAINER(scrolled), form.testo);
  GtkWidget* const column = gtk_box_new(GTK_ORIENTATION_VERTICAL, 0);
  gtk_box_pack_start(GTK_BOX(column), scrolled, TRUE, TRUE, 0);
  gtk_box_pack_start(GTK_BOX(column), form.always_on_top, FALSE, FALSE, 0);
  gtk_container_add(GTK_CONTAINER(form.window), column);
  gtk_widget_show_all(column);

  form.style = gtk_css_provider_new();
  gtk_style_context_add_provider_for_screen(gtk_widget_get_screen(form.window),
                                            GTK_STYLE_PROVIDER(form.style), kStylePriority);
  return form;
}

// As CSS; "" for a colour that names one of the desktop's own, which the theme knows best.
std::string css_colour(std::int32_t colour) {
  if (colour < 0) return {};
  return "rgb(" + std::to_string(colour & 0xFF) + "," + std::to_string(colour >> 8 & 0xFF) + "," +
         std::to_string(colour >> 16 & 0xFF) + ")";
}

std::string style_text(std::int32_t back_colour, std::int32_t fore_colour) {
  const std::string back = css_colour(back_colour);
  const std::string fore = css_colour(fore_colour);
  const std::string form = std::string("#") + kName;
  std::string css = form + "," + form + " textview," + form + " textview text," + form + " checkbutton," +
                    form + " check{text-shadow:none;box-shadow:none;";
  if (!back.empty()) css += "background:" + back + ";";
  if (!fore.empty()) css += "color:" + fore + ";";
  css += "}";
  if (!fore.empty()) css += form + " check{border-color:" + fore + ";}";
  return css;
}

}  // namespace

void set_window_content(std::string_view caption, std::string_view text, std::int32_t back_colour,
                        std::int32_t fore_colour) {
  Form& form = the_form();
  gtk_window_set_title(GTK_WINDOW(form.window), shown_text(caption, kMostOfATitle).c_str());
  set_text(form.testo, text);
  gtk_css_provider_load_from_data(form.style, style_text(back_colour, fore_colour).c_str(), -1, nullptr);
  form.is_drawn = false;
  if (gtk_widget_get_visible(form.window) != FALSE) settle(form.is_drawn);
}

void show_window() {
  Form& form = the_form();
  gtk_window_present(GTK_WINDOW(form.window));
  apply_stacking(form);
  settle(form.is_drawn);
}

void hide_window() {
  Form& form = the_form();
  gtk_widget_hide(form.window);
  settle(form.is_drawn = true);
  gdk_display_flush(gtk_widget_get_display(form.window));
}

void set_window_on_top(bool on_top) {
  Form& form = the_form();
  gtk_toggle_button_set_active(GTK_TOGGLE_BUTTON(form.always_on_top), on_top ? TRUE : FALSE);
  form.is_drawn = gtk_widget_get_visible(form.window) == FALSE;
  settle(form.is_drawn);
}

}  // namespace quarno::platform::gtk
