#include <filesystem>
#include <memory>
#include <optional>
#include <string>
#include <utility>

#include <fmt/format.h>

#include <qProdData3D/LinkStreamVersions.h>

#include "host/HostError.h"
#include "host/cli/Commands.h"
#include "host/cli/Output.h"
#include "host/model/FindObject.h"
#include "host/model/TextForms.h"
#include "host/storage/DocumentFile.h"
#include "host/storage/LinksSection.h"

namespace host {

namespace {

struct ConvertArguments {
  std::filesystem::path document;
  std::filesystem::path output;
  std::string appVersion;
  std::string mathVersion;
  std::optional<std::string> component;
};

StreamVersions TargetVersions(const ConvertArguments& arguments, StreamVersions versions) {
  versions.appVersion = ParseVersion(arguments.appVersion, "--app-version");
  if (!arguments.mathVersion.empty()) {
    versions.mathVersion = ParseVersion(arguments.mathVersion, "--math-version");
  }
  if (IsVersion16bit(versions.mathVersion)) {
    throw HostError(fmt::format("math version {} is a 16-bit version, which can carry no links; take {} or later",
                                VersionText(versions.mathVersion), VersionText(c_firstMathVersion32bit)));
  }
  return versions;
}

// The links of one component alone, under the application version of today, which loses nothing.
Stream WriteOneComponent(IProductGeometryObjects3D& links, const ComponentPath& path, std::uint32_t mathVersion) {
  links.SetWriteComponentPath(&path);
  // The store does not release its path: it is taken back on every way out.
  const std::unique_ptr<IProductGeometryObjects3D, void (*)(IProductGeometryObjects3D*)> guard(
      &links, [](IProductGeometryObjects3D* store) { store->SetWriteComponentPath(nullptr); });
  return WriteLinks(links, {c_currentAppVersion, mathVersion});
}

// What of one set another store does not hold.
struct Missing {
  std::size_t links = 0;
  std::size_t secondPaths = 0;
};

Missing FindMissing(const IProductGeometryObjects3D& from, const IProductGeometryObjects3D& in, LinkSet set) {
  Missing missing;
  from.ForEachLink(
      [&](const ProductGeometryObject3D& link) {
        if (in.HasLink(link.metaKey, link.geometry, set)) {
          return;
        }
        GeometryObject3D withoutSecondPath = link.geometry;
        withoutSecondPath.secondPath.Clear();
        const bool isThere = in.HasLink(link.metaKey, withoutSecondPath, set);
        ++(isThere ? missing.secondPaths : missing.links);
      },
      set);
  return missing;
}

// One line for each kind of loss, found by comparing what was there with what reads back.
void PrintLosses(const IProductGeometryObjects3D& before, const IProductGeometryObjects3D& after,
                 std::uint32_t appVersion) {
  const Missing unique = FindMissing(before, after, LinkSet::Unique);
  const Missing validated = FindMissing(before, after, LinkSet::Validated);
  const std::string version = VersionText(appVersion);
  if (unique.links != 0) {
    PrintLine(fmt::format("lost: {} unique links ({} carries {})", unique.links, version,
                          link_stream::HasLinks(appVersion) ? "them only in part" : "no links"));
  }
  if (validated.links != 0) {
    PrintLine(fmt::format("lost: {} validated links ({} carries {})", validated.links, version,
                          link_stream::HasLinks(appVersion) ? "unique links only" : "no links"));
  }
  if (unique.secondPaths + validated.secondPaths != 0) {
    PrintLine(fmt::format("lost: the second paths of {} unique and {} validated links ({} carries none)",
                          unique.secondPaths, validated.secondPaths, version));
  }
  const Missing added = FindMissing(after, before, LinkSet::Validated);
  if (added.links != 0) {
    PrintLine(fmt::format("changed: {} unique links count as validated as well ({} keeps one set for both)",
                          added.links, version));
  }
  if (unique.links + unique.secondPaths + validated.links + validated.secondPaths + added.links == 0) {
    PrintLine("nothing lost");
  }
}

// Makes one component the document: its bodies are the document's own, and of the links only its own are left, with
// an empty path. The product data stays whole, since those links name it.
void KeepComponent(Document& document, const ComponentPath& path, const StreamVersions& versions) {
  document.links = ReadLinks(WriteOneComponent(*document.links, path, versions.mathVersion), nullptr);
  auto ownBodies = document.bodies.extract(path);
  document.bodies.clear();
  if (!ownBodies.empty()) {
    ownBodies.key() = ComponentPath();
    document.bodies.insert(std::move(ownBodies));
  }
  document.components.clear();
}

int RunConvert(const ConvertArguments& arguments) {
  const std::unique_ptr<Document> opened = LoadDocument(arguments.document);
  Document& document = *opened;
  const StreamVersions versions = TargetVersions(arguments, document.linksVersions);
  if (arguments.component) {
    FindComponent(document, *arguments.component);
    KeepComponent(document, ParsePath(*arguments.component), versions);
  }
  auto converted = ReadLinks(WriteLinks(*document.links, versions), &document.productData);
  const auto before = std::exchange(document.links, std::move(converted));
  document.linksVersions = versions;
  SaveDocument(document, arguments.output);
  PrintLosses(*before, *document.links, versions.appVersion);
  return 0;
}

}  // namespace

void AddConvertCommand(CLI::App& app, Command& chosen) {
  const auto arguments = std::make_shared<ConvertArguments>();
  CLI::App* verb =
      app.add_subcommand("convert", "Rewrite the links for an older or newer stream and say what that cannot carry");
  verb->add_option("DOC", arguments->document, "The document")->required();
  verb->add_option("-o,--output", arguments->output, "The document to make; an older one is replaced")->required();
  verb->add_option("--app-version", arguments->appVersion, "The application version to write, such as 0x17000001")
      ->required();
  verb->add_option("--math-version", arguments->mathVersion, "The math version to write; as it is unless given");
  verb->add_option("--component", arguments->component, "Write this component alone, by its path");
  verb->callback([&chosen, arguments] { chosen = [arguments] { return WithFileName(arguments->document, [&] { return RunConvert(*arguments); }); }; });
}

}  // namespace host
