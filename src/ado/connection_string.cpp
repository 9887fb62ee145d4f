#include "ado/connection_string.h"

#include <algorithm>

#include "ado/ado_error.h"
#include "common/text.h"

namespace quarno::ado {
namespace {

[[noreturn]] void refuse() {
  throw Error(kUnspecified,
              "Format of the initialization string does not conform to the OLE DB specification.",
              "ADODB.Connection");
}

// Reads a value that begins with a quote or brace at `at`; `at` ends behind it.
std::string quoted_value(std::string_view text, std::size_t& at) {
  const char close = text[at] == '{' ? '}' : text[at];
  std::string value;
  for (++at; at < text.size(); ++at) {
    if (text[at] != close) {
      value.push_back(text[at]);
    } else if (at + 1 < text.size() && text[at + 1] == close) {
      value.push_back(close);
      ++at;
    } else {
      ++at;
      return value;
    }
  }
  refuse();
}

}  // namespace

ConnectionString ConnectionString::parse(std::string_view text) {
  ConnectionString result;
  std::size_t at = 0;
  const auto skip_blanks = [&] {
    while (at < text.size() && text[at] == ' ') ++at;
  };
  while (at < text.size()) {
    skip_blanks();
    if (at < text.size() && text[at] == ';') {
      ++at;
      continue;
    }
    if (at == text.size()) break;
    std::string name;
    for (;; ++at) {
      if (at == text.size() || text[at] == ';') refuse();
      if (text[at] == '=') {
        if (at + 1 == text.size() || text[at + 1] != '=') break;
        ++at;
      }
      name.push_back(text[at]);
    }
    ++at;
    skip_blanks();
    std::string value;
    const bool quoted = at < text.size() && (text[at] == '\'' || text[at] == '"' || text[at] == '{');
    if (quoted) {
      value = quoted_value(text, at);
      skip_blanks();
      if (at < text.size() && text[at] != ';') refuse();
    } else {
      const std::size_t end = std::min(text.find(';', at), text.size());
      value = text::trim(text.substr(at, end - at));
      at = end;
    }
    result.set(text::trim(name), std::move(value));
  }
  return result;
}

std::optional<std::string> ConnectionString::find(std::string_view name) const {
  for (const Item& item : items_) {
    if (text::equal_fold(item.name, name)) return item.value;
  }
  return std::nullopt;
}

std::string ConnectionString::value_or(std::string_view name, std::string_view fallback) const {
  return find(name).value_or(std::string(fallback));
}

void ConnectionString::set(std::string_view name, std::string value) {
  for (Item& item : items_) {
    if (text::equal_fold(item.name, name)) {
      item.value = std::move(value);
      return;
    }
  }
  items_.push_back({std::string(name), std::move(value)});
}

}  // namespace quarno::ado
