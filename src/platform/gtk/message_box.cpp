#include "platform/gtk/message_box.h"

#include <algorithm>
#include <numbers>

#include "platform/dialogs.h"
#include "platform/gtk/session.h"

namespace quarno::platform::gtk {
namespace {

constexpr int kIconSize = 48;
constexpr int kMostWidth = 600;
constexpr int kMargin = 18;
constexpr int kActionBorder = 4;  // what a dialog leaves around its buttons of its own accord
// A label lays its whole text out before it is shown, a text view only what one sees.
constexpr glong kMostOfALabel = 4000;

void stroke_thick(cairo_t* cairo, double width) {
  cairo_set_line_width(cairo, width);
  cairo_set_line_cap(cairo, CAIRO_LINE_CAP_ROUND);
  cairo_stroke(cairo);
}

// A yellow triangle with an exclamation mark.
gboolean draw_exclamation(GtkWidget*, cairo_t* cairo, gpointer) {
  cairo_set_line_join(cairo, CAIRO_LINE_JOIN_ROUND);
  cairo_move_to(cairo, 24, 5);
  cairo_line_to(cairo, 45, 43);
  cairo_line_to(cairo, 3, 43);
  cairo_close_path(cairo);
  cairo_set_source_rgb(cairo, 0.98, 0.79, 0.11);
  cairo_fill_preserve(cairo);
  stroke_thick(cairo, 5);
  cairo_set_source_rgb(cairo, 0.1, 0.1, 0.1);
  cairo_move_to(cairo, 24, 18);
  cairo_line_to(cairo, 24, 29);
  stroke_thick(cairo, 5);
  cairo_arc(cairo, 24, 37, 2.8, 0, 2 * std::numbers::pi);
  cairo_fill(cairo);
  return TRUE;
}

// A white cross on a red disc.
gboolean draw_critical(GtkWidget*, cairo_t* cairo, gpointer) {
  cairo_arc(cairo, 24, 24, 22, 0, 2 * std::numbers::pi);
  cairo_set_source_rgb(cairo, 0.8, 0.1, 0.1);
  cairo_fill(cairo);
  cairo_set_source_rgb(cairo, 1, 1, 1);
  for (const double slope : {-1.0, 1.0}) {
    cairo_move_to(cairo, 16, 24 - slope * 8);
    cairo_line_to(cairo, 32, 24 + slope * 8);
  }
  stroke_thick(cairo, 5);
  return TRUE;
}

// As large as its text needs, up to a part of the screen; then it scrolls, so that the button stays in sight.
GtkWidget* new_text(std::string_view text) {
  const GdkRectangle area = work_area();
  const int most_width = std::min(kMostWidth, area.width - kIconSize - 6 * kMargin);
  const int most_height = area.height * 3 / 5;
  const std::string shown = broken_text(text);
  GtkWidget* const scrolled = gtk_scrolled_window_new(nullptr, nullptr);
  auto* const frame = GTK_SCROLLED_WINDOW(scrolled);
  gtk_scrolled_window_set_overlay_scrolling(frame, FALSE);
  GtkWidget* child = nullptr;
  int width = most_width;
  int height = most_height;
  if (g_utf8_strlen(shown.c_str(), -1) > kMostOfALabel) {
    child = new_text_view();
    set_text(child, shown);
  } else {
    child = gtk_label_new(shown.c_str());
    auto* const label = GTK_LABEL(child);
    gtk_label_set_line_wrap(label, TRUE);
    gtk_label_set_line_wrap_mode(label, PANGO_WRAP_WORD_CHAR);
    gtk_label_set_xalign(label, 0);
    gtk_label_set_yalign(label, 0);
    PangoLayout* const layout = gtk_widget_create_pango_layout(child, shown.c_str());
    pango_layout_set_wrap(layout, PANGO_WRAP_WORD_CHAR);
    pango_layout_get_pixel_size(layout, &width, nullptr);
    width = std::clamp(width + 1, 160, most_width);
    pango_layout_set_width(layout, width * PANGO_SCALE);
    pango_layout_get_pixel_size(layout, nullptr, &height);
    g_object_unref(layout);
    gtk_widget_set_size_request(child, width, height);
    // A single line stands beside the middle of the icon.
    gtk_widget_set_valign(child, height < kIconSize ? GTK_ALIGN_CENTER : GTK_ALIGN_START);
  }
  const bool fits = height < most_height;
  gtk_scrolled_window_set_policy(frame, GTK_POLICY_NEVER, fits ? GTK_POLICY_NEVER : GTK_POLICY_ALWAYS);
  gtk_widget_set_size_request(scrolled, fits ? width : width + kMargin, std::min(height, most_height));
  gtk_container_add(GTK_CONTAINER(scrolled), child);
  return scrolled;
}

void answered(GtkDialog*, gint, gpointer done) { *static_cast<bool*>(done) = true; }

gboolean closed(GtkWidget*, GdkEvent*, gpointer done) {
  *static_cast<bool*>(done) = true;
  return TRUE;
}

}  // namespace

bool message_box(std::string_view text, std::string_view title, int icon) {
  bool done = false;
  GtkWidget* const dialog = gtk_dialog_new();
  adopt(dialog);
  auto* const window = GTK_WINDOW(dialog);
  gtk_window_set_title(window, shown_text(title, kMostOfATitle).c_str());
  gtk_window_set_modal(window, TRUE);
  gtk_window_set_resizable(window, FALSE);
  gtk_window_set_position(window, GTK_WIN_POS_CENTER);

  GtkWidget* const row = gtk_box_new(GTK_ORIENTATION_HORIZONTAL, kMargin);
  gtk_container_set_border_width(GTK_CONTAINER(row), kMargin);
  if (icon != static_cast<int>(BoxIcon::none)) {
    GtkWidget* const drawing = gtk_drawing_area_new();
    gtk_widget_set_size_request(drawing, kIconSize, kIconSize);
    gtk_widget_set_valign(drawing, GTK_ALIGN_START);
    const bool is_critical = icon == static_cast<int>(BoxIcon::critical);
    g_signal_connect(drawing, "draw", G_CALLBACK(is_critical ? draw_critical : draw_exclamation), nullptr);
    gtk_box_pack_start(GTK_BOX(row), drawing, FALSE, FALSE, 0);
  }
  gtk_box_pack_start(GTK_BOX(row), new_text(text), TRUE, TRUE, 0);
  gtk_box_pack_start(GTK_BOX(gtk_dialog_get_content_area(GTK_DIALOG(dialog))), row, TRUE, TRUE, 0);

  GtkWidget* const button = gtk_dialog_add_button(GTK_DIALOG(dialog), "_OK", GTK_RESPONSE_OK);
  gtk_dialog_set_default_response(GTK_DIALOG(dialog), GTK_RESPONSE_OK);
  gtk_widget_set_margin_end(button, kMargin - kActionBorder);
  gtk_widget_set_margin_bottom(button, kMargin - kActionBorder);
  g_signal_connect(dialog, "response", G_CALLBACK(answered), &done);
  g_signal_connect(dialog, "delete-event", G_CALLBACK(closed), &done);
  gtk_widget_show_all(dialog);
  gtk_widget_grab_focus(button);
  gtk_window_present(window);
  const bool was_answered = run_until(done);
  discard(dialog);
  return was_answered;
}

}  // namespace quarno::platform::gtk
