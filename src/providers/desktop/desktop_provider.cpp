#include "providers/desktop/desktop_provider.h"

#include <array>
#include <charconv>
#include <string_view>

#include "ado/ado_error.h"
#include "common/error.h"
#include "common/text.h"
#include "platform/code_page.h"
#include "platform/files.h"
#include "providers/desktop/access_source.h"
#include "providers/desktop/dbase/folder.h"
#include "providers/desktop/sqlite/session.h"

namespace quarno::desktop {
namespace {

using namespace std::string_view_literals;

constexpr std::string_view kSqliteHeader = "SQLite format 3\0"sv;
constexpr std::string_view kJetHeader = "\0\1\0\0Standard Jet DB"sv;
constexpr std::string_view kAceHeader = "\0\1\0\0Standard ACE DB"sv;

Error failure(std::string text) {
  return ado::provider_error(ado::kUnspecified, std::move(text), kSourceName);
}

std::string first_bytes(const std::string& path) {
  std::array<char, 32> buffer;
  const auto file = platform::files().open(path, platform::OpenFor::input);
  return {buffer.data(), file->read(buffer)};
}

// In which files that name no code page keep their texts; 0 when nothing is said.
int code_page(const ado::ConnectionString& text) {
  const std::string given = text.value_or("Code Page", "");
  if (given.empty()) return 0;
  int number = 0;
  const auto [end, error] = std::from_chars(given.data(), given.data() + given.size(), number);
  const bool known = error == std::errc() && end == given.data() + given.size() && number > 0 &&
                     platform::code_page().codec(number) != nullptr;
  if (!known) throw failure("Code Page '" + given + "' is not one that this system knows.");
  return number;
}

std::unique_ptr<ado::Session> open_folder(const std::string& path, const ado::ConnectionString& text) {
  dbase::Folder::Settings settings;
  if (const int number = code_page(text); number != 0) settings.code_page = number;
  if (!platform::files().exists(path + "/.")) throw failure("'" + path + "' is not a folder.");
  return sqlite::open_session(std::make_unique<dbase::Folder>(path, settings));
}

// The content decides, never the extension.
std::unique_ptr<ado::Session> open_file(const std::string& path, const ado::ConnectionString& text) {
  const std::string header = first_bytes(path);
  if (header.empty() || header.starts_with(kSqliteHeader)) {
    return sqlite::open_session(platform::files().native(path));
  }
  if (!header.starts_with(kJetHeader) && !header.starts_with(kAceHeader)) {
    throw failure("Unrecognized database format '" + path + "'.");
  }
  const access::Options options{.password = text.value_or("Jet OLEDB:Database Password", ""),
                                .code_page = code_page(text)};
  return sqlite::open_session(std::make_unique<AccessSource>(access::Database::open(path, options)));
}

class DesktopProvider : public ado::Provider {
 public:
  std::unique_ptr<ado::Session> open(const ado::ConnectionString& text, std::int32_t) const override {
    const std::string path = text.value_or("Data Source", "");
    const bool is_folder = text::equal_fold(text.value_or("Extended Properties", "").substr(0, 5), "dBASE");
    try {
      return is_folder ? open_folder(path, text) : open_file(path, text);
    } catch (const Error& error) {
      if (error.from_provider) throw;
      throw failure("Could not open '" + path + "': " + error.description);
    }
  }
};

}  // namespace

const ado::Provider& desktop_provider() {
  static const DesktopProvider instance;
  return instance;
}

}  // namespace quarno::desktop
