#pragma once

/// Marks what libqKernel offers to other libraries.
#define QKERNEL_API __attribute__((visibility("default")))
