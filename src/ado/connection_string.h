// Connection strings: "name=value" pairs ended by ";". Pure text.
#pragma once

#include <optional>
#include <string>
#include <string_view>
#include <vector>

namespace quarno::ado {

class ConnectionString {
 public:
  ConnectionString() = default;
  /// Blanks around names and values are dropped, inside names kept; a value may stand in '..' or "..", the
  /// quote doubled inside, or in {..}, "}}" standing for "}"; "==" in a name stands for "=". Names ignore
  /// letter case, the last of a repeated one wins. Raises -2147467259 for a word without "=" or a quote that
  /// does not end.
  static ConnectionString parse(std::string_view text);

  /// The value, or nothing when the string does not have the word.
  std::optional<std::string> find(std::string_view name) const;
  std::string value_or(std::string_view name, std::string_view fallback) const;
  void set(std::string_view name, std::string value);

  struct Item {
    std::string name;
    std::string value;
  };
  /// In the order of the string.
  const std::vector<Item>& items() const { return items_; }

 private:
  std::vector<Item> items_;
};

}  // namespace quarno::ado
