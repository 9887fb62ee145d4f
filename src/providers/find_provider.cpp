#include "ado/provider.h"
#include "common/text.h"
#include "providers/desktop/desktop_provider.h"

namespace quarno::ado {

const Provider* find_provider(const ConnectionString& text) {
  const std::string name = text::lower_ascii(text.value_or("Provider", ""));
  if (name.starts_with("microsoft.jet.oledb") || name.starts_with("microsoft.ace.oledb")) {
    return &desktop::desktop_provider();
  }
  return nullptr;
}

}  // namespace quarno::ado
