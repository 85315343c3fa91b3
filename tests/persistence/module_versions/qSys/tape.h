#pragma once

#include <cstdint>

#include <qSys/Export.h>
#include <qSys/Versions.h>
#include <qSys/io.h>

/// The tape of an application that keeps versions of its modules beside its own: only c_mainVersion asks for its own.
/// What includes it is compiled against it as a whole, since it stands in front of the tape of the open platform.
class QSYS_API tape {
 public:
  static constexpr unsigned long c_mainVersion = static_cast<unsigned long>(-1);
  /// That of every module, before anything of a links section was written.
  static constexpr std::uint32_t c_moduleVersion = 1;

  tape() = default;
  explicit tape(const StreamVersions& streamVersions) noexcept : versions(streamVersions) {}
  tape(const tape&) = delete;
  tape& operator=(const tape&) = delete;
  virtual ~tape();

  std::uint32_t AppVersion(unsigned long module) const noexcept {
    return module == c_mainVersion ? versions.appVersion : c_moduleVersion;
  }

  std::uint32_t MathVersion() const noexcept { return versions.mathVersion; }
  bool good() const noexcept { return stateBits == 0; }
  std::uint32_t State() const noexcept { return stateBits; }
  virtual void setState(io::state fault);

 private:
  StreamVersions versions;
  std::uint32_t stateBits = 0;
};
