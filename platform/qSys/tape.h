#pragma once

#include <cstdint>

#include <qSys/Export.h>
#include <qSys/Versions.h>
#include <qSys/io.h>

/// What a reader and a writer share: the versions of the stream and the faults met on it. A virtual base, so that
/// a stream that does both has one set of versions and one state; the most derived class constructs it.
class QSYS_API tape {
 public:
  /// The argument of AppVersion that asks for the version of the application itself.
  static constexpr unsigned long c_mainVersion = static_cast<unsigned long>(-1);

  tape() = default;
  explicit tape(const StreamVersions& streamVersions) noexcept : versions(streamVersions) {}
  tape(const tape&) = delete;
  tape& operator=(const tape&) = delete;
  virtual ~tape();

  /// The application version of the stream. An application may keep versions of its modules beside its own and
  /// give them by number; these streams keep c_mainVersion alone and answer it for every argument.
  std::uint32_t AppVersion(unsigned long module) const noexcept {
    static_cast<void>(module);
    return versions.appVersion;
  }

  /// The math version, which decides the width of counts (IsVersion16bit, IsVersion64bit).
  std::uint32_t MathVersion() const noexcept { return versions.mathVersion; }

  /// True while no fault was recorded.
  bool good() const noexcept { return stateBits == 0; }

  /// All faults recorded so far, as the bits of io::state.
  std::uint32_t State() const noexcept { return stateBits; }

  /// Records a fault beside those already recorded; none is ever taken back. An override may throw.
  virtual void setState(io::state fault);

 private:
  StreamVersions versions;
  std::uint32_t stateBits = 0;
};
