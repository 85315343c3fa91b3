#pragma once

#include <cstddef>
#include <cstdint>

#include <qSys/Export.h>
#include <qSys/tape.h>

/// A stream to write to. A derived class supplies writeBlock; everything else goes through it.
class QSYS_API writer : public virtual tape {
 public:
  ~writer() override;

  /// Appends `length` bytes. A stream that cannot take them records io::state::deviceFailed; a stream in memory
  /// lets std::bad_alloc pass.
  virtual void writeBlock(const void* bytes, std::size_t length) = 0;

  /// Appends 8 bytes, least significant first.
  virtual void writeUInt64(std::uint64_t value);
};
