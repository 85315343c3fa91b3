#pragma once

#include <cstddef>
#include <cstdint>
#include <cstdio>
#include <cstring>
#include <span>
#include <stdexcept>
#include <string>
#include <utility>
#include <vector>

#include <qSys/MemoryStreams.h>
#include <qSys/reader.h>
#include <qSys/writer.h>

/// What was asked of a stream, in order, one line for each call:
/// "block 04 00 00 00" or "block 4" (bytes written, or how many were asked for), "uint64 5" or "uint64",
/// "state 0x8".
using StreamEvents = std::vector<std::string>;

inline std::string StateEvent(io::state fault) {
  char text[32];
  std::snprintf(text, sizeof(text), "state 0x%X", static_cast<unsigned int>(fault));
  return text;
}

/// A writer that takes everything and tells what it was asked.
class RecordingWriter final : public writer {
 public:
  explicit RecordingWriter(const StreamVersions& streamVersions) : tape(streamVersions) {}

  void writeBlock(const void* bytes, std::size_t length) override {
    std::string event = "block";
    for (std::size_t i = 0; i < length; ++i) {
      char text[8];
      std::snprintf(text, sizeof(text), " %02X", static_cast<const unsigned char*>(bytes)[i]);
      event += text;
    }
    events.push_back(event);
    if (++blockCount == faultAfterBlock) {
      tape::setState(io::state::deviceFailed);
    }
  }

  void writeUInt64(std::uint64_t value) override { events.push_back("uint64 " + std::to_string(value)); }

  void setState(io::state fault) override {
    events.push_back(StateEvent(fault));
    if (keepsFaults) {
      tape::setState(fault);
    }
  }

  StreamEvents events;
  /// The block, counted from 1, after which the device fails; 0 for none.
  std::size_t faultAfterBlock = 0;
  /// False for a stream that stays good whatever is recorded on it.
  bool keepsFaults = true;

 private:
  std::size_t blockCount = 0;
};

/// A reader that gives bytes of its own, runs short as every reader does, and tells what it was asked.
class RecordingReader final : public reader {
 public:
  RecordingReader(std::vector<std::byte> source, const StreamVersions& streamVersions)
      : tape(streamVersions), bytes(std::move(source)) {}

  bool readBlock(void* target, std::size_t length) override {
    events.push_back("block " + std::to_string(length));
    const bool isRead = Take(target, length);
    if (++blockCount == faultAfterBlock) {
      tape::setState(io::state::deviceFailed);
    }
    return isRead;
  }

  std::uint64_t readUInt64() override {
    events.push_back("uint64");
    std::uint64_t value = 0;
    Take(&value, sizeof(value));
    return value;
  }

  void setState(io::state fault) override {
    events.push_back(StateEvent(fault));
    if (fault != unkeptFault) {
      tape::setState(fault);
    }
  }

  std::size_t BytesLeft() const { return bytes.size() - position; }

  StreamEvents events;
  /// The block, counted from 1, after which the device fails; 0 for none.
  std::size_t faultAfterBlock = 0;
  /// A fault in spite of which the stream stays good.
  io::state unkeptFault{};

 private:
  bool Take(void* target, std::size_t length) {
    if (length > BytesLeft()) {
      position = bytes.size();
      setState(io::state::endOfStream);
      return false;
    }
    if (length != 0) {
      std::memcpy(target, bytes.data() + position, length);
      position += length;
    }
    return true;
  }

  std::vector<std::byte> bytes;
  std::size_t position = 0;
  std::size_t blockCount = 0;
};

/// Reads as a host does that does not trust its bytes: throws std::runtime_error where the stream runs short and at
/// a 64-bit count that claims more than the bytes that remain.
class ThrowingReader final : public reader {
 public:
  /// The bytes stay the caller's.
  ThrowingReader(std::span<const std::byte> source, const StreamVersions& streamVersions)
      : tape(streamVersions), size(source.size()), inner(source) {}

  bool readBlock(void* target, std::size_t length) override {
    if (!inner.readBlock(target, length)) {
      throw std::runtime_error("the stream ends within a field");
    }
    return true;
  }

  std::uint64_t readUInt64() override {
    const std::uint64_t count = reader::readUInt64();
    if (count > size - inner.Position()) {
      throw std::runtime_error("a count claims more than there is");
    }
    return count;
  }

 private:
  std::size_t size;
  MemoryReader inner;
};
