// The form frmCorvexObj: a text, and a check box that keeps it above all other windows. Made on first use and
// kept. See MessageWindow.
#pragma once

#include <cstdint>
#include <string_view>

namespace quarno::platform::gtk {

void set_window_content(std::string_view caption, std::string_view text, std::int32_t back_colour,
                        std::int32_t fore_colour);
void show_window();
void hide_window();
void set_window_on_top(bool on_top);

}  // namespace quarno::platform::gtk
