#include <filesystem>
#include <memory>
#include <string>

#include <qProdData3D/meta_3d.h>

#include "host/HostError.h"
#include "host/cli/Commands.h"
#include "host/cli/Output.h"
#include "host/model/FindObject.h"
#include "host/model/ModelDocument.h"
#include "host/model/TextForms.h"
#include "host/storage/DocumentFile.h"

namespace host {

namespace {

struct MarkingArguments {
  std::filesystem::path document;
  std::string component = "/";
  std::string embodiment;
};

int RunMarking(const MarkingArguments& arguments) {
  const std::unique_ptr<Document> document = LoadDocument(arguments.document);
  FindComponent(*document, arguments.component);
  const ModelEmbodiments embodiments(*document, FindEmbodiment(*document, arguments.embodiment));
  const VariantMarking marking =
      meta_3d::GetMarkingFromProdData(document->productData, embodiments.Tree(), ParsePath(arguments.component));
  PrintLine(ToUtf8(marking.Text()));
  return 0;
}

}  // namespace

void AddMarkingCommand(CLI::App& app, Command& chosen) {
  const auto arguments = std::make_shared<MarkingArguments>();
  CLI::App* verb = app.add_subcommand("marking", "Print the marking of the embodiment that a component is used in");
  verb->add_option("DOC", arguments->document, "The document")->required();
  verb->add_option("--component", arguments->component, "The component, by its path; the root unless given");
  verb->add_option("--embodiment", arguments->embodiment, "The root in this embodiment, by name, number or key");
  verb->callback([&chosen, arguments] {
    chosen = [arguments] { return WithFileName(arguments->document, [&] { return RunMarking(*arguments); }); };
  });
}

}  // namespace host
