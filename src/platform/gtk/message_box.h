// A box with a text, an icon and an OK button. See Screen::message_box.
#pragma once

#include <string_view>

namespace quarno::platform::gtk {

bool message_box(std::string_view text, std::string_view title, int icon);

}  // namespace quarno::platform::gtk
