// A directory of its own for a test. The destructor removes it with its content.

#pragma once

#include <cerrno>
#include <filesystem>
#include <fstream>
#include <sstream>
#include <string>
#include <system_error>

class TemporaryDirectory {
 public:
  TemporaryDirectory() {
    std::string name = (std::filesystem::temp_directory_path() / "spfcheck-test-XXXXXX").string();
    if (mkdtemp(name.data()) == nullptr) {
      throw std::system_error(errno, std::generic_category(), name);
    }
    m_path = name;
  }

  ~TemporaryDirectory() {
    std::error_code ignored;
    std::filesystem::remove_all(m_path, ignored);
  }

  TemporaryDirectory(const TemporaryDirectory&) = delete;
  TemporaryDirectory& operator=(const TemporaryDirectory&) = delete;

  const std::string& Path() const { return m_path; }
  std::string Path(const std::string& name) const { return m_path + "/" + name; }

  void Write(const std::string& name, const std::string& content) const {
    std::ofstream(Path(name), std::ios::binary) << content;
  }

  // Returns the content of a file, or nothing if there is no file.
  std::string Read(const std::string& name) const {
    std::ostringstream content;
    content << std::ifstream(Path(name), std::ios::binary).rdbuf();
    return content.str();
  }

 private:
  std::string m_path;
};
