// A folder of its own for one test.

#pragma once

#include <cstdlib>
#include <filesystem>
#include <fstream>
#include <stdexcept>
#include <string>

namespace tests {

class TemporaryFolder {
 public:
  TemporaryFolder() {
    std::string name = (std::filesystem::temp_directory_path() / "qpd-step-XXXXXX").string();
    if (mkdtemp(name.data()) == nullptr) {
      throw std::runtime_error("no temporary folder");
    }
    folder = name;
  }
  TemporaryFolder(const TemporaryFolder&) = delete;
  TemporaryFolder& operator=(const TemporaryFolder&) = delete;
  ~TemporaryFolder() {
    std::error_code error;
    std::filesystem::remove_all(folder, error);
  }

  const std::filesystem::path& Path() const { return folder; }

  /// Gives the path of the file.
  std::filesystem::path Write(const std::string& name, const std::string& content) const {
    std::ofstream(folder / name, std::ios::binary) << content;
    return folder / name;
  }

  /// A program for the shell.
  std::filesystem::path WriteScript(const std::string& name, const std::string& commands) const {
    const std::filesystem::path script = Write(name, "#!/bin/sh\n" + commands);
    std::filesystem::permissions(script, std::filesystem::perms::owner_all);
    return script;
  }

 private:
  std::filesystem::path folder;
};

}  // namespace tests
