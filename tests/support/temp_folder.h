// A private folder for one test, removed with all it holds; whole files as text; environment variables for a
// scope.
#pragma once

#include <cstdlib>
#include <filesystem>
#include <fstream>
#include <iterator>
#include <optional>
#include <string>

namespace quarno::test {

class TempFolder {
 public:
  TempFolder() : path_((std::filesystem::temp_directory_path() / "qf-XXXXXX").string()) {
    if (::mkdtemp(path_.data()) == nullptr) throw std::filesystem::filesystem_error(path_, {});
  }
  ~TempFolder() {
    std::error_code ignored;
    std::filesystem::remove_all(path_, ignored);
  }

  std::string path() const { return path_; }
  std::string operator/(const std::string& name) const { return path_ + "/" + name; }
  std::string put(const std::string& name, const std::string& bytes) const {
    std::ofstream(*this / name, std::ios::binary) << bytes;
    return *this / name;
  }

 private:
  std::string path_;
};

/// "<missing>" when there is no such file.
inline std::string bytes_of(const std::string& path) {
  std::ifstream file(path, std::ios::binary);
  return file ? std::string(std::istreambuf_iterator<char>(file), {}) : "<missing>";
}

class ScopedVariable {
 public:
  ScopedVariable(const char* name, const std::string& value) : name_(name) {
    if (const char* const before = std::getenv(name)) before_ = before;
    ::setenv(name, value.c_str(), 1);
  }
  ~ScopedVariable() { before_ ? ::setenv(name_, before_->c_str(), 1) : ::unsetenv(name_); }

 private:
  const char* name_;
  std::optional<std::string> before_;
};

}  // namespace quarno::test
