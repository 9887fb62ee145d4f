#include <dlfcn.h>
#include <link.h>
#include <stdlib.h>
#include <unistd.h>

#include <filesystem>
#include <iostream>

#include "commands.h"
#include "common/error.h"
#include "common/text.h"
#include "data/connection_text.h"
#include "providers/desktop/desktop_provider.h"
#include "providers/provider_map.h"
#include "quarnofwk/quarnofwk.h"

namespace tool {
namespace {

using quarno::providers::Reach;
using quarno::providers::Target;

// The folder whose settings the library itself would read: that of the library, not of this program.
std::string library_folder() {
  std::string folder = ".";
  if (void* const library = ::dlopen("CorvexFwk.so", RTLD_NOW | RTLD_NOLOAD)) {
    link_map* map = nullptr;
    if (::dlinfo(library, RTLD_DI_LINKMAP, &map) == 0) {
      std::error_code ignored;
      folder = std::filesystem::canonical(map->l_name, ignored).parent_path().string();
    }
    ::dlclose(library);
  }
  return folder;
}

// What the desktop engine answers for an empty folder of dBASE files; empty when it opens it.
std::string dbase_fault(const quarno::ado::ConnectionString& words) {
  std::string folder = (std::filesystem::temp_directory_path() / "quarnofwk-XXXXXX").string();
  if (::mkdtemp(folder.data()) == nullptr) return "no temporary folder to try it with.";
  std::string fault;
  try {
    quarno::ado::ConnectionString there = words;
    there.set("Data Source", folder);
    quarno::desktop::desktop_provider().open(there, 1);
  } catch (const quarno::Error& error) {
    fault = error.description;
  }
  ::rmdir(folder.c_str());
  return fault;
}

std::string unavailable(const std::string& why, const std::string& package) {
  return "not available: " + why + (package.empty() ? "" : " Debian package: " + package + ".");
}

std::string described(std::int32_t kind, const quarno::providers::SiteSettings& site,
                      const std::vector<std::string>& drivers) {
  using namespace quarno::data;
  if (kind == Conn_UDL) return "what the data link file says (--udl)";
  ConnectionSettings settings;
  settings.kind = kind;
  settings.server = "server";
  settings.database = "database";
  const auto words = quarno::ado::ConnectionString::parse(connection_text(settings));
  const Target target = quarno::providers::map_target(words, site, drivers);
  switch (target.reach) {
    case Reach::desktop:
      if (kind != Conn_DB3) return "the built-in desktop engine (SQLite files; Access files to read)";
      if (const std::string fault = dbase_fault(words); !fault.empty()) return unavailable(fault, "");
      return "the built-in desktop engine (folders of dBASE files)";
    case Reach::odbc:
      if (kind != Conn_ODBC) return "ODBC: " + target.served_by;
      if (drivers.empty()) {
        return unavailable("No ODBC driver is registered.",
                           "odbc-mariadb, odbc-postgresql, tdsodbc or another");
      }
      return "any ODBC data source; registered drivers: " + quarno::text::join(drivers, ", ");
    default: return unavailable(target.missing, target.package);
  }
}

}  // namespace

void list_providers() {
  const std::string folder = library_folder();
  const std::string file = quarno::providers::site_settings_file(folder);
  const auto site = quarno::providers::read_site_settings(folder);
  const auto drivers = quarno::providers::registered_drivers();
  std::cout << "Site settings: " << (file.empty() ? "none" : file) << '\n';
  for (std::int32_t kind = 0; kind < 10; ++kind) {
    const std::string name(kKinds[static_cast<std::size_t>(kind)]);
    std::cout << kind << "  " << name << std::string(8 - name.size(), ' ') << described(kind, site, drivers)
              << '\n';
  }
}

}  // namespace tool
