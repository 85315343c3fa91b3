#pragma once

/// Marks what libqDocument offers to other libraries.
#define QDOCUMENT_API __attribute__((visibility("default")))
