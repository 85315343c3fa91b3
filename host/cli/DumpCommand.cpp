#include <filesystem>
#include <fstream>
#include <iterator>
#include <memory>
#include <string>
#include <vector>

#include <fmt/format.h>

#include "host/HostError.h"
#include "host/cli/Commands.h"
#include "host/cli/Output.h"
#include "host/model/TextForms.h"
#include "host/storage/DocumentFile.h"
#include "host/storage/SectionWalker.h"

namespace host {

namespace {

struct DumpArguments {
  std::filesystem::path file;
  std::string appVersion;
  std::string mathVersion;
  bool json = false;
};

// Before it is opened: opening a pipe waits for whoever writes to it.
void RequireFile(const std::filesystem::path& file) {
  std::error_code error;
  if (!std::filesystem::exists(file, error)) {
    throw HostError(fmt::format("{}: no such file; name a document or a links section", file.string()));
  }
  if (!std::filesystem::is_regular_file(file, error)) {
    throw HostError(fmt::format("{}: not a file on a disk; name a document or a links section", file.string()));
  }
}

// A section on its own carries no versions; those of today hold unless others are given.
Stream LoadBareSection(const DumpArguments& arguments) {
  std::ifstream in(arguments.file, std::ios::binary);
  if (!in) {
    throw HostError(fmt::format("{}: cannot be opened; look at the rights of the file", arguments.file.string()));
  }
  Stream section;
  std::vector<char> bytes{std::istreambuf_iterator<char>(in), {}};
  const auto* first = reinterpret_cast<const std::byte*>(bytes.data());
  section.bytes.assign(first, first + bytes.size());
  if (!arguments.appVersion.empty()) {
    section.versions.appVersion = ParseVersion(arguments.appVersion, "--app-version");
  }
  if (!arguments.mathVersion.empty()) {
    section.versions.mathVersion = ParseVersion(arguments.mathVersion, "--math-version");
  }
  return section;
}

Stream LoadSection(const DumpArguments& arguments) {
  RequireFile(arguments.file);
  if (!IsDatabaseFile(arguments.file)) {
    return LoadBareSection(arguments);
  }
  if (!arguments.appVersion.empty() || !arguments.mathVersion.empty()) {
    throw HostError(fmt::format("{}: a document has versions of its own; leave out --app-version and --math-version",
                                arguments.file.string()));
  }
  return LoadLinksSection(arguments.file);
}

std::string HexBytes(std::span<const std::byte> bytes) {
  std::string text;
  text.reserve(bytes.size() * 3);
  for (const std::byte byte : bytes) {
    fmt::format_to(std::back_inserter(text), "{}{:02X}", text.empty() ? "" : " ", static_cast<unsigned>(byte));
  }
  return text;
}

void PrintFieldText(const SectionField& field) {
  const std::string name(static_cast<std::size_t>(field.depth) * 2, ' ');
  PrintLine(field.bytes.empty() && field.value.empty()
                ? fmt::format("{:8}  {}{}", field.offset, name, field.name)
                : fmt::format("{:8}  {:<28}  {:<24}  {}", field.offset, name + std::string(field.name), field.value,
                              HexBytes(field.bytes)));
}

int RunDump(const DumpArguments& arguments) {
  const Stream section = LoadSection(arguments);
  std::optional<SectionFault> fault;
  if (arguments.json) {
    JsonList list;
    fault = WalkSection(section.bytes, section.versions, [&list](const SectionField& field) {
      list.Add({{"offset", field.offset},
                {"bytes", HexBytes(field.bytes)},
                {"field", field.name},
                {"value", field.value},
                {"depth", field.depth}});
    });
    list.Finish();
  } else {
    PrintLine(fmt::format("application version {}, math version {}, {} bytes", VersionText(section.versions.appVersion),
                          VersionText(section.versions.mathVersion), section.bytes.size()));
    fault = WalkSection(section.bytes, section.versions, PrintFieldText);
  }
  if (fault) {
    FinishOutput();
    throw HostError(fmt::format("{}: the links section is damaged {}; everything before it is shown",
                                arguments.file.string(), FaultText(*fault)));
  }
  return 0;
}

}  // namespace

void AddDumpCommand(CLI::App& app, Command& chosen) {
  const auto arguments = std::make_shared<DumpArguments>();
  CLI::App* verb = app.add_subcommand("dump", "Show a links section byte by byte, down to the first fault");
  verb->add_option("FILE", arguments->file, "A document, or a file that holds a links section alone")->required();
  verb->add_option("--app-version", arguments->appVersion, "The application version of a section that stands alone");
  verb->add_option("--math-version", arguments->mathVersion, "The math version of a section that stands alone");
  verb->add_flag("--json", arguments->json, "Print JSON");
  verb->callback([&chosen, arguments] { chosen = [arguments] { return RunDump(*arguments); }; });
}

}  // namespace host
