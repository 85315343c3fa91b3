#pragma once

/// Marks what libqSys offers to other libraries.
#define QSYS_API __attribute__((visibility("default")))
