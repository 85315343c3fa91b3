#pragma once

#include <cstdint>

/// Chooses the link set that an operation of a store works on. Callers may pass any 32-bit value:
///
/// | value       | changing operations work on              | queries read      |
/// |-------------|------------------------------------------|-------------------|
/// | 0 Both      | the unique set, then the validated set   | the validated set |
/// | 1 Validated | the validated set                        | the validated set |
/// | 2 Unique    | the unique set                           | the unique set    |
/// | 3 and above | nothing                                  | the validated set |
enum class LinkSet : std::uint32_t {
  Both = 0,
  Validated = 1,
  Unique = 2,
};
