#pragma once

#include <string>

/// Constants as another module of the same program sees them.
const std::wstring* MarkingInAnotherModule();
const std::wstring* MarkingDocumentNumberInAnotherModule();
const std::wstring* MaterialLocationInAnotherModule();
