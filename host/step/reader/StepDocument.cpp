#include "host/step/reader/StepDocument.h"

#include <array>
#include <cerrno>
#include <fstream>
#include <istream>
#include <map>
#include <set>
#include <streambuf>
#include <system_error>

#include <HeaderSection_FileSchema.hxx>
#include <Interface_Check.hxx>
#include <Interface_CheckIterator.hxx>
#include <Interface_ReportEntity.hxx>
#include <Interface_Static.hxx>
#include <Message_ProgressIndicator.hxx>
#include <Resource_Manager.hxx>
#include <STEPCAFControl_Controller.hxx>
#include <STEPCAFControl_ExternFile.hxx>
#include <STEPConstruct_ExternRefs.hxx>
#include <ShapeProcess.hxx>
#include <ShapeProcess_Context.hxx>
#include <ShapeProcess_UOperator.hxx>
#include <StepBasic_Document.hxx>
#include <StepBasic_ProductDefinition.hxx>
#include <StepData_StepModel.hxx>
#include <StepRepr_NextAssemblyUsageOccurrence.hxx>
#include <TCollection_HAsciiString.hxx>
#include <Transfer_TransientProcess.hxx>
#include <XCAFApp_Application.hxx>
#include <XCAFDoc_DocumentTool.hxx>
#include <XSControl_TransferReader.hxx>
#include <fmt/format.h>

#include "host/step/StepAssembly.h"
#include "host/step/StepTexts.h"

namespace host {

namespace {

constexpr const char* c_codePageParameter = "read.step.codepage";

// The file's bytes on their way to the parser.
class FileBytes : public std::streambuf {
 public:
  FileBytes(const std::filesystem::path& file, AnswerWriter& given)
      : in(file, std::ios::binary), size(std::filesystem::file_size(file)), answer(given) {
    if (!in) {
      throw StepError(fmt::format("cannot be read: {}", std::generic_category().message(errno == 0 ? EIO : errno)));
    }
  }

  // Whether the file's bytes are UTF-8 as far as they were read.
  Utf8Check& Utf8() { return utf8; }

 protected:
  int_type underflow() override {
    in.read(buffer.data(), static_cast<std::streamsize>(buffer.size()));
    const auto count = static_cast<std::size_t>(in.gcount());
    if (count == 0) {
      return traits_type::eof();
    }
    utf8.Take({buffer.data(), count});
    done += count;
    answer.Progress("reading", static_cast<double>(done) / static_cast<double>(size));
    setg(buffer.data(), buffer.data(), buffer.data() + count);
    return traits_type::to_int_type(buffer.front());
  }

 private:
  std::ifstream in;
  std::uintmax_t size;
  std::uintmax_t done = 0;
  AnswerWriter& answer;
  Utf8Check utf8;
  std::array<char, 65'536> buffer;
};

class TransferProgress : public Message_ProgressIndicator {
 public:
  explicit TransferProgress(AnswerWriter& given) : answer(given) {}

 protected:
  void Show(const Message_ProgressScope&, const Standard_Boolean) override {
    answer.Progress("transferring", GetPosition());
  }

 private:
  AnswerWriter& answer;
};

std::string KnownCodePages() {
  const Handle(Interface_Static) parameter = Interface_Static::Static(c_codePageParameter);
  Standard_Integer first = 0;
  Standard_Integer last = -1;
  Standard_Boolean match = Standard_False;
  if (parameter.IsNull() || !parameter->EnumDef(first, last, match)) {
    return {};
  }
  std::string names;
  for (Standard_Integer i = first; i <= last; ++i) {
    if (const std::string name = parameter->EnumVal(i); !name.empty()) {
      names += (names.empty() ? "" : ", ") + name;
    }
  }
  return names;
}

void SetCodePage(const std::string& codePage) {
  if (codePage.empty() || Interface_Static::SetCVal(c_codePageParameter, codePage.c_str())) {
    return;
  }
  throw StepError(fmt::format("unknown code page \"{}\"; name one of {}", CleanStepText(codePage), KnownCodePages()));
}

Standard_Boolean LeaveShapeAsItIs(const Handle(ShapeProcess_Context) &, const Message_ProgressRange&) {
  return Standard_True;
}

// After each transfer Open CASCADE would repair the geometry, which takes four fifths of the time. Bodies are only
// counted and named here, and a repair may even split or join what the file calls one body. The sequence of repair
// steps is looked up in a resource that is read once and then shared.
void SkipRepair() {
  constexpr const char* c_nothing = "LeaveShapeAsItIs";
  ShapeProcess::RegisterOperator(c_nothing, new ShapeProcess_UOperator(LeaveShapeAsItIs));
  const Handle(ShapeProcess_Context) context =
      new ShapeProcess_Context(Interface_Static::CVal("read.step.resource.name"), "");
  const TCollection_AsciiString key =
      TCollection_AsciiString(Interface_Static::CVal("read.step.sequence")) + ".exec.op";
  context->ResourceManager()->SetResource(key.ToCString(), c_nothing);
}

void ReportUtf8(AnswerWriter& answer, const std::string& subject, const Utf8Check& utf8) {
  if (utf8.Places() == 0) {
    return;
  }
  answer.Warning(
      fmt::format("{}bytes that are not UTF-8 in {} {}, the first in line {}; name the code page of the "
                  "names with --codepage NAME",
                  subject, utf8.Places(), utf8.Places() == 1 ? "place" : "places", utf8.FirstLine()));
}

Handle(StepData_StepModel) ModelOf(const Handle(XSControl_WorkSession) & session) {
  return Handle(StepData_StepModel)::DownCast(session->Model());
}

// "#12 NextAssemblyUsageOccurrence"
std::string EntityLabel(const Handle(StepData_StepModel) & model, const Handle(Standard_Transient) & entity) {
  const std::string type = entity->DynamicType()->Name();
  const std::size_t end = type.find('_');
  return fmt::format("#{} {}", model->IdentLabel(entity), end == std::string::npos ? type : type.substr(end + 1));
}

// Gives what the parser said about a line, "line 12: unexpected ...", or an empty text when `failure` is about
// something else.
std::string SyntaxError(std::string_view failure) {
  constexpr std::string_view c_line = "Line ";
  constexpr std::string_view c_what = ": Incorrect syntax: ";
  const std::size_t line = failure.find(c_line);
  const std::size_t what = failure.find(c_what);
  if (line == std::string_view::npos || what == std::string_view::npos || what < line) {
    return {};
  }
  std::string_view reason = failure.substr(what + c_what.size());
  reason = reason.substr(0, reason.find_last_not_of(" *") + 1);
  const std::size_t number = line + c_line.size();
  return fmt::format("syntax error in line {}: {}", failure.substr(number, what - number), reason);
}

constexpr std::string_view c_exportAgain = "; the file is damaged, export it again";

void ThrowOnSyntaxError(const Interface_Check& check) {
  for (Standard_Integer i = 1; i <= check.NbFails(); ++i) {
    if (const std::string error = SyntaxError(check.CFail(i)); !error.empty()) {
      throw StepError(fmt::format("{}{}", CleanStepText(error), c_exportAgain));
    }
  }
}

void ReportLostReferences(AnswerWriter& answer, const std::string& subject, const Interface_Check& check) {
  std::size_t count = 0;
  std::string first;
  for (Standard_Integer i = 1; i <= check.NbFails(); ++i) {
    const std::string text = check.CFail(i);
    const std::size_t id = text.rfind("(Id.");
    if (text.find("Unresolved Reference") == std::string::npos || id == std::string::npos || count++ > 0) {
      continue;
    }
    first = text.substr(id + 4, text.find(')', id) - id - 4);
  }
  if (count == 1) {
    answer.Warning(CleanStepText(
        fmt::format("{}a reference to {}, which is not in the file; what hangs on it is missing", subject, first)));
  }
  if (count > 1) {
    answer.Warning(CleanStepText(fmt::format(
        "{}{} references to entities that are not in the file, the first to {}; what hangs on them is missing", subject,
        count, first)));
  }
}

// Exporters leave out, or mark as derived, what the schema demands: units' dimensions, names of placements. Nothing
// is lost by that.
bool IsHarmless(std::string_view failure) {
  return failure.find("not a quoted String") != std::string_view::npos ||
         failure.find("not an Entity") != std::string_view::npos;
}

std::string FirstRealFailure(const Interface_Check& check) {
  for (Standard_Integer i = 1; i <= check.NbFails(); ++i) {
    if (!IsHarmless(check.CFail(i))) {
      return check.CFail(i);
    }
  }
  return {};
}

// Entities that the parser could make nothing of: a wrong number of parameters, a parameter of another type.
void ReportOddEntities(AnswerWriter& answer, const std::string& subject, const Handle(StepData_StepModel) & model) {
  std::size_t count = 0;
  std::string first;
  for (Standard_Integer i = 1; i <= model->NbEntities(); ++i) {
    if (!model->IsErrorEntity(i)) {
      continue;
    }
    const std::string failure = FirstRealFailure(*model->ReportEntity(i)->Check());
    if (!failure.empty() && count++ == 0) {
      first = fmt::format("{} ({})", EntityLabel(model, model->Value(i)), failure);
    }
  }
  if (count == 1) {
    answer.Warning(CleanStepText(
        fmt::format("{}entity {} is not as the standard wants it; what hangs on it may be missing", subject, first)));
  }
  if (count > 1) {
    answer.Warning(CleanStepText(
        fmt::format("{}{} entities are not as the standard wants them, the first {}; what hangs on them may be missing",
                    subject, count, first)));
  }
}

void ReportModel(AnswerWriter& answer, const std::string& subject, const Handle(StepData_StepModel) & model) {
  ReportLostReferences(answer, subject, *model->GlobalCheck());
  ReportOddEntities(answer, subject, model);
}

// The uses alone: every definition that uses another one or is used is a product.
StepAssembly UsesIn(const Handle(StepData_StepModel) & model) {
  StepAssembly assembly;
  std::map<const StepBasic_ProductDefinition*, std::size_t> products;
  std::vector<bool> isUsed;
  const auto product = [&](const StepBasic_ProductDefinition* definition) {
    const auto [found, isNew] = products.emplace(definition, assembly.products.size());
    if (isNew) {
      assembly.products.emplace_back();
      isUsed.push_back(false);
    }
    return found->second;
  };
  for (Standard_Integer i = 1; i <= model->NbEntities(); ++i) {
    const auto* occurrence = dynamic_cast<const StepRepr_NextAssemblyUsageOccurrence*>(model->Value(i).get());
    if (occurrence == nullptr || occurrence->RelatingProductDefinition().IsNull() ||
        occurrence->RelatedProductDefinition().IsNull()) {
      continue;
    }
    const std::size_t holder = product(occurrence->RelatingProductDefinition().get());
    const std::size_t used = product(occurrence->RelatedProductDefinition().get());
    assembly.products[holder].uses.push_back({used, {}, {}, c_stepIdentity, false});
    isUsed[used] = true;
  }
  for (std::size_t i = 0; i < isUsed.size(); ++i) {
    if (!isUsed[i]) {
      assembly.roots.push_back(i);
    }
  }
  return assembly;
}

}  // namespace

std::string ToText(const Handle(TCollection_HAsciiString) & text) {
  return text.IsNull() ? std::string() : CleanStepText({text->ToCString(), static_cast<std::size_t>(text->Length())});
}

StepDocument::StepDocument(const std::filesystem::path& file, const std::string& codePage, AnswerWriter& given)
    : path(std::filesystem::absolute(file)), isUtf8(codePage.empty()), answer(given) {
  const Handle(MessageCollector) messages = MessageCollector::Install();
  STEPCAFControl_Controller::Init();
  SetCodePage(codePage);
  SkipRepair();
  XCAFApp_Application::GetApplication()->NewDocument("BinXCAF", document);
  reader.SetNameMode(Standard_True);
  reader.SetColorMode(Standard_False);
  reader.SetLayerMode(Standard_False);
  reader.SetPropsMode(Standard_False);
  reader.SetSHUOMode(Standard_False);
  reader.SetGDTMode(Standard_False);
  reader.SetMatMode(Standard_False);
  reader.SetViewMode(Standard_False);

  Read(*messages);
  Transfer();
  TakeExternalFiles();
  ReportTransferErrors();
}

void StepDocument::Read(const MessageCollector& messages) {
  FileBytes bytes(path, answer);
  std::istream in(&bytes);
  // Files that this one refers to are looked for beside the name given here.
  const IFSelect_ReturnStatus status = reader.ChangeReader().ReadStream(path.c_str(), in);
  const Handle(XSControl_WorkSession) session = reader.Reader().WS();
  const Handle(StepData_StepModel) model = ModelOf(session);
  if (status != IFSelect_RetDone || model.IsNull()) {
    const std::string error = SyntaxError(messages.FirstFailure());
    throw StepError(
        fmt::format("{}{}", error.empty() ? "cannot be read, " + messages.FirstFailure() : error, c_exportAgain));
  }
  sessions.push_back(session);
  if (model->NbEntities() > 0) {
    ThrowOnSyntaxError(*model->GlobalCheck());
  }
  bytes.Utf8().Finish();
  if (isUtf8) {
    ReportUtf8(answer, "", bytes.Utf8());
  }
  ReportModel(answer, "", model);

  const Handle(HeaderSection_FileSchema) header =
      Handle(HeaderSection_FileSchema)::DownCast(model->HeaderEntity(STANDARD_TYPE(HeaderSection_FileSchema)));
  if (!header.IsNull() && header->NbSchemaIdentifiers() > 0) {
    schema = ToText(header->SchemaIdentifiersValue(1));
  }
}

void StepDocument::Transfer() {
  // Before Open CASCADE walks along every one of them.
  if (const auto excess = ExcessOf(UsesIn(ModelOf(sessions.front())))) {
    throw StepError(*excess);
  }
  const Handle(TransferProgress) indicator = new TransferProgress(answer);
  if (reader.NbRootsForTransfer() <= 0 || !reader.Transfer(document, indicator->Start())) {
    throw StepError("there is no shape in it; export it with its geometry");
  }
  shapeTool = XCAFDoc_DocumentTool::ShapeTool(document->Main());
}

void StepDocument::TakeExternalFiles() {
  using ExternalFiles = NCollection_DataMap<TCollection_AsciiString, Handle(STEPCAFControl_ExternFile)>;
  // By name, since the order of the map is that of its hash.
  std::map<std::string, Handle(STEPCAFControl_ExternFile)> files;
  for (ExternalFiles::Iterator it(reader.ExternFiles()); it.More(); it.Next()) {
    if (!it.Value().IsNull()) {
      files.emplace(it.Key().ToCString(), it.Value());
    }
  }
  for (const auto& [name, external] : files) {
    ReportExternalFile(name, *external);
    if (!external->GetWS().IsNull() && !ModelOf(external->GetWS()).IsNull()) {
      sessions.push_back(external->GetWS());
    }
  }
  ReportUnfollowedFiles();
}

void StepDocument::ReportExternalFile(const std::string& name, const STEPCAFControl_ExternFile& external) {
  const std::string shown = CleanStepText(name);
  const std::filesystem::path file = path.parent_path() / name;
  std::error_code error;
  if (!std::filesystem::exists(file, error)) {
    answer.Warning(fmt::format("external file \"{}\" is missing; put it beside this one", shown));
    return;
  }
  if (external.GetLoadStatus() != IFSelect_RetDone) {
    answer.Warning(fmt::format("external file \"{}\" cannot be read; import it alone to see why", shown));
    return;
  }
  if (!external.GetTransferStatus()) {
    answer.Warning(fmt::format("external file \"{}\" has no shape in it", shown));
  }
  const std::string subject = fmt::format("external file \"{}\": ", shown);
  ReportModel(answer, subject, ModelOf(external.GetWS()));
  if (!isUtf8) {
    return;
  }
  Utf8Check utf8;
  std::ifstream in(file, std::ios::binary);
  std::array<char, 65'536> buffer;
  while (in.read(buffer.data(), static_cast<std::streamsize>(buffer.size())), in.gcount() > 0) {
    utf8.Take({buffer.data(), static_cast<std::size_t>(in.gcount())});
  }
  utf8.Finish();
  ReportUtf8(answer, subject, utf8);
}

// Files of which the entities do not say clearly whose shape they describe are not followed.
void StepDocument::ReportUnfollowedFiles() {
  std::set<std::string> names;
  for (const Handle(XSControl_WorkSession) & session : sessions) {
    STEPConstruct_ExternRefs references(session);
    references.LoadExternRefs();
    for (Standard_Integer i = 1; i <= references.NbExternRefs(); ++i) {
      if (const Standard_CString name = references.FileName(i);
          name != nullptr && *name != '\0' && !reader.ExternFiles().IsBound(name)) {
        names.insert(CleanStepText(name));
      }
    }
  }
  answer.WarningOfEach({names.begin(), names.end()}, "external file \"",
                       "\" is not followed: it is not said which shape it describes",
                       "external files are not followed");
}

void StepDocument::ReportTransferErrors() {
  std::size_t count = 0;
  std::string first;
  for (const Handle(XSControl_WorkSession) & session : sessions) {
    const Handle(Transfer_TransientProcess) process = session->TransferReader()->TransientProcess();
    if (process.IsNull()) {
      continue;
    }
    const Interface_CheckIterator checks = process->CheckList(Standard_True);
    for (checks.Start(); checks.More(); checks.Next()) {
      const Handle(Interface_Check)& check = checks.Value();
      // Files have been reported by their names.
      if (!check->HasFailed() || !check->HasEntity() || check->Entity()->IsKind(STANDARD_TYPE(StepBasic_Document))) {
        continue;
      }
      if (count++ == 0) {
        first = fmt::format("{}: {}", EntityLabel(ModelOf(session), check->Entity()), check->CFail(1));
      }
    }
  }
  if (count > 0) {
    answer.Warning(CleanStepText(fmt::format("geometry is not transferred in {}, the first {}",
                                             count == 1 ? "one place" : fmt::format("{} places", count), first)));
  }
}

}  // namespace host
