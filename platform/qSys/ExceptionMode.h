#pragma once

#include <qSys/Export.h>

/// Decides one thing: whether a path (MbPath) that gets no memory raises std::bad_alloc or goes on without its
/// elements. Process-wide and on at the start; it is set before streams are read or written, not meanwhile.
class QSYS_API ExceptionMode {
 public:
  static bool IsEnabled() noexcept;
  static void Enable(bool enabled) noexcept;
};
