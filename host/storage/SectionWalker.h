#pragma once

#include <cstddef>
#include <cstdint>
#include <functional>
#include <optional>
#include <span>
#include <string>
#include <string_view>

#include <qSys/Versions.h>

namespace host {

/// One field of a links section. Borrows from the bytes that are walked; good during the visit only.
struct SectionField {
  /// Of the first byte, from the beginning of the section.
  std::uint64_t offset = 0;
  /// Empty for the heading of a record.
  std::span<const std::byte> bytes;
  /// 0: a field of the section, 1: of a set, 2: of a record.
  int depth = 0;
  std::string_view name;
  std::string value;
};

/// Where and why a section cannot be read.
struct SectionFault {
  std::uint64_t offset = 0;
  std::string text;
};

/// "at byte 12: ..."
std::string FaultText(const SectionFault& fault);

using SectionVisitor = std::function<void(const SectionField&)>;

/// Walks the links section that `section` holds, all of it, from the first byte to the last, without trusting any
/// count: each is checked against the bytes that remain before anything follows it, so the walk takes time linear in
/// the bytes and no memory. Ends at the first fault, which it returns; bytes that are left over are one. What passes
/// here reads through ReadMetaObjectsLinks without a fault on the stream.
///
/// `visit` sees every field in order, those before a fault included; it may be empty. `records`, where given, is set to
/// the number of records in the sets that the section has; good only without a fault.
std::optional<SectionFault> WalkSection(std::span<const std::byte> section, const StreamVersions& versions,
                                        const SectionVisitor& visit, std::uint64_t* records = nullptr);

}  // namespace host
