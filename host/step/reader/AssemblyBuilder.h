// From the document and the entities of a STEP file to its neutral product structure.

#pragma once

#include "host/step/StepAssembly.h"
#include "host/step/reader/AnswerWriter.h"
#include "host/step/reader/StepDocument.h"

namespace host {

/// Gives the product structure of `document`; what is lost goes to `answer` as warnings, none of them is in the
/// result. Throws StepError, whose text does not name the file, where a product holds itself.
///
/// Names, identifiers and the tree come from the entities, geometry and places from the document: where several
/// products share one shape the document has one label for all of them, and a part without geometry none.
/// Everything in the document that no usage occurrence stands for becomes a generated use.
StepAssembly BuildAssembly(const StepDocument& document, AnswerWriter& answer);

}  // namespace host
