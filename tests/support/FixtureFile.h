#pragma once

#include <charconv>
#include <cstddef>
#include <cstdint>
#include <fstream>
#include <istream>
#include <sstream>
#include <stdexcept>
#include <string>
#include <string_view>
#include <system_error>
#include <vector>

#include <qSys/Versions.h>

/// A stretch of stream as text that can be reviewed: "appVersion" and "mathVersion" lines with a hexadecimal number,
/// then bytes as pairs of hexadecimal digits. '#' starts a comment that reaches to the end of its line.
struct FixtureFile {
  StreamVersions versions{0, 0};
  std::vector<std::byte> bytes;

  /// Throws std::runtime_error with the line number where the text has another form.
  static FixtureFile Parse(std::istream& text) {
    FixtureFile fixture;
    std::string line;
    for (int number = 1; std::getline(text, line); ++number) {
      std::istringstream words(line.substr(0, line.find('#')));
      if (!fixture.ParseLine(words)) {
        throw std::runtime_error("line " + std::to_string(number) + ": neither a version nor bytes: " + line);
      }
    }
    return fixture;
  }

  /// A file of tests/fixtures by its name. Throws std::runtime_error, also where there is no such file.
  static FixtureFile Load(const std::string& name) {
    const std::string path = QPD_FIXTURE_DIR "/" + name;
    std::ifstream file(path);
    if (!file) {
      throw std::runtime_error(path + ": cannot be opened");
    }
    try {
      return Parse(file);
    } catch (const std::runtime_error& error) {
      throw std::runtime_error(path + ": " + error.what());
    }
  }

 private:
  static bool ParseHex(std::string_view digits, std::uint32_t& value) {
    const auto [end, error] = std::from_chars(digits.data(), digits.data() + digits.size(), value, 16);
    return error == std::errc() && end == digits.data() + digits.size();
  }

  bool ParseLine(std::istream& words) {
    std::string word;
    while (words >> word) {
      std::uint32_t value = 0;
      if (word == "appVersion" || word == "mathVersion") {
        std::string digits;
        if (!(words >> digits) || !digits.starts_with("0x") || !ParseHex(digits.substr(2), value)) {
          return false;
        }
        (word == "appVersion" ? versions.appVersion : versions.mathVersion) = value;
      } else if (word.size() == 2 && ParseHex(word, value)) {
        bytes.push_back(static_cast<std::byte>(value));
      } else {
        return false;
      }
    }
    return true;
  }
};
