#pragma once

#include <cstddef>

#include "host/model/Document.h"
#include "host/step/StepAssembly.h"

namespace bench {

/// A product as a STEP file gives it whose document has at least so many links, and 310 more at most: a root of
/// machines of ten frames of ten parts, each part with one body. A machine is used four times, so that a line of a bill
/// has up to 40 bodies.
host::StepAssembly MakeAssembly(std::size_t linkCount);

/// The document that an import makes of it.
void MakeDocument(host::Document& document, std::size_t linkCount);

/// The links of both sets.
std::size_t CountLinks(const host::Document& document);

}  // namespace bench
