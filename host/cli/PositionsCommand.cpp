#include <algorithm>
#include <filesystem>
#include <memory>
#include <string>
#include <vector>

#include <fmt/format.h>

#include "host/HostError.h"
#include "host/cli/Commands.h"
#include "host/cli/Output.h"
#include "host/model/Bill.h"
#include "host/model/FindObject.h"
#include "host/model/TextForms.h"
#include "host/storage/DocumentFile.h"

namespace host {

namespace {

struct PositionsArguments {
  std::filesystem::path document;
  std::string component;
  std::string embodiment;
  std::string sort = "position";
  bool flat = false;
  bool keys = false;
  bool csv = false;
  bool json = false;
};

std::string PlaceText(const BodyPlace& place) {
  return fmt::format("{}:{}", PathText(place.component), BytesText(place.name.Bytes()));
}

std::vector<std::string> PlaceTexts(const std::vector<BodyPlace>& places) {
  std::vector<std::string> texts;
  std::transform(places.begin(), places.end(), std::back_inserter(texts), PlaceText);
  return texts;
}

// The bills asked for: all of them, or that of the assembly in one component.
std::vector<Bill> BillsAskedFor(const Document& document, const PositionsArguments& arguments,
                                const ProgressCallback& progress) {
  const UniqueMetaObjectKey embodiment = FindEmbodiment(document, arguments.embodiment);
  if (arguments.flat) {
    std::vector<Bill> flat;
    flat.push_back(MakeFlatBill(document, embodiment, progress));
    return flat;
  }
  std::vector<Bill> bills = MakeBills(document, embodiment, progress);
  if (arguments.component.empty()) {
    return bills;
  }
  const Component* component = FindComponent(document, arguments.component);
  const MetaObject* occurrence = component == nullptr ? nullptr : document.productData.Find(component->occurrence);
  const UniqueMetaObjectKey assembly = occurrence == nullptr ? document.productData.RootProduct() : occurrence->product;
  std::erase_if(bills, [&assembly](const Bill& bill) { return !(bill.assembly == assembly); });
  if (bills.empty()) {
    const MetaObject* product = document.productData.Find(assembly);
    const bool isPart = product != nullptr && product->type == MetaObjectType::partProduct;
    throw DocumentError(fmt::format("component {} {}; name another one", arguments.component,
                                    isPart ? "is a part, which has no bill" : "does not occur in this embodiment"));
  }
  bills.front().depth = 0;
  return bills;
}

void Sort(std::vector<BillLine>& lines, const std::string& by) {
  if (by == "marking") {
    std::stable_sort(lines.begin(), lines.end(), [](const auto& a, const auto& b) { return a.marking < b.marking; });
  } else if (by == "name") {
    std::stable_sort(lines.begin(), lines.end(), [](const auto& a, const auto& b) { return a.name < b.name; });
  } else if (by == "count") {
    std::stable_sort(lines.begin(), lines.end(), [](const auto& a, const auto& b) { return a.count > b.count; });
  }
}

// A long list is cut for people; programs get all of it.
std::string BodiesText(const std::vector<BodyPlace>& bodies) {
  constexpr std::size_t c_shown = 3;
  std::vector<std::string> texts =
      PlaceTexts({bodies.begin(), bodies.begin() + static_cast<std::ptrdiff_t>(std::min(bodies.size(), c_shown))});
  if (bodies.size() > c_shown) {
    texts.push_back(fmt::format("... {} in all", bodies.size()));
  }
  return fmt::format("{}", fmt::join(texts, " "));
}

void PrintText(const Document& document, const std::vector<Bill>& bills, bool keys) {
  Row heading = {"POS", "MARKING", "NAME", "COUNT", "BODIES"};
  if (keys) {
    heading.push_back("KEY");
  }
  for (const Bill& bill : bills) {
    const std::string indent(bill.depth * 2, ' ');
    PrintLine(indent + document.productData.DisplayName(bill.assembly));
    heading.front() = indent + "  POS";
    PrintTable(heading, [&](const RowVisitor& row) {
      for (const BillLine& line : bill.lines) {
        Row cells = {fmt::format("{}  {}", indent, ValueText(line.position)), line.marking, line.name,
                     std::to_string(line.count), BodiesText(line.bodies)};
        if (keys) {
          cells.push_back(KeyText(line.groupObject));
        }
        row(cells);
      }
    });
  }
}

// As RFC 4180 has it: a field with a comma, a quote or a line break is quoted, and quotes in it are doubled.
std::string CsvField(const std::string& text) {
  if (text.find_first_of(",\"\r\n") == std::string::npos) {
    return text;
  }
  std::string quoted = "\"";
  for (const char byte : text) {
    quoted += byte;
    if (byte == '"') {
      quoted += byte;
    }
  }
  return quoted + "\"";
}

void PrintCsv(const Document& document, const std::vector<Bill>& bills, bool keys) {
  PrintLine(fmt::format("assembly,position,marking,name,count,bodies{}", keys ? ",key" : ""));
  for (const Bill& bill : bills) {
    const std::string assembly = document.productData.DisplayName(bill.assembly);
    for (const BillLine& line : bill.lines) {
      PrintLine(fmt::format("{},{},{},{},{},{}{}", CsvField(assembly), CsvField(ValueText(line.position)),
                            CsvField(line.marking), CsvField(line.name), line.count,
                            CsvField(fmt::format("{}", fmt::join(PlaceTexts(line.bodies), " "))),
                            keys ? fmt::format(",{}", CsvField(KeyText(line.groupObject))) : ""));
    }
  }
}

nlohmann::ordered_json PositionJson(const SimplePropVal& position) {
  const int* number = std::get_if<int>(&position.GetValue());
  if (number != nullptr) {
    return *number;
  }
  return position.IsEmpty() ? nlohmann::ordered_json() : nlohmann::ordered_json(ValueText(position));
}

void PrintJson(const Document& document, const std::vector<Bill>& bills, bool keys) {
  JsonList list;
  for (const Bill& bill : bills) {
    for (const BillLine& line : bill.lines) {
      nlohmann::ordered_json element = {{"assembly", document.productData.DisplayName(bill.assembly)},
                                        {"position", PositionJson(line.position)},
                                        {"marking", line.marking},
                                        {"name", line.name},
                                        {"count", line.count},
                                        {"bodies", PlaceTexts(line.bodies)}};
      if (keys) {
        element["key"] = KeyText(line.groupObject);
      }
      list.Add(element);
    }
  }
  list.Finish();
}

int ReportDisagreements(const Document& document, const std::vector<Bill>& bills) {
  int status = 0;
  for (const Bill& bill : bills) {
    for (const BillLine& line : bill.lines) {
      for (const BodyPlace& place : line.disagreeing) {
        const std::string position = line.position.IsEmpty() ? "no position" : "position " + ValueText(line.position);
        PrintWarning(
            fmt::format("{}: {} in {}, but the body {} answers otherwise; 'qlinks check --repair' rebuilds "
                        "the position links",
                        document.productData.DisplayName(line.groupObject), position,
                        document.productData.DisplayName(bill.assembly), PlaceText(place)));
        status = 1;
      }
    }
  }
  return status;
}

int RunPositions(const PositionsArguments& arguments) {
  Progress progress;
  const std::unique_ptr<Document> document = LoadDocument(arguments.document, progress.Callback());
  std::vector<Bill> bills = BillsAskedFor(*document, arguments, progress.Callback());
  progress.End();
  for (Bill& bill : bills) {
    Sort(bill.lines, arguments.sort);
  }
  if (arguments.json) {
    PrintJson(*document, bills, arguments.keys);
  } else if (arguments.csv) {
    PrintCsv(*document, bills, arguments.keys);
  } else {
    PrintText(*document, bills, arguments.keys);
  }
  return ReportDisagreements(*document, bills);
}

}  // namespace

void AddPositionsCommand(CLI::App& app, Command& chosen) {
  const auto arguments = std::make_shared<PositionsArguments>();
  CLI::App* verb = app.add_subcommand("positions", "Print the bill of materials, a table for each assembly");
  verb->add_option("DOC", arguments->document, "The document")->required();
  CLI::Option* component =
      verb->add_option("--component", arguments->component, "Only the assembly in this component, by its path");
  verb->add_option("--embodiment", arguments->embodiment, "The root in this embodiment, by name, number or key");
  verb->add_option("--sort", arguments->sort, "By position, marking, name or count (the largest first)")
      ->check(CLI::IsMember({"position", "marking", "name", "count"}));
  CLI::Option* flat = verb->add_flag("--flat", arguments->flat, "One table that sums the parts of the whole product")
                          ->excludes(component);
  verb->add_flag("--keys", arguments->keys, "Add the key of each line, which names it where a marking is ambiguous")
      ->excludes(flat);
  CLI::Option* csv = verb->add_flag("--csv", arguments->csv, "Print CSV");
  verb->add_flag("--json", arguments->json, "Print JSON")->excludes(csv);
  verb->callback([&chosen, arguments] {
    chosen = [arguments] { return WithFileName(arguments->document, [&] { return RunPositions(*arguments); }); };
  });
}

}  // namespace host
