#include <algorithm>
#include <filesystem>
#include <memory>
#include <optional>
#include <string>
#include <utility>
#include <vector>

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

// How one set differs from what reads back.
struct Difference {
  std::size_t lost = 0;
  std::size_t added = 0;
  std::size_t withoutSecondPath = 0;
};

bool IsBefore(const ProductGeometryObject3D& left, const ProductGeometryObject3D& right) {
  return left.metaKey == right.metaKey ? left.geometry < right.geometry : left.metaKey < right.metaKey;
}

// Links in the order of their pairs of key and geometry object. Borrows them from the store.
std::vector<const ProductGeometryObject3D*> SortedLinks(const IProductGeometryObjects3D& links, LinkSet set) {
  std::vector<const ProductGeometryObject3D*> sorted;
  links.ForEachLink([&sorted](const ProductGeometryObject3D& link) { sorted.push_back(&link); }, set);
  std::sort(sorted.begin(), sorted.end(), [](const auto* left, const auto* right) { return IsBefore(*left, *right); });
  return sorted;
}

// Links are the same where their geometry objects are equivalent: the second path may be what is lost.
Difference Compare(const IProductGeometryObjects3D& before, const IProductGeometryObjects3D& after, LinkSet set) {
  const auto old = SortedLinks(before, set);
  const auto fresh = SortedLinks(after, set);
  Difference difference;
  auto next = fresh.begin();
  for (const ProductGeometryObject3D* link : old) {
    while (next != fresh.end() && IsBefore(**next, *link)) {
      ++difference.added;
      ++next;
    }
    if (next == fresh.end() || IsBefore(*link, **next)) {
      ++difference.lost;
      continue;
    }
    if (!(link->geometry == (*next)->geometry)) {
      ++difference.withoutSecondPath;
    }
    ++next;
  }
  difference.added += static_cast<std::size_t>(fresh.end() - next);
  return difference;
}

// One line for each kind of loss, found by comparing what was there with what reads back.
void PrintLosses(const Document& document, const IProductGeometryObjects3D& before) {
  const std::uint32_t appVersion = document.linksVersions.appVersion;
  const std::string version = VersionText(appVersion);
  const Difference unique = Compare(before, *document.links, LinkSet::Unique);
  const Difference validated = Compare(before, *document.links, LinkSet::Validated);
  if (document.droppedLinks != 0) {
    PrintLine(
        fmt::format("lost: {} records of the links section, which repeat or contradict others", document.droppedLinks));
  }
  if (unique.lost != 0) {
    PrintLine(fmt::format("lost: {} unique links ({} carries {})", unique.lost, version,
                          link_stream::HasLinks(appVersion) ? "them only in part" : "no links"));
  }
  if (validated.lost != 0) {
    PrintLine(fmt::format("lost: {} validated links ({} carries {})", validated.lost, version,
                          link_stream::HasLinks(appVersion) ? "unique links only" : "no links"));
  }
  if (unique.withoutSecondPath + validated.withoutSecondPath != 0) {
    PrintLine(fmt::format("lost: the second paths of {} unique and {} validated links ({} carries none)",
                          unique.withoutSecondPath, validated.withoutSecondPath, version));
  }
  if (validated.added != 0) {
    PrintLine(fmt::format("changed: {} unique links count as validated as well ({} keeps one set for both)",
                          validated.added, version));
  }
  if (document.droppedLinks + unique.lost + unique.withoutSecondPath + validated.lost + validated.withoutSecondPath +
          validated.added ==
      0) {
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
  DocumentEdit edit(arguments.document, arguments.output);
  Document& document = edit.Get();
  const StreamVersions versions = TargetVersions(arguments, document.linksVersions);
  if (arguments.component) {
    FindComponent(document, *arguments.component);
    KeepComponent(document, ParsePath(*arguments.component), versions);
  }
  auto converted = ReadLinks(WriteLinks(*document.links, versions), &document.productData);
  const auto before = std::exchange(document.links, std::move(converted));
  document.linksVersions = versions;
  edit.Save([&] {
    PrintLosses(document, *before);
    FinishOutput();
  });
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
  verb->callback([&chosen, arguments] {
    chosen = [arguments] { return WithFileName(arguments->document, [&] { return RunConvert(*arguments); }); };
  });
}

}  // namespace host
