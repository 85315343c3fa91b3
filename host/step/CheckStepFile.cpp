#include "host/step/CheckStepFile.h"

#include <algorithm>
#include <cerrno>
#include <fstream>
#include <string_view>
#include <system_error>
#include <vector>

#include <fmt/format.h>

#include "host/step/StepAssembly.h"

namespace host {

namespace {

constexpr std::string_view c_firstWord = "ISO-10303-21";
constexpr std::string_view c_lastWord = "END-ISO-10303-21";
constexpr std::size_t c_pieceSize = std::size_t{1} << 16;

[[noreturn]] void Refuse(const std::filesystem::path& file, std::string_view what) {
  throw StepError(fmt::format("{}: {}", ShownName(file), what));
}

// Opening a named pipe would wait for its writer, hence the kind before the opening.
void CheckKind(const std::filesystem::path& file) {
  std::error_code error;
  const std::filesystem::file_status status = std::filesystem::status(file, error);
  if (status.type() == std::filesystem::file_type::not_found) {
    Refuse(file, "no such file; check the path");
  }
  if (error) {
    Refuse(file, fmt::format("cannot be read: {}", error.message()));
  }
  if (status.type() == std::filesystem::file_type::directory) {
    Refuse(file, "is a directory; name a STEP file in it");
  }
  if (status.type() != std::filesystem::file_type::regular) {
    Refuse(file, "is not a regular file; copy its content into one");
  }
}

bool IsBlank(char c) {
  return c == ' ' || (c >= '\t' && c <= '\r');
}

// Some exporters put a byte order mark, blank lines or a comment before the first word.
std::string_view SkipToFirstWord(std::string_view text) {
  if (text.substr(0, 3) == "\xEF\xBB\xBF") {
    text.remove_prefix(3);
  }
  while (!text.empty()) {
    if (IsBlank(text.front())) {
      text.remove_prefix(1);
    } else if (text.substr(0, 2) == "/*" && text.find("*/", 2) != std::string_view::npos) {
      text.remove_prefix(text.find("*/", 2) + 2);
    } else {
      break;
    }
  }
  return text;
}

void CheckBegin(const std::filesystem::path& file, std::string_view text) {
  if (SkipToFirstWord(text).substr(0, c_firstWord.size()) == c_firstWord) {
    return;
  }
  if (text.substr(0, 4) == "PK\x03\x04" || text.substr(0, 2) == "\x1F\x8B") {
    Refuse(file, "not a STEP file but an archive; unpack it first");
  }
  Refuse(file,
         "not a STEP file, ISO-10303-21 does not stand at its beginning; export it as STEP (AP203, AP214 or "
         "AP242)");
}

// Looks for the last word across the borders of pieces, and counts lines on the way.
class EndSearch {
 public:
  void Take(std::string_view piece) {
    lines += static_cast<std::uint64_t>(std::count(piece.begin(), piece.end(), '\n'));
    if (!piece.empty()) {
      endsInLine = piece.back() != '\n';
    }
    std::string joint = tail;
    joint += piece.substr(0, std::min(piece.size(), c_lastWord.size() - 1));
    found = found || joint.find(c_lastWord) != std::string::npos || piece.find(c_lastWord) != std::string_view::npos;
    tail += piece.substr(piece.size() - std::min(piece.size(), c_lastWord.size() - 1));
    if (tail.size() > c_lastWord.size() - 1) {
      tail.erase(0, tail.size() - (c_lastWord.size() - 1));
    }
  }

  bool IsFound() const { return found; }
  std::uint64_t LastLine() const { return lines + (endsInLine ? 1 : 0); }

 private:
  std::string tail;
  std::uint64_t lines = 0;
  bool endsInLine = false;
  bool found = false;
};

}  // namespace

std::string ShownName(const std::filesystem::path& file) {
  std::string name = file.string();
  std::replace_if(
      name.begin(), name.end(), [](char c) { return static_cast<unsigned char>(c) < 0x20 || c == 0x7f; }, '?');
  return name;
}

std::uint64_t CheckStepFile(const std::filesystem::path& file) {
  CheckKind(file);
  errno = 0;
  std::ifstream in(file, std::ios::binary);
  if (!in) {
    Refuse(file, fmt::format("cannot be read: {}", std::generic_category().message(errno == 0 ? EIO : errno)));
  }

  std::vector<char> buffer(c_pieceSize);
  EndSearch end;
  std::uint64_t size = 0;
  while (in) {
    in.read(buffer.data(), static_cast<std::streamsize>(buffer.size()));
    const std::string_view piece(buffer.data(), static_cast<std::size_t>(in.gcount()));
    if (size == 0 && !piece.empty()) {
      CheckBegin(file, piece);
    }
    end.Take(piece);
    size += piece.size();
  }
  if (in.bad()) {
    Refuse(file, "cannot be read: the device reports an error");
  }
  if (size == 0) {
    Refuse(file, "empty file; export it again");
  }
  if (!end.IsFound()) {
    Refuse(file, fmt::format("STEP file cut off in line {}, END-ISO-10303-21 is missing; get a complete copy",
                             end.LastLine()));
  }
  return size;
}

}  // namespace host
