// Which dialogs a process gets. QUARNOFWK_UI chooses: "console", "none" or "gtk"; without it, GTK where a
// display is named. GTK lies in a module of its own that is loaded for the first box, window or dialog, and
// never unloaded. What it cannot show goes to the console.
#include "platform/dialogs.h"

#include <dlfcn.h>

#include <cstdlib>
#include <mutex>
#include <string>

#include "common/error.h"
#include "platform/files.h"
#include "platform/gtk/screen.h"
#include "platform/linux/console_dialogs.h"
#include "platform/linux/pipe_signal.h"
#include "platform/module_path.h"

namespace quarno::platform {
namespace {

// A process that has one of these cannot have GTK 3 as well: their types bear the same names.
bool has_other_gtk() {
  for (const char* const other : {"libgtk-4.so.1", "libgtk-x11-2.0.so.0"}) {
    if (void* const handle = ::dlopen(other, RTLD_LAZY | RTLD_NOLOAD)) {
      ::dlclose(handle);
      return true;
    }
  }
  return false;
}

// The module's functions, or why there are none.
const Screen* load_screen(std::string& why_not) {
  if (has_other_gtk()) {
    why_not = "the process uses another GTK";
    return nullptr;
  }
  const std::string file = module_folder() + "/" + kScreenModule;
  void* const module = ::dlopen(file.c_str(), RTLD_NOW | RTLD_LOCAL | RTLD_NODELETE);
  void* const entry = module != nullptr ? ::dlsym(module, kScreenEntry) : nullptr;
  if (entry == nullptr) {
    const char* const error = ::dlerror();
    why_not = error != nullptr ? error : file;
    return nullptr;
  }
  return reinterpret_cast<const Screen* (*)()>(entry)();
}

class ScreenDialogs : public Dialogs, private MessageWindow {
 public:
  explicit ScreenDialogs(bool was_asked_for) : was_asked_for_(was_asked_for) {}

  void message_box(std::string_view text, std::string_view title, BoxIcon icon) override {
    const PipeSignalHeld held;
    const Screen* const screen = usable_screen();
    const auto shown_title = title.empty() ? kDefaultTitle : title;
    if (screen != nullptr && screen->message_box(text, shown_title, static_cast<int>(icon))) return;
    console_.message_box(text, title, icon);
  }

  std::string choose_file(const OpenFileRequest& request) override {
    const PipeSignalHeld held;
    const Screen* const screen = usable_screen();
    if (screen == nullptr) return {};
    std::string folder;  // one that is no path leaves the choice to the dialog
    quietly([&] { folder = files().native(request.folder); });
    return screen->choose_file(request.title, request.description, request.pattern, folder, request.owner);
  }

  MessageWindow& message_window() override { return *this; }

  bool has_event_loop() override {
    const Screen* const screen = loaded_;
    return screen != nullptr && screen->has_own_events();
  }

  void process_pending_events() override {
    if (!has_event_loop()) return;
    const PipeSignalHeld held;
    loaded_.load()->process_events();
  }

 private:
  void set_content(std::string_view caption, std::string_view text, std::int32_t back_colour,
                   std::int32_t fore_colour) override {
    on_screen(
        [&](const Screen& screen) { screen.set_window_content(caption, text, back_colour, fore_colour); });
  }
  void show() override {
    on_screen([](const Screen& screen) { screen.show_window(); });
  }
  void hide() override {
    on_screen([](const Screen& screen) { screen.hide_window(); });
  }
  void set_always_on_top(bool on_top) override {
    on_screen([&](const Screen& screen) { screen.set_window_on_top(on_top); });
  }

  template <class Work>
  void on_screen(Work work) {
    const PipeSignalHeld held;
    if (const Screen* const screen = usable_screen()) work(*screen);
  }

  // Null where the calling thread can show nothing.
  const Screen* usable_screen() {
    std::call_once(once_, [this] {
      std::string why_not = "no display";
      const Screen* const screen = load_screen(why_not);
      loaded_ = screen;
      if (was_asked_for_ && (screen == nullptr || !screen->ready())) {
        console_.message_box("Windows cannot be shown: " + why_not, {}, BoxIcon::none);
      }
    });
    const Screen* const screen = loaded_;
    return screen != nullptr && screen->ready() ? screen : nullptr;
  }

  const bool was_asked_for_;
  ConsoleDialogs console_;
  std::once_flag once_;
  std::atomic<const Screen*> loaded_{nullptr};
};

bool is_set(const char* variable) {
  const char* const value = std::getenv(variable);
  return value != nullptr && *value != '\0';
}

}  // namespace

template <>
std::unique_ptr<Dialogs> make_adapter<Dialogs>() {
  const char* const variable = std::getenv("QUARNOFWK_UI");
  const std::string_view choice = variable != nullptr ? variable : "";
  if (choice == "none") return std::make_unique<NoDialogs>();
  if (choice == "gtk") return std::make_unique<ScreenDialogs>(true);
  if (choice.empty() && (is_set("DISPLAY") || is_set("WAYLAND_DISPLAY"))) {
    return std::make_unique<ScreenDialogs>(false);
  }
  return std::make_unique<ConsoleDialogs>();
}

}  // namespace quarno::platform
