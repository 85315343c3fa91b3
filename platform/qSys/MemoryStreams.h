#pragma once

#include <cstddef>
#include <span>
#include <vector>

#include <qSys/Export.h>
#include <qSys/reader.h>
#include <qSys/writer.h>

/// Writes into memory that it owns.
class QSYS_API MemoryWriter final : public writer {
 public:
  MemoryWriter() = default;
  explicit MemoryWriter(const StreamVersions& streamVersions) noexcept : tape(streamVersions) {}

  void writeBlock(const void* bytes, std::size_t length) override;

  /// Everything written so far, in order.
  const std::vector<std::byte>& Bytes() const noexcept { return written; }
  /// Hands the bytes over; the stream goes on empty.
  std::vector<std::byte> TakeBytes() noexcept;

 private:
  std::vector<std::byte> written;
};

/// Reads bytes that its caller owns and keeps alive and unchanged while it reads.
class QSYS_API MemoryReader final : public reader {
 public:
  explicit MemoryReader(std::span<const std::byte> source) noexcept : bytes(source) {}
  MemoryReader(std::span<const std::byte> source, const StreamVersions& streamVersions) noexcept
      : tape(streamVersions), bytes(source) {}

  bool readBlock(void* target, std::size_t length) override;

  /// How many bytes were read so far, which is the offset of the next one.
  std::size_t Position() const noexcept { return position; }

 private:
  std::span<const std::byte> bytes;
  std::size_t position = 0;
};
