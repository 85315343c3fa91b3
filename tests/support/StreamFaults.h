#pragma once

#include <cstddef>
#include <cstdint>
#include <span>
#include <stdexcept>
#include <vector>

#include <qSys/reader.h>
#include <qSys/writer.h>

/// Streams that throw StreamFailed at a chosen call, and tell how many calls they got.

struct StreamFailed : std::runtime_error {
  StreamFailed() : std::runtime_error("the stream failed") {}
};

/// Counts calls and throws at one of them.
class FailingCalls {
 public:
  /// Counted from 1; 0 for none.
  explicit FailingCalls(std::size_t failingCall = 0) noexcept : failing(failingCall) {}

  void Call() {
    if (++count == failing) {
      throw StreamFailed();
    }
  }
  std::size_t Count() const noexcept { return count; }

 private:
  std::size_t failing;
  std::size_t count = 0;
};

/// Every call of a virtual operation counts, those that record a fault as well; what fails has no effect.
class FailingWriter final : public writer {
 public:
  explicit FailingWriter(const StreamVersions& streamVersions, std::size_t failingCall = 0)
      : tape(streamVersions), calls(failingCall) {}

  void writeBlock(const void* source, std::size_t length) override {
    calls.Call();
    const auto* first = static_cast<const std::byte*>(source);
    bytes.insert(bytes.end(), first, first + length);
    lengths.push_back(bytes.size());
  }
  void writeUInt64(std::uint64_t value) override {
    calls.Call();
    for (int i = 0; i < 8; ++i) {
      bytes.push_back(static_cast<std::byte>(value >> 8 * i));
    }
    lengths.push_back(bytes.size());
  }
  void setState(io::state fault) override {
    calls.Call();
    tape::setState(fault);
    lengths.push_back(bytes.size());
  }

  FailingCalls calls;
  std::vector<std::byte> bytes;
  /// How many bytes there were behind each call.
  std::vector<std::size_t> lengths;
};

/// Counts calls in the same way. The bytes stay the caller's.
class FailingReader final : public reader {
 public:
  FailingReader(std::span<const std::byte> source, const StreamVersions& streamVersions, std::size_t failingCall = 0)
      : tape(streamVersions), calls(failingCall), bytes(source) {}

  bool readBlock(void* target, std::size_t length) override {
    calls.Call();
    return Take(target, length);
  }
  std::uint64_t readUInt64() override {
    calls.Call();
    std::uint64_t value = 0;
    Take(&value, sizeof(value));
    return value;
  }
  void setState(io::state fault) override {
    calls.Call();
    if (throwsFaults) {
      throw StreamFailed();
    }
    tape::setState(fault);
  }

  FailingCalls calls;
  /// The first fault that is recorded throws instead.
  bool throwsFaults = false;

 private:
  bool Take(void* target, std::size_t length) {
    if (length > bytes.size()) {
      bytes = {};
      setState(io::state::endOfStream);
      return false;
    }
    for (std::size_t i = 0; i < length; ++i) {
      static_cast<std::byte*>(target)[i] = bytes[i];
    }
    bytes = bytes.subspan(length);
    return true;
  }

  std::span<const std::byte> bytes;
};
