#pragma once

#include <cstddef>
#include <cstdint>
#include <memory>
#include <string>

#include "host/model/Document.h"
#include "host/step/StepAssembly.h"

namespace host {

/// More occurrences than these are refused: a small file can claim more than any memory holds.
inline constexpr std::uint64_t c_maxOccurrences = 20'000'000;

/// How much an import brought in.
struct ImportCounts {
  std::size_t occurrences = 0;
  std::size_t products = 0;
  std::size_t bodies = 0;
};

/// Makes a document of a product structure. Each product becomes a product with its marking and name; each assembly
/// gets its base embodiment and, for every product used in it, a group object, in the order of first use; each use,
/// counted along every way down from the root, becomes an occurrence with its component; each body of a used product
/// becomes a body of that component.
///
/// A single root is the document itself. Several stand side by side in an assembly that is made for them and bears
/// `name`. Nothing stands for the document's own component, so a part without any assembly is a document with its
/// bodies and no occurrence.
///
/// Links: in the unique set each occurrence to its component; in the validated set each occurrence and its group
/// object to each body of its component.
///
/// Never null. Throws HostError for more than c_maxOccurrences.
std::unique_ptr<Document> ImportAssembly(const StepAssembly& assembly, const std::string& name, ImportCounts& counts);

}  // namespace host
