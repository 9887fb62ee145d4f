#include <iostream>
#include <iterator>
#include <stdexcept>

#include "commands.h"
#include "common/text.h"
#include "quarnofwk/quarnofwk.hpp"

namespace tool {
namespace {

using quarnofwk::Object;
using quarnofwk::Value;

Object opened(const Arguments& arguments) {
  const Object settings = quarnofwk::create("CParam");
  settings.set("ParamFile", arguments.file);
  return settings;
}

// Whether the setting is there; then `value` is its value.
bool found(const Object& settings, const std::string& tag, Value& value) {
  return settings.call("GetIniString", tag, quarnofwk::by_ref(value)).boolean();
}

// Without one line end behind it.
std::string input() {
  std::string text{std::istreambuf_iterator<char>(std::cin), {}};
  if (text.ends_with('\n')) text.pop_back();
  if (text.ends_with('\r')) text.pop_back();
  return text;
}

}  // namespace

void get_param(const Arguments& arguments) {
  const Object settings = opened(arguments);
  Value value("");
  if (!found(settings, arguments.tag, value)) {
    settings.call("GetStringIni", arguments.tag);  // says what is wrong with the file, if anything is
    throw std::runtime_error(settings.call("Exist").boolean() ? arguments.tag + " is not set"
                                                              : arguments.file + " is missing or hidden");
  }
  std::cout << value.text() << '\n';
}

void set_param(const Arguments& arguments) {
  const Object settings = opened(arguments);
  settings.call("SetStringIni", arguments.tag, arguments.value);
  // The class says nothing of a failure, and a line end in the value ends it.
  Value value("");
  if (!found(settings, arguments.tag, value) || value.text() != quarno::text::trim(arguments.value)) {
    throw std::runtime_error(arguments.file + " cannot be written, or cannot hold this value");
  }
}

void encrypt() {
  const Object crypt = quarnofwk::create("CCrypt");
  const std::string clear = input();
  // One cipher text in seventeen cannot be decrypted; a text with a character of code 0 never can.
  for (int tries = 0; tries < 1000; ++tries) {
    const std::string cipher(crypt.call("Crypt", clear).text());
    if (crypt.call("Decrypt", cipher).text() != clear) continue;
    std::cout << cipher << '\n';
    return;
  }
  throw std::runtime_error("this text would not come back when it is decrypted");
}

void decrypt() { std::cout << quarnofwk::create("CCrypt").call("Decrypt", input()).text() << '\n'; }

}  // namespace tool
