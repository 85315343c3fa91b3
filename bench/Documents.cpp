#include "bench/Documents.h"

#include <string>
#include <utility>

#include <fmt/format.h>

#include "host/step/MergeAssembly.h"

namespace bench {

namespace {

constexpr std::size_t c_machineUses = 4;
constexpr std::size_t c_frames = 10;
constexpr std::size_t c_parts = 10;
// A machine has an occurrence for itself, its frames and their parts, and two links for each body.
constexpr std::size_t c_linksOfMachine = 1 + c_frames + 3 * c_frames * c_parts;

class AssemblyMaker {
 public:
  host::StepAssembly Make(std::size_t linkCount) {
    const std::size_t root = AddProduct("root");
    const std::size_t machineUses = (linkCount + c_linksOfMachine - 1) / c_linksOfMachine;
    std::size_t machine = 0;
    for (std::size_t i = 0; i < machineUses; ++i) {
      if (i % c_machineUses == 0) {
        machine = AddMachine();
      }
      Use(root, machine, i);
    }
    assembly.roots = {root};
    return std::move(assembly);
  }

 private:
  std::size_t AddMachine() {
    const std::size_t machine = AddProduct("machine");
    const std::size_t frame = AddProduct("frame");
    for (std::size_t i = 0; i < c_frames; ++i) {
      Use(machine, frame, i);
    }
    for (std::size_t i = 0; i < c_parts; ++i) {
      const std::size_t part = AddProduct("part");
      assembly.products[part].bodies.push_back({host::StepBody::Kind::solid, "", ""});
      Use(frame, part, i);
    }
    return machine;
  }

  std::size_t AddProduct(const char* kind) {
    const std::size_t index = assembly.products.size();
    assembly.products.push_back({fmt::format("{} {}", kind, index), fmt::format("QB.{:06}", index), {}, {}});
    return index;
  }

  void Use(std::size_t holder, std::size_t used, std::size_t place) {
    host::StepPlacement placement = host::c_stepIdentity;
    placement[3] = 100.0 * static_cast<double>(place);
    const std::string id = fmt::format("{}", ++lastUse);
    assembly.products[holder].uses.push_back({used, id, id, placement, false});
  }

  host::StepAssembly assembly;
  std::size_t lastUse = 0;
};

}  // namespace

host::StepAssembly MakeAssembly(std::size_t linkCount) {
  return AssemblyMaker().Make(linkCount);
}

void MakeDocument(host::Document& document, std::size_t linkCount) {
  host::MergeAssembly(document, MakeAssembly(linkCount), "bench");
}

std::size_t CountLinks(const host::Document& document) {
  std::size_t count = 0;
  const auto countOne = [&count](const ProductGeometryObject3D&) { ++count; };
  document.links->ForEachLink(countOne, LinkSet::Unique);
  document.links->ForEachLink(countOne, LinkSet::Validated);
  return count;
}

}  // namespace bench
