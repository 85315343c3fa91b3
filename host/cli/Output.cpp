#include "host/cli/Output.h"

#include <algorithm>
#include <chrono>
#include <cstdio>
#include <utility>

#include <unistd.h>

#include <fmt/format.h>

#include "host/HostError.h"
#include "host/model/TextForms.h"

namespace host {

namespace {

double NowSeconds() {
  return std::chrono::duration<double>(std::chrono::steady_clock::now().time_since_epoch()).count();
}

// In characters, for UTF-8.
std::size_t Width(std::string_view text) {
  return static_cast<std::size_t>(
      std::count_if(text.begin(), text.end(), [](char byte) { return (byte & 0xC0) != 0x80; }));
}

[[noreturn]] void FailOutput() {
  throw HostError("standard output: cannot be written; look where it leads");
}

void Print(std::string_view text) {
  if (std::fwrite(text.data(), 1, text.size(), stdout) != text.size()) {
    FailOutput();
  }
}

}  // namespace

void PrintLine(std::string_view line) {
  Print(OneLine(line));
  Print("\n");
}

void PrintWarning(std::string_view text) {
  fmt::print(stderr, "qlinks: warning: {}\n", OneLine(text));
}

void FinishOutput() {
  if (std::fflush(stdout) != 0 || std::ferror(stdout) != 0) {
    FailOutput();
  }
}

void PrintTable(const Row& heading, const RowSource& rows) {
  std::vector<std::size_t> widths;
  const auto measure = [&widths](const Row& row) {
    widths.resize(std::max(widths.size(), row.size()));
    for (std::size_t i = 0; i < row.size(); ++i) {
      widths[i] = std::max(widths[i], Width(OneLine(row[i])));
    }
  };
  const auto print = [&widths](const Row& row) {
    std::string line;
    for (std::size_t i = 0; i < row.size(); ++i) {
      const std::string cell = OneLine(row[i]);
      line += cell;
      const bool isLast = i + 1 == row.size();
      line.append(isLast ? 0 : widths[i] - Width(cell) + 2, ' ');
    }
    line.erase(line.find_last_not_of(' ') + 1);
    PrintLine(line);
  };
  measure(heading);
  rows(measure);
  print(heading);
  rows(print);
}

void PrintJson(const nlohmann::ordered_json& value) {
  Print(value.dump(2));
  Print("\n");
}

JsonList::JsonList() {
  Print("[");
}

void JsonList::Add(const nlohmann::ordered_json& element) {
  Print(isEmpty ? "\n  " : ",\n  ");
  isEmpty = false;
  Print(element.dump());
}

void JsonList::Finish() {
  Print(isEmpty ? "]\n" : "\n]\n");
}

nlohmann::ordered_json PathJson(const MbPath& path) {
  auto elements = nlohmann::ordered_json::array();
  for (std::size_t i = path.Count(); i-- > 0;) {
    elements.push_back(path[i]);
  }
  return elements;
}

Progress::Progress() : isOn(::isatty(STDERR_FILENO) == 1), startSeconds(NowSeconds()) {}

Progress::~Progress() {
  End();
}

ProgressCallback Progress::Callback() {
  if (!isOn) {
    return {};
  }
  return [this](std::string_view stage, double fraction) { Show(stage, fraction); };
}

void Progress::End() {
  isOn = false;
  if (std::exchange(isShown, false)) {
    // Progress that cannot be shown, nor wiped out, is no error.
    static_cast<void>(std::fputs("\r\033[K", stderr));
  }
}

void Progress::Show(std::string_view stage, double fraction) {
  if (isOn && NowSeconds() - startSeconds > 1) {
    isShown = true;
    fmt::print(stderr, "\r\033[K{} {:3.0f} %", stage, fraction * 100);
    static_cast<void>(std::fflush(stderr));
  }
}

}  // namespace host
