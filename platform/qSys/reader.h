#pragma once

#include <cstddef>
#include <cstdint>

#include <qSys/Export.h>
#include <qSys/tape.h>

/// A stream to read from. A derived class supplies readBlock; everything else goes through it.
class QSYS_API reader : public virtual tape {
 public:
  ~reader() override;

  /// Reads exactly `length` bytes into `bytes` and answers true. Where fewer are left it records
  /// io::state::endOfStream, leaves `bytes` as it was, takes what is left as read, so that every later read runs
  /// short as well, and answers false. Faults recorded earlier do not stop it.
  virtual bool readBlock(void* bytes, std::size_t length) = 0;

  /// Reads 8 bytes, least significant first; 0 where the stream runs short.
  virtual std::uint64_t readUInt64();
};
