#include "platform/gtk/session.h"

#include <X11/Xlib.h>
#include <gdk/gdkx.h>
#define G_SETTINGS_ENABLE_BACKEND
#include <gio/gsettingsbackend.h>
#include <poll.h>
#include <sys/syscall.h>
#include <unistd.h>

#include <atomic>
#include <csetjmp>
#include <memory>
#include <mutex>
#include <utility>

namespace quarno::platform::gtk {
namespace {

enum class State { untried, refused, open, lost };

std::mutex connecting;
std::atomic<State> state{State::untried};
std::atomic<pid_t> owner_process{0};
std::atomic<pid_t> owner_thread{0};

GdkDisplay* own_display = nullptr;  // null when the host had connected first: then it decides its fate
Display* own_x_display = nullptr;
XErrorHandler host_error_handler = nullptr;
XIOErrorHandler gdk_io_error_handler = nullptr;
gint64 last_processed = 0;
std::jmp_buf way_out;
bool has_way_out = false;

constexpr const char* kOurs = "quarno-window";

pid_t this_thread() { return static_cast<pid_t>(::syscall(SYS_gettid)); }

// After a fork the connection is the parent's.
bool is_owner() { return owner_thread == this_thread() && owner_process == ::getpid(); }

// Where another thread runs GLib's main loop, waiting for it could last for ever.
class ContextHeld {
 public:
  ContextHeld() : is_held_(g_main_context_acquire(nullptr) != FALSE) {}
  ~ContextHeld() {
    if (is_held_) g_main_context_release(nullptr);
  }
  ContextHeld(const ContextHeld&) = delete;
  ContextHeld& operator=(const ContextHeld&) = delete;
  explicit operator bool() const { return is_held_; }

 private:
  bool is_held_;
};

struct ListFree {
  void operator()(GList* list) const { g_list_free(list); }
};
using Windows = std::unique_ptr<GList, ListFree>;
struct Free {
  void operator()(char* text) const { g_free(text); }
};

bool host_has_windows() {
  const Windows all(gtk_window_list_toplevels());
  for (const GList* item = all.get(); item != nullptr; item = item->next) {
    auto* const window = static_cast<GtkWindow*>(item->data);
    const bool is_popup = gtk_window_get_window_type(window) == GTK_WINDOW_POPUP;
    if (!is_popup && g_object_get_data(G_OBJECT(window), kOurs) == nullptr) return true;
  }
  return false;
}

// Its source would keep whoever runs the main loop awake for ever. The windows stay as they are: GDK asks the
// display for the pointer while it hides one, and frees what the answer should have held.
gboolean close_lost_display(gpointer) {
  if (own_display != nullptr) gdk_display_close(std::exchange(own_display, nullptr));
  return G_SOURCE_REMOVE;
}

// Xlib ends the process when this returns, unless the display has an exit handler; GDK ends it at once.
int on_io_error(Display* display) {
  if (display != own_x_display || host_has_windows()) return gdk_io_error_handler(display);
  return 0;
}

// What was under way cannot go on: GDK and Cairo crash when the display answers no more. With no loop of the
// host's around it, it is left where it stands, and its memory with it.
void on_io_exit(Display*, void*) {
  state = State::lost;
  if (has_way_out && g_main_depth() <= 1) {
    own_display = nullptr;
    has_way_out = false;
    std::longjmp(way_out, 1);
  }
  g_idle_add_full(G_PRIORITY_HIGH, close_lost_display, nullptr, nullptr);
}

// GDK ends the process for a request that failed, as one for a window that has just gone does.
int on_error(Display* display, XErrorEvent* event) {
  if (display == own_x_display || host_error_handler == nullptr) return 0;
  return host_error_handler(display, event);
}

// Settings of the user's desktop would come over its bus; without one it complains for every dialog. The
// environment could say so, but changing it is not safe while the host has threads.
void keep_settings_in_memory() {
  GSettingsBackend* const backend = g_memory_settings_backend_new();
  GTypeQuery memory{};
  g_type_query(G_OBJECT_TYPE(backend), &memory);
  g_object_unref(backend);
  // A type is registered with one priority only, so it takes another one.
  const GType own = g_type_register_static_simple(memory.type, "QuarnoMemorySettings", memory.class_size,
                                                  nullptr, memory.instance_size, nullptr, GTypeFlags{});
  constexpr int kBeforeAllOthers = 1000;
  g_io_extension_point_implement(G_SETTINGS_BACKEND_EXTENSION_POINT_NAME, own, "quarno-memory",
                                 kBeforeAllOthers);
}

// Asked before anything is begun, since GDK does not expect to lose the display in the middle.
bool has_hung_up() {
  if (own_display == nullptr) return false;
  pollfd connection{ConnectionNumber(own_x_display), 0, 0};
  return ::poll(&connection, 1, 0) == 1;
}

State connect() {
  const ContextHeld held;
  if (!held) return State::untried;
  if (GdkDisplay* const hosts = gdk_display_get_default()) {
    // Which thread the host uses it on shows only while its loop runs; else it is the process's first.
    if (this_thread() != ::getpid() && g_main_depth() == 0) return State::untried;
    return gdk_display_is_closed(hosts) != FALSE ? State::refused : State::open;
  }
  keep_settings_in_memory();
  gtk_disable_setlocale();
  // A lost Wayland connection ends the process, whatever one does.
  gdk_set_allowed_backends("x11");
  if (gtk_init_check(nullptr, nullptr) == FALSE) return State::refused;
  own_display = gdk_display_get_default();
  own_x_display = gdk_x11_display_get_xdisplay(own_display);
  host_error_handler = XSetErrorHandler(on_error);
  gdk_io_error_handler = XSetIOErrorHandler(on_io_error);
  XSetIOErrorExitHandler(own_x_display, on_io_exit, nullptr);
  return State::open;
}

}  // namespace

bool ready() {
  const std::lock_guard lock(connecting);
  if (state == State::untried) {
    const State reached = connect();
    if (reached != State::untried) {
      owner_process = ::getpid();
      owner_thread = this_thread();
      state = reached;
    }
  }
  if (!is_owner()) return false;
  if (state == State::open && has_hung_up()) state = State::lost;
  return state == State::open && ContextHeld();
}

bool guarded(const std::function<void()>& work) {
  if (has_way_out || g_main_depth() > 0) {
    work();
    return true;
  }
  if (setjmp(way_out) != 0) return false;
  has_way_out = true;
  try {
    work();
  } catch (...) {
    has_way_out = false;
    throw;
  }
  has_way_out = false;
  return true;
}

bool has_own_events() {
  return state == State::open && is_owner() && gtk_main_level() == 0 && g_main_depth() == 0;
}

void process_events() {
  constexpr gint64 kPause = 5'000;  // µs
  constexpr gint64 kMost = 100'000;
  const gint64 start = g_get_monotonic_time();
  if (start - last_processed < kPause || !ready()) return;
  const ContextHeld held;
  while (held && state == State::open && gtk_events_pending() != FALSE &&
         g_get_monotonic_time() - start < kMost) {
    gtk_main_iteration_do(FALSE);
  }
  last_processed = g_get_monotonic_time();
}

bool run_until(const bool& done) {
  const ContextHeld held;
  while (held && !done && state == State::open) gtk_main_iteration_do(TRUE);
  return done;
}

void settle(const bool& drawn) {
  if (!has_own_events()) return;
  constexpr gint64 kMost = 300'000;  // µs
  const gint64 start = g_get_monotonic_time();
  const ContextHeld held;
  while (held && state == State::open && g_get_monotonic_time() - start < kMost) {
    if (gtk_events_pending() != FALSE) {
      gtk_main_iteration_do(FALSE);
    } else if (drawn) {
      break;
    } else {
      g_usleep(1'000);
    }
  }
}

void adopt(GtkWidget* window) { g_object_set_data(G_OBJECT(window), kOurs, window); }

void discard(GtkWidget* window) {
  if (state != State::open) return;
  GdkDisplay* const display = gtk_widget_get_display(window);
  gtk_widget_destroy(window);
  gdk_display_flush(display);  // nobody may look after events until the next window
}

std::string shown_text(std::string_view text, glong most_characters) {
  const std::unique_ptr<char, Free> valid(g_utf8_make_valid(text.data(), static_cast<gssize>(text.size())));
  const char* end = valid.get();
  for (glong count = 0; *end != '\0' && count < most_characters; ++count) end = g_utf8_next_char(end);
  return {valid.get(), static_cast<std::size_t>(end - valid.get())};
}

std::string broken_text(std::string_view text) {
  constexpr int kLongestWord = 40;
  constexpr int kLongestLine = 1000;
  constexpr const char* kMayBreakHere = "\u200B";
  const std::string whole = shown_text(text);
  std::string lines;
  int line = 0;
  int word = 0;
  for (const char* next = whole.c_str(); *next != '\0';) {
    const char* const start = next;
    next = g_utf8_next_char(start);
    const bool is_blank = *start == ' ';
    word = is_blank ? 0 : word + 1;
    if (*start == '\n') {
      line = word = 0;
    } else if (line++ >= kLongestLine && word % kLongestWord == 0) {
      lines.push_back('\n');
      line = word = 0;
      if (is_blank) continue;
    } else if (word >= kLongestWord && word % 10 == 0) {
      lines.append(kMayBreakHere);
    }
    lines.append(start, next);
  }
  return lines;
}

GtkWidget* new_text_view() {
  GtkWidget* const view = gtk_text_view_new();
  auto* const text = GTK_TEXT_VIEW(view);
  gtk_text_view_set_editable(text, FALSE);
  gtk_text_view_set_cursor_visible(text, FALSE);
  gtk_text_view_set_accepts_tab(text, FALSE);
  gtk_text_view_set_wrap_mode(text, GTK_WRAP_WORD_CHAR);
  return view;
}

void set_text(GtkWidget* text_view, std::string_view text) {
  const std::string shown = broken_text(text);
  gtk_text_buffer_set_text(gtk_text_view_get_buffer(GTK_TEXT_VIEW(text_view)), shown.data(),
                           static_cast<gint>(shown.size()));
}

GdkRectangle work_area() {
  GdkDisplay* const display = gdk_display_get_default();
  GdkMonitor* monitor = gdk_display_get_primary_monitor(display);
  if (monitor == nullptr) monitor = gdk_display_get_monitor(display, 0);
  GdkRectangle area{0, 0, 640, 480};
  if (monitor != nullptr) gdk_monitor_get_workarea(monitor, &area);
  return area;
}

}  // namespace quarno::platform::gtk
