// The open-file dialog. See Screen::choose_file.
#pragma once

#include <cstdint>
#include <string>

namespace quarno::platform::gtk {

std::string choose_file(const std::string& title, const std::string& description, const std::string& pattern,
                        const std::string& folder, std::int32_t owner);

}  // namespace quarno::platform::gtk
