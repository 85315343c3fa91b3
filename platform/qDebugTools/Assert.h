#pragma once

#include <cassert>

/// States what a caller promised. Debug builds stop where the promise is broken; release builds do not look.
#define Q_ASSERT_CALLER(condition) assert(condition)
