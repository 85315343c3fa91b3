// The product structure of a STEP file in neutral form: what the import needs, without any trace of the library
// that read the file. All texts are valid UTF-8 without control characters.

#pragma once

#include <array>
#include <cstddef>
#include <cstdint>
#include <optional>
#include <stdexcept>
#include <string>
#include <vector>

namespace host {

/// A STEP file that cannot be read. `what()` is one line without the program's name:
/// the file, what is wrong, where, and the mend.
class StepError : public std::runtime_error {
 public:
  using std::runtime_error::runtime_error;
};

/// One body of a product: a solid, or a shell that belongs to no solid (whether it is closed or not: it bounds no
/// volume by the file's own word).
struct StepBody {
  enum class Kind { solid, openShell };

  Kind kind = Kind::solid;
  /// The name of the representation item, as the file has it; often empty, and not unique within the product.
  std::string name;
  /// An identifier that later revisions of the file keep, unique within the product, or empty. STEP has none for
  /// representation items, so it is the name where the name is unique within its product.
  std::string id;

  bool operator==(const StepBody&) const = default;
};

/// Rows of a 3x4 matrix, one after another: rotation (mirrored where the determinant is negative) and, in every
/// fourth element, the translation in millimetres.
using StepPlacement = std::array<double, 12>;

inline constexpr StepPlacement c_stepIdentity{1, 0, 0, 0, 0, 1, 0, 0, 0, 0, 1, 0};

/// One use of a product in the product that holds it.
struct StepUse {
  /// Index of the used product in StepAssembly::products.
  std::size_t product = 0;
  /// The name of the usage occurrence; may be empty, and is so where there is none.
  std::string name;
  /// The identifier of the usage occurrence; revisions of the file keep it. May be empty; unique within the file
  /// only by custom. Empty where there is none.
  std::string id;
  /// Relative to the product that holds the use.
  StepPlacement placement = c_stepIdentity;
  /// Whether the use was made up by the reader to hang a body of the holder into: neither a usage occurrence nor a
  /// product of the file stands behind it.
  bool generated = false;

  bool operator==(const StepUse&) const = default;
};

/// A product: a part, an assembly, or an assembly that has bodies of its own as well.
struct StepProduct {
  /// PRODUCT.name, or the reader's word ("SOLID") for a product that only a generated use names. May be empty.
  std::string name;
  /// PRODUCT.id, by custom the marking (part number). May be empty, or be shared by several products; empty for a
  /// product that only a generated use names.
  std::string id;
  /// Solids, then shells, each in the order of the file; bodies that folding brings in come after these.
  std::vector<StepBody> bodies;
  /// Usage occurrences in the order of the file, then uses without one.
  std::vector<StepUse> uses;

  bool operator==(const StepProduct&) const = default;
};

/// A whole file. No product uses itself, neither directly nor through others; all indexes are in range.
struct StepAssembly {
  std::vector<StepProduct> products;
  /// Indexes of the products that stand on their own, in the order of the file. Never empty after a successful
  /// reading; a product that is used by another one may be a root as well.
  std::vector<std::size_t> roots;
  /// What an engineer has to know about this reading: one line each, without the file's name.
  std::vector<std::string> warnings;
  /// The application protocol as the file's header spells it, for example "AUTOMOTIVE_DESIGN { 1 0 10303 214 1 1 1 1
  /// }".
  std::string schema;

  bool operator==(const StepAssembly&) const = default;
};

/// The products in such an order that each comes before those that it uses, from the file's order as far as that
/// allows. Shorter than the list of products exactly where a product holds itself, directly or through others.
/// Linear; requires all indexes to be in range.
std::vector<std::size_t> OrderHoldersFirst(const std::vector<StepProduct>& products);

/// How many uses stand in the tree below the roots when every use of a product is counted anew, roots excluded;
/// the greatest value of the type when there are more (a small file can claim more than any memory holds).
/// Linear in the size of `assembly`. Requires an assembly without cycles and with all indexes in range.
std::uint64_t CountStepOccurrences(const StepAssembly& assembly);

/// A small file can claim more than any memory holds, so there are limits. Every use and every body counts as often as
/// it occurs in the tree; a level is an assembly within another one.
inline constexpr std::uint64_t c_maxOccurrences = 20'000'000;
inline constexpr std::uint64_t c_maxBodies = 20'000'000;
inline constexpr std::uint64_t c_maxLevels = 1'000;
/// Of all occurrences and bodies together, each with as many as its path has elements.
inline constexpr std::uint64_t c_maxPathElements = 500'000'000;

/// What is beyond the limits, with the mend, or none. As CountStepOccurrences otherwise.
std::optional<std::string> ExcessOf(const StepAssembly& assembly);

}  // namespace host
