#pragma once

#include <qSys/ExceptionMode.h>

/// While it lives, a path that gets no memory goes on without its elements instead of throwing.
class ExceptionModeOff {
 public:
  ExceptionModeOff() noexcept { ExceptionMode::Enable(false); }
  ExceptionModeOff(const ExceptionModeOff&) = delete;
  ExceptionModeOff& operator=(const ExceptionModeOff&) = delete;
  ~ExceptionModeOff() { ExceptionMode::Enable(true); }
};
