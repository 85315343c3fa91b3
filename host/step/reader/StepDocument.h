// A STEP file, read and transferred: the entities of the file and the document that Open CASCADE made of them.

#pragma once

#include <filesystem>
#include <string>
#include <vector>

#include <STEPCAFControl_Reader.hxx>
#include <TCollection_HAsciiString.hxx>
#include <TDocStd_Document.hxx>
#include <XCAFDoc_ShapeTool.hxx>
#include <XSControl_WorkSession.hxx>

#include "host/step/reader/AnswerWriter.h"
#include "host/step/reader/Messages.h"

namespace host {

/// The text of an entity on one line; empty where there is none.
std::string ToText(const Handle(TCollection_HAsciiString) & text);

class StepDocument {
 public:
  /// Reads and transfers `file`, the files that it refers to included. An empty code page means UTF-8. Progress, and
  /// a warning for whatever is lost, go to `answer`, which has to outlive this object. Throws StepError, whose text
  /// does not name the file, where there is nothing to work with.
  StepDocument(const std::filesystem::path& file, const std::string& codePage, AnswerWriter& answer);

  const Handle(XCAFDoc_ShapeTool) & ShapeTool() const { return shapeTool; }
  const STEPCAFControl_Reader& Reader() const { return reader; }
  /// The sessions of the file, which comes first, and of the files that it refers to; each has a model and a
  /// transfer process.
  const std::vector<Handle(XSControl_WorkSession)>& Sessions() const { return sessions; }
  const std::string& Schema() const { return schema; }

 private:
  void Read(const MessageCollector& messages);
  void Transfer();
  void TakeExternalFiles();
  void ReportExternalFile(const std::string& name, const STEPCAFControl_ExternFile& external);
  void ReportUnfollowedFiles();
  void ReportTransferErrors();

  std::filesystem::path path;
  bool isUtf8;
  AnswerWriter& answer;
  STEPCAFControl_Reader reader;
  Handle(TDocStd_Document) document;
  Handle(XCAFDoc_ShapeTool) shapeTool;
  std::vector<Handle(XSControl_WorkSession)> sessions;
  std::string schema;
};

}  // namespace host
