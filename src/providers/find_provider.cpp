#include "ado/ado_error.h"
#include "ado/provider.h"
#include "ado/shape/shape_session.h"
#include "common/text.h"
#include "platform/module_path.h"
#include "providers/desktop/desktop_provider.h"
#include "providers/odbc/odbc_provider.h"
#include "providers/provider_map.h"
#include "providers/udl.h"

namespace quarno::providers {
namespace {

using ado::ConnectionString;

[[noreturn]] void refuse(const std::string& missing) {
  Error error = ado::model_error(ado::Model::provider_not_found, "ADODB.Connection");
  if (!missing.empty()) error.description += " " + missing;
  throw error;
}

// Looks up where a connection string leads when it is opened, and hands over to what is there.
class Router : public ado::Provider {
 public:
  std::unique_ptr<ado::Session> open(const ConnectionString& text,
                                     std::int32_t timeout_seconds) const override {
    const Target target = reached(text);
    if (target.reach == Reach::none) refuse(target.missing);
    auto session = opened(target, timeout_seconds);
    return target.shaped ? ado::shape::shaping_session(std::move(session)) : std::move(session);
  }

 private:
  static std::unique_ptr<ado::Session> opened(const Target& target, std::int32_t timeout_seconds) {
    if (target.reach == Reach::desktop)
      return desktop::desktop_provider().open(target.words, timeout_seconds);
    return odbc::odbc_provider().open(target.words, timeout_seconds);
  }

  static Target reached(const ConnectionString& text) {
    const SiteSettings site = read_site_settings(platform::module_folder());
    const std::vector<std::string> drivers = registered_drivers();
    Target target = map_target(text, site, drivers);
    if (target.reach != Reach::udl) return target;
    ConnectionString words = read_udl(text.value_or("File Name", ""));
    // What the host says beside the file's name is stronger than the file.
    for (const char* name : {"Data Source", "Initial Catalog", "User ID", "Password", "Extended Properties",
                             "Jet OLEDB:Database Password"}) {
      if (auto value = text.find(name)) words.set(name, std::move(*value));
    }
    return map_target(words, site, drivers);
  }
};

}  // namespace
}  // namespace quarno::providers

namespace quarno::ado {

const Provider* find_provider(const ConnectionString&) {
  static const providers::Router router;
  return &router;
}

}  // namespace quarno::ado
