#pragma once

#include <cstdint>

namespace io {

/// What can go wrong on a stream. The values are bits: a stream collects every fault that it met.
enum class state : std::uint32_t {
  endOfStream = 0x1,         ///< a read asked for more bytes than the stream still had
  deviceFailed = 0x2,        ///< the file below the stream refused a read or a write
  noMemory = 0x4,            ///< no storage could be obtained for what a count announced
  narrowStream = 0x8,        ///< a 32-bit value or a count met a 16-bit stream, which cannot carry it
  countOverflow = 0x800000,  ///< a count above 32 bits was written, cut, to a 32-bit stream
};

}  // namespace io
