#include "providers/site_settings.h"

#include <algorithm>
#include <array>
#include <cstdlib>

#include "ado/ado_error.h"
#include "ado/connection_string.h"
#include "common/error.h"
#include "common/text.h"
#include "platform/files.h"
#include "providers/ini_text.h"

namespace quarno::providers {
namespace {

constexpr const char* kSource = "ADODB.Connection";
constexpr std::size_t kSettingsLimit = 1 << 20;

[[noreturn]] void refuse(int line, const std::string& what) {
  throw ado::provider_error(ado::kUnspecified, "Line " + std::to_string(line) + ": " + what + ".", kSource);
}

std::string variable(const char* name) {
  const char* const value = std::getenv(name);
  return value == nullptr ? std::string() : std::string(value);
}

SiteSettings::Keyword keyword(const IniEntry& entry) {
  // Providers have points in their names, keywords have none.
  const auto point = entry.key.rfind('.');
  if (point == std::string::npos || point == 0 || point + 1 == entry.key.size()) {
    refuse(entry.line, "\"" + entry.key + "\" is not \"Provider.Keyword\"");
  }
  return {entry.key.substr(0, point), entry.key.substr(point + 1), entry.value};
}

}  // namespace

SiteSettings parse_site_settings(std::string_view text) {
  const IniText ini = parse_ini(text);
  if (!ini.problems.empty()) refuse(ini.problems.front().line, ini.problems.front().text);
  SiteSettings settings;
  for (const IniEntry& entry : ini.entries) {
    if (text::equal_fold(entry.section, "keywords")) {
      settings.keywords.push_back(keyword(entry));
      continue;
    }
    const bool provider = text::equal_fold(entry.section, "providers");
    if (!provider && !text::equal_fold(entry.section, "drivers")) {
      refuse(entry.line, "[" + entry.section + "] is none of [providers], [drivers], [keywords]");
    }
    if (entry.value.empty()) refuse(entry.line, "\"" + entry.key + "\" has no value");
    if (provider && entry.value.find('=') != std::string::npos) {
      try {
        static_cast<void>(ado::ConnectionString::parse(entry.value));
      } catch (const Error&) {
        refuse(entry.line, "\"" + entry.key + "\" has a value that is no list of \"name=value;\"");
      }
    }
    (provider ? settings.providers : settings.drivers).push_back({entry.key, entry.value});
  }
  return settings;
}

std::vector<std::string> driver_names(std::string_view text) {
  std::vector<std::string> names;
  for (const IniEntry& entry : parse_ini(text).entries) {
    const bool library = text::equal_fold(entry.key, "Driver") || text::equal_fold(entry.key, "Driver64");
    // The driver manager's own sections.
    const bool own =
        text::equal_fold(entry.section, "ODBC") || text::equal_fold(entry.section, "ODBC Drivers");
    if (!library || own || entry.value.empty()) continue;
    if (std::find(names.begin(), names.end(), entry.section) == names.end()) names.push_back(entry.section);
  }
  return names;
}

std::string file_bytes(const std::string& path, std::size_t limit) {
  const auto file = platform::files().open(path, platform::OpenFor::input);
  std::string bytes;
  std::array<char, 4096> block;
  while (bytes.size() < limit) {
    const std::size_t count = file->read(block);
    if (count == 0) break;
    bytes.append(block.data(), std::min(count, limit - bytes.size()));
  }
  return bytes;
}

std::string site_settings_file(const std::string& library_folder) {
  if (const std::string named = variable("QUARNOFWK_PROVIDERS"); !named.empty()) return named;
  for (const std::string& path :
       {library_folder + "/quarnofwk-providers.ini", std::string("/etc/quarnofwk/providers.ini")}) {
    if (platform::files().exists(path)) return path;
  }
  return {};
}

SiteSettings read_site_settings(const std::string& library_folder) {
  const std::string path = site_settings_file(library_folder);
  if (path.empty()) return {};
  try {
    return parse_site_settings(file_bytes(path, kSettingsLimit));
  } catch (const Error& error) {
    throw ado::provider_error(ado::kUnspecified, "Provider settings '" + path + "': " + error.description,
                              kSource);
  }
}

std::vector<std::string> registered_drivers() {
  // Read here and not through the installer library, which keeps what it read for the life of the process.
  std::string folder = variable("ODBCSYSINI");
  if (folder.empty()) folder = "/etc";
  std::string name = variable("ODBCINSTINI");
  if (name.empty()) name = "odbcinst.ini";
  try {
    return driver_names(file_bytes(folder + "/" + name, kSettingsLimit));
  } catch (const Error&) {
    return {};  // no file, no drivers
  }
}

}  // namespace quarno::providers
