#include <qSys/ExceptionMode.h>

namespace {
bool isEnabled = true;
}

bool ExceptionMode::IsEnabled() noexcept {
  return isEnabled;
}

void ExceptionMode::Enable(bool enabled) noexcept {
  isEnabled = enabled;
}
