#include "providers/desktop/desktop_provider.h"

#include <array>
#include <string_view>

#include "ado/ado_error.h"
#include "common/error.h"
#include "platform/files.h"
#include "providers/desktop/sqlite/session.h"

namespace quarno::desktop {
namespace {

using namespace std::string_view_literals;

constexpr std::string_view kSqliteHeader = "SQLite format 3\0"sv;
constexpr std::string_view kJetHeader = "\0\1\0\0Standard Jet DB"sv;
constexpr std::string_view kAceHeader = "\0\1\0\0Standard ACE DB"sv;

std::string first_bytes(const std::string& path) {
  std::array<char, 32> buffer;
  const auto file = platform::files().open(path, platform::OpenFor::input);
  return {buffer.data(), file->read(buffer)};
}

// The content decides, never the extension.
void require_database(const std::string& path) {
  const std::string header = first_bytes(path);
  if (header.empty() || header.starts_with(kSqliteHeader)) return;
  if (header.starts_with(kJetHeader) || header.starts_with(kAceHeader)) {
    throw ado::provider_error(
        ado::kUnspecified, "'" + path + "' is an Access file, which this version cannot read.", kSourceName);
  }
  throw ado::provider_error(ado::kUnspecified, "Unrecognized database format '" + path + "'.", kSourceName);
}

class DesktopProvider : public ado::Provider {
 public:
  std::unique_ptr<ado::Session> open(const ado::ConnectionString& text, std::int32_t) const override {
    const std::string path = text.value_or("Data Source", "");
    if (text.find("Extended Properties").value_or("").starts_with("dBASE")) {
      throw ado::provider_error(ado::kUnspecified, "Folders of dBASE files cannot be opened by this version.",
                                kSourceName);
    }
    try {
      require_database(path);
      return sqlite::open_session(platform::files().native(path));
    } catch (const Error& error) {
      if (error.from_provider) throw;
      throw ado::provider_error(ado::kUnspecified, "Could not open '" + path + "': " + error.description,
                                kSourceName);
    }
  }
};

}  // namespace

const ado::Provider& desktop_provider() {
  static const DesktopProvider instance;
  return instance;
}

}  // namespace quarno::desktop
