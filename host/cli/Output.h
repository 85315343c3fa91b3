#pragma once

#include <functional>
#include <string>
#include <string_view>
#include <vector>

#include <nlohmann/json.hpp>

#include <qKernel/MbPath.h>

#include "host/ProgressCallback.h"

namespace host {

/// Results go to standard output, everything else to standard error. Throws HostError where it is found that standard
/// output takes no more.

/// Each prints one clean line, whatever the text brings along (OneLine).
void PrintLine(std::string_view line);
void PrintWarning(std::string_view text);

/// Throws HostError when standard output did not take everything printed so far.
void FinishOutput();

using Row = std::vector<std::string>;
using RowVisitor = std::function<void(const Row&)>;
/// Calls the visitor for every row, the same ones in the same order each time.
using RowSource = std::function<void(const RowVisitor&)>;

/// Prints a heading and the rows in columns as wide as their widest text. Asks the source twice and keeps no row.
void PrintTable(const Row& heading, const RowSource& rows);

/// Prints one JSON value over several lines.
void PrintJson(const nlohmann::ordered_json& value);

/// Prints a list of JSON values, an element to a line, as they come.
class JsonList {
 public:
  JsonList();
  JsonList(const JsonList&) = delete;
  JsonList& operator=(const JsonList&) = delete;
  void Add(const nlohmann::ordered_json& element);
  /// Ends the list.
  void Finish();

 private:
  bool isEmpty = true;
};

/// The elements of a path, the outermost component first, as PathText writes them.
nlohmann::ordered_json PathJson(const MbPath& path);

/// Shows how far a command is on a terminal at standard error, from its second second on; nothing elsewhere.
class Progress {
 public:
  Progress();
  Progress(const Progress&) = delete;
  Progress& operator=(const Progress&) = delete;
  ~Progress();

  /// Shows what it is told. Borrows this; empty where nothing is ever shown.
  ProgressCallback Callback();
  /// Removes what is shown, and shows no more: before anything else is printed. The destructor does so too.
  void End();

 private:
  void Show(std::string_view stage, double fraction);

  bool isOn;
  bool isShown = false;
  double startSeconds;
};

}  // namespace host
