#pragma once

/// Marks what libq3DCore offers to other libraries.
#define Q3DCORE_API __attribute__((visibility("default")))
