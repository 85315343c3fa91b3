#pragma once

#include <cstddef>
#include <cstring>
#include <span>

#include <fmt/format.h>

#include <qSys/reader.h>

#include "host/ProgressCallback.h"
#include "host/storage/SectionWalker.h"

namespace host {

/// Thrown by StrictReader.
struct StrictReadFailed {
  SectionFault fault;
};

/// A reader for bytes that nobody vouches for: where a plain reader records a fault and goes on, this one throws
/// StrictReadFailed at once, so that a count that lies cannot keep the library busy. Borrows the bytes, and the stage
/// that advances, where one is given, by the bytes that are read.
class StrictReader final : public reader {
 public:
  StrictReader(std::span<const std::byte> source, const StreamVersions& streamVersions,
               ProgressStage* progress = nullptr) noexcept
      : tape(streamVersions), bytes(source), stage(progress) {}

  bool readBlock(void* target, std::size_t length) override {
    if (length > bytes.size() - position) {
      throw StrictReadFailed{{position, fmt::format("{} bytes expected, {} remain", length, bytes.size() - position)}};
    }
    if (length != 0) {
      std::memcpy(target, bytes.data() + position, length);
      position += length;
      if (stage != nullptr) {
        stage->Advance(length);
      }
    }
    return true;
  }

  void setState(io::state fault) override {
    throw StrictReadFailed{{position, fmt::format("stream fault 0x{:X}", static_cast<std::uint32_t>(fault))}};
  }

  std::size_t Position() const noexcept { return position; }

 private:
  std::span<const std::byte> bytes;
  std::size_t position = 0;
  ProgressStage* stage;
};

}  // namespace host
