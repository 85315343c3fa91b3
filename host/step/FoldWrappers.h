// Exporters wrap parts: what was one part in the design system becomes an assembly of its bodies.

#pragma once

#include <cstddef>

#include "host/step/StepAssembly.h"

namespace host {

/// The most bodies that one call copies. A small file can claim wrappers in wrappers that stand for more bodies than
/// any memory holds; what goes beyond stays as it is, and a warning says so.
inline constexpr std::size_t c_stepMaxFoldedBodies = 1'000'000;

/// Folds wrappers, innermost first. A wrapper is a product with uses of bodies only:
/// - a generated use of a product without uses is replaced by that product's bodies, be there other uses or not;
/// - so is a use that an earlier export of a reader's document has named after a label, `=>[0:1:1:3]`, of a product
///   without uses and without a name of its own (none, or SOLID, COMPOUND, SHELL, COMPSOLID) -- but only where all
///   uses of the holder are of these two sorts, since a name alone is weak evidence.
/// A product that so loses its last use is a part. The bodies come after the holder's own ones, in the order of the
/// uses; an identifier that then is no longer unique in its product becomes empty.
/// Products that nothing uses any more are removed, the order of the others stays; roots are kept.
/// When something was folded, one line in `warnings` says how much. The time is linear in the size of `assembly` and
/// of the result; requires what StepAssembly promises.
void FoldWrappers(StepAssembly& assembly);

}  // namespace host
