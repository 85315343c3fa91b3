// Any file is refused as a document in one line, or is one: then everything may be asked of it, and it comes back from
// saving the same.

#include <algorithm>
#include <cmath>
#include <filesystem>
#include <memory>
#include <string_view>
#include <variant>

#include "fuzz/Fuzz.h"
#include "fuzz/ScratchFile.h"
#include "host/HostError.h"
#include "host/model/Bill.h"
#include "host/model/Findings.h"
#include "host/storage/DocumentFile.h"
#include "host/storage/LinksSection.h"

namespace {

std::unique_ptr<host::Document> Load(const std::filesystem::path& file) {
  try {
    return host::LoadDocument(file);
  } catch (const host::HostError& error) {
    const std::string_view text = error.what();
    Require(text.starts_with(file.string() + ": "), "an error without the file's name");
    Require(text.find('\n') == std::string_view::npos, "an error of several lines");
    return nullptr;
  }
}

// False where the document cannot be saved, for the one reason that there is: its links carry versions that a links
// section cannot have.
bool Save(const host::Document& document, const std::filesystem::path& file) {
  try {
    host::SaveDocument(document, file);
    return true;
  } catch (const host::HostError& error) {
    Require(std::string_view(error.what()).find("cannot be written under") != std::string_view::npos, error.what());
    return false;
  }
}

// A number that is none does not equal itself.
bool HasNoNumber(const host::Properties& properties) {
  return std::any_of(properties.begin(), properties.end(), [](const auto& property) {
    const auto* number = std::get_if<double>(&property.second.GetValue());
    return number != nullptr && std::isnan(*number);
  });
}

bool HasNoNumber(const host::ProductData& data) {
  return std::any_of(data.All().begin(), data.All().end(),
                     [](const auto& object) { return HasNoNumber(object.second.properties); }) ||
         std::any_of(data.AllGroups().begin(), data.AllGroups().end(), [](const auto& group) {
           const auto& values = group.second.values;
           return std::any_of(values.begin(), values.end(), [](const auto& held) { return HasNoNumber(held.second); });
         });
}

void RequireSame(const host::Document& left, const host::Document& right) {
  if (!HasNoNumber(left.productData)) {
    Require(left.productData.All() == right.productData.All(), "other meta objects");
    Require(left.productData.AllGroups() == right.productData.AllGroups(), "other groups");
  }
  Require(left.productData.RootProduct() == right.productData.RootProduct(), "another root");
  Require(left.components == right.components, "other components");
  Require(left.nextRootElement == right.nextRootElement, "another next number");
  Require(left.bodies == right.bodies, "other bodies");
  Require(left.otherStreams == right.otherStreams, "other streams");
  Require(left.linksVersions == right.linksVersions, "other versions");
  Require(host::WriteLinks(*left.links, left.linksVersions).bytes ==
              host::WriteLinks(*right.links, right.linksVersions).bytes,
          "other links");
}

}  // namespace

extern "C" int LLVMFuzzerTestOneInput(const std::uint8_t* data, std::size_t size) {
  static const ScratchFile input(".qdoc");
  static const ScratchFile copy(".copy.qdoc");
  input.Write(data, size);
  const auto document = Load(input.Path());
  if (document == nullptr) {
    return 0;
  }
  const UniqueMetaObjectKey& embodiment = document->productData.RootEmbodiment();
  host::MakeBills(*document, embodiment);
  host::MakeFlatBill(*document, embodiment);
  host::FindFaults(*document, embodiment);
  if (Save(*document, copy.Path())) {
    const auto again = Load(copy.Path());
    Require(again != nullptr, "a document that was saved cannot be loaded");
    RequireSame(*document, *again);
  }
  return 0;
}
