// A host that shows what standard input says, one command a line: words are hexadecimal, but the first. After
// each it writes what came back, in hexadecimal. The argument names the library's file, beside which the
// module lies.
#include <chrono>
#include <iostream>
#include <sstream>
#include <thread>
#include <vector>

#include "platform/fake/fakes.h"

namespace {

using quarno::platform::BoxIcon;

std::string text_of(const std::string& digits) {
  std::string bytes;
  for (std::size_t i = 0; i + 1 < digits.size(); i += 2) {
    bytes.push_back(static_cast<char>(std::stoi(digits.substr(i, 2), nullptr, 16)));
  }
  return bytes;
}

std::string answer_to(const std::string& command, const std::vector<std::string>& words) {
  auto& dialogs = quarno::platform::dialogs();
  const auto number = [&](std::size_t i) { return std::stoi(words.at(i)); };
  const auto box = [&] { dialogs.message_box(words.at(0), words.at(1), static_cast<BoxIcon>(number(2))); };
  auto& window = dialogs.message_window();
  if (command == "box") box();
  if (command == "box_elsewhere") std::thread(box).join();
  if (command == "choose") {
    return dialogs.choose_file({"Select File", words.at(0), words.at(0), words.at(1), number(2)});
  }
  if (command == "content") window.set_content(words.at(0), words.at(1), number(2), number(3));
  if (command == "show") window.show();
  if (command == "hide") window.hide();
  if (command == "top") window.set_always_on_top(number(0) != 0);
  if (command == "pump") {  // as a member that reads a long file does
    for (int i = 0; i < 40 && dialogs.has_event_loop(); ++i) {
      dialogs.process_pending_events();
      std::this_thread::sleep_for(std::chrono::milliseconds(6));
    }
  }
  return dialogs.has_event_loop() ? "events" : "";
}

}  // namespace

int main(int, char** arguments) {
  quarno::platform::fake::FixedModulePath library(arguments[1]);
  const quarno::platform::ScopedPort<quarno::platform::ModulePath> scope(library);
  for (std::string line; std::getline(std::cin, line);) {
    std::istringstream words(line);
    std::string command, word;
    std::vector<std::string> texts;
    words >> command;
    while (words >> word) texts.push_back(text_of(word.substr(1)));
    for (const unsigned char byte : answer_to(command, texts)) {
      std::cout << "0123456789abcdef"[byte / 16] << "0123456789abcdef"[byte % 16];
    }
    std::cout << std::endl;
  }
}
