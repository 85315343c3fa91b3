#include <filesystem>
#include <memory>

#include <fmt/format.h>

#include "host/HostError.h"
#include "host/cli/Commands.h"
#include "host/cli/Output.h"
#include "host/model/RenewKeys.h"
#include "host/storage/DocumentFile.h"

namespace host {

namespace {

struct CopyArguments {
  std::filesystem::path document;
  std::filesystem::path output;
};

int RunCopy(const CopyArguments& arguments) {
  DocumentEdit edit(arguments.document, arguments.output);
  const Document& document = edit.Get();
  RenewKeys(edit.Get());
  edit.Save([&document] {
    PrintLine(fmt::format("{} meta objects under new keys", document.productData.All().size()));
    FinishOutput();
  });
  return 0;
}

}  // namespace

void AddCopyCommand(CLI::App& app, Command& chosen) {
  const auto arguments = std::make_shared<CopyArguments>();
  CLI::App* verb = app.add_subcommand("copy", "Copy a document under fresh keys");
  verb->add_option("DOC", arguments->document, "The document")->required();
  verb->add_option("-o,--output", arguments->output, "The copy; an older document there is replaced")->required();
  verb->callback([&chosen, arguments] {
    chosen = [arguments] { return WithFileName(arguments->document, [&] { return RunCopy(*arguments); }); };
  });
}

}  // namespace host
