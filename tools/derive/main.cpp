// Writes the member reference from the member tables: one page for each class and an index. With --check
// nothing is written; the exit code tells whether a page on disk differs.
#include <filesystem>
#include <fstream>
#include <iostream>
#include <map>
#include <sstream>
#include <string>

#include "boundary/classes.h"

namespace {

using quarno::automation::Default;
using quarno::automation::Member;
using quarno::automation::MemberKind;
using quarno::automation::Parameter;
using quarno::boundary::ClassEntry;

std::string default_text(const Default& fallback) {
  switch (fallback.kind) {
    case Default::Kind::text: return " = \"" + std::string(fallback.text) + "\"";
    case Default::Kind::boolean: return fallback.number != 0 ? " = true" : " = false";
    case Default::Kind::number: return " = " + std::to_string(fallback.number);
    case Default::Kind::missing: return " (optional)";
    case Default::Kind::required: break;
  }
  return {};
}

std::string signature(const Member& member) {
  std::string text = "`" + std::string(member.name);
  if (member.kind == MemberKind::method) {
    text += "(";
    for (std::size_t i = 0; i < member.parameter_count; ++i) {
      const Parameter& parameter = member.parameters[i];
      text += (i > 0 ? ", " : "") + std::string(parameter.writes_back ? "inout " : "") +
              std::string(parameter.name) + ": " + std::string(parameter.type_name) +
              default_text(parameter.fallback);
    }
    text += ")";
    if (!member.result_type.empty()) text += " -> " + std::string(member.result_type);
  } else {
    text += ": " + std::string(member.result_type);
    if (member.kind == MemberKind::constant) text += " = " + std::to_string(member.constant_value);
  }
  return text + "`";
}

void write_section(std::ostream& page, const ClassEntry& entry, MemberKind kind, const char* title) {
  bool any = false;
  for (const Member& member : entry.members()) {
    if (member.kind != kind) continue;
    if (!any) page << "\n## " << title << "\n\n";
    any = true;
    page << "- " << signature(member) << "  \n  " << member.summary << "\n";
  }
}

std::string class_page(const ClassEntry& entry) {
  std::ostringstream page;
  page << "# " << entry.name << "\n\n" << entry.summary << "\n\n";
  page << (entry.creatable ? "A host creates it by this name." : "A host gets it from another object.")
       << " Letter case of member names does not matter. `inout` arguments are written back.\n";
  write_section(page, entry, MemberKind::property, "Properties");
  write_section(page, entry, MemberKind::read_only, "Read-only properties");
  write_section(page, entry, MemberKind::method, "Methods");
  write_section(page, entry, MemberKind::constant, "Constants");
  return page.str();
}

std::map<std::string, std::string> all_pages() {
  std::map<std::string, std::string> pages;
  std::string index =
      "# Member reference\n\nWritten by `tools/derive` from the member tables beside the classes; `./run "
      "check` fails "
      "when a page is stale.\n\n";
  for (const ClassEntry& entry : quarno::boundary::classes()) {
    const std::string file = std::string(entry.name) + ".md";
    pages[file] = class_page(entry);
    index += "- [" + std::string(entry.name) + "](" + file + "): " + std::string(entry.summary) + "\n";
  }
  pages["README.md"] = index;
  return pages;
}

std::string content_of(const std::filesystem::path& file) {
  std::ifstream stream(file, std::ios::binary);
  return {std::istreambuf_iterator<char>(stream), {}};
}

}  // namespace

int main(int argc, char** argv) {
  const bool check = argc == 3 && std::string(argv[1]) == "--check";
  if (argc != 2 && !check) {
    std::cerr << "usage: derive [--check] FOLDER\nWrites the member reference into FOLDER, or checks what is "
                 "there.\n";
    return 2;
  }
  const std::filesystem::path folder = argv[argc - 1];
  bool stale = false;
  for (const auto& [name, text] : all_pages()) {
    const std::filesystem::path file = folder / name;
    if (content_of(file) == text) continue;
    if (check) {
      stale = true;
      std::cerr << "stale: " << file.string() << "\n";
      continue;
    }
    std::filesystem::create_directories(folder);
    std::ofstream(file, std::ios::binary) << text;
    std::cout << "wrote " << file.string() << "\n";
  }
  return stale ? 1 : 0;
}
