#include "host/storage/SectionWalker.h"

#include <cstring>

#include <fmt/format.h>

#include <qProdData3D/LinkStreamVersions.h>

#include "host/model/TextForms.h"

namespace host {

namespace {

// Thrown within this file to leave the walk; a fault is the ordinary end of a damaged section.
struct FaultFound {
  SectionFault fault;
};

class Walk {
 public:
  Walk(std::span<const std::byte> source, const StreamVersions& streamVersions, const SectionVisitor& visitor)
      : section(source), versions(streamVersions), visit(visitor) {}

  // The number of records in it.
  std::uint64_t Section() {
    if (link_stream::HasLinks(versions.appVersion)) {
      Set("uniqueLinks");
    }
    if (link_stream::HasValidatedLinks(versions.appVersion)) {
      Set("validatedLinks");
    }
    if (Left() != 0) {
      Fail(position, fmt::format("{} bytes after the end of the section", Left()));
    }
    return recordCount;
  }

 private:
  std::uint64_t Left() const { return section.size() - position; }

  [[noreturn]] static void Fail(std::uint64_t offset, std::string text) { throw FaultFound{{offset, std::move(text)}}; }

  void Set(std::string_view name) {
    const std::uint64_t offset = position;
    const std::uint64_t count = Count(name, 0, "records");
    if (count > Left() / SmallestRecord()) {
      Fail(offset, fmt::format("{}: {} records need at least {} bytes each, {} bytes remain", name, count,
                               SmallestRecord(), Left()));
    }
    recordCount += count;
    for (std::uint64_t i = 0; i < count; ++i) {
      if (visit) {
        visit({position, {}, 1, fmt::format("{}[{}]", name, i), {}});
      }
      Record();
    }
  }

  void Record() {
    ByteString("metaKey length", "metaKey");
    const std::uint32_t type = Number<std::uint32_t>("objectType");
    Show(4, 2, "objectType", [type] { return fmt::format("{} ({})", type, ObjectTypeText(type)); });
    Path("componentPath count", "componentPath", link_stream::HasOutermostFirst(versions.appVersion));
    ByteString("objectName length", "objectName");
    if (link_stream::HasSecondPath(versions.appVersion)) {
      Path("secondPath count", "secondPath", false);
    }
  }

  // A length of 4 bytes and the bytes, whatever the versions.
  void ByteString(std::string_view lengthName, std::string_view name) {
    const std::uint64_t offset = position;
    const std::uint32_t length = Number<std::uint32_t>(lengthName);
    Show(4, 2, lengthName, [length] { return std::to_string(length); });
    if (length > Left()) {
      Fail(offset, fmt::format("{}: {} bytes announced, {} remain", name, length, Left()));
    }
    position += length;
    Show(length, 2, name, [this, length] { return BytesText(TextOfLast(length)); });
  }

  void Path(std::string_view countName, std::string_view name, bool outermostFirst) {
    const std::uint64_t offset = position;
    const std::uint64_t count = Count(countName, 2, "elements");
    if (count > Left() / sizeof(MbPath::Element)) {
      Fail(offset, fmt::format("{}: {} elements of 4 bytes, {} bytes remain", name, count, Left()));
    }
    const std::uint64_t length = count * sizeof(MbPath::Element);
    position += length;
    if (count != 0) {
      Show(length, 2, name, [this, length, outermostFirst] {
        MbPath path;
        const auto bytes = section.subspan(position - length, length);
        for (std::size_t i = 0; i < bytes.size(); i += sizeof(MbPath::Element)) {
          MbPath::Element element = 0;
          std::memcpy(&element, bytes.data() + i, sizeof(element));
          path.Append(element);
        }
        if (outermostFirst) {
          path.Reverse();
        }
        return PathText(path);
      });
    }
  }

  std::uint64_t Count(std::string_view name, int depth, std::string_view what) {
    if (IsVersion16bit(versions.mathVersion)) {
      Fail(position, fmt::format("{}: a 16-bit stream (math version {}) carries no links", name,
                                 VersionText(versions.mathVersion)));
    }
    const bool isWide = IsVersion64bit(versions.mathVersion);
    const std::uint64_t count = isWide ? Number<std::uint64_t>(name) : Number<std::uint32_t>(name);
    Show(isWide ? 8 : 4, depth, name, [count, what] { return fmt::format("{} {}", count, what); });
    return count;
  }

  template <class Value>
  Value Number(std::string_view name) {
    if (sizeof(Value) > Left()) {
      Fail(position, fmt::format("{}: {} bytes expected, {} remain", name, sizeof(Value), Left()));
    }
    Value value = 0;
    std::memcpy(&value, section.data() + position, sizeof(value));
    position += sizeof(value);
    return value;
  }

  std::string_view TextOfLast(std::uint64_t length) const {
    return {reinterpret_cast<const char*>(section.data()) + (position - length), length};
  }

  // Shows the last `length` bytes; the value is made only where somebody looks.
  template <class MakeValue>
  void Show(std::uint64_t length, int depth, std::string_view name, MakeValue makeValue) {
    if (visit) {
      visit({position - length, section.subspan(position - length, length), depth, name, makeValue()});
    }
  }

  // A record with an empty key, name and paths.
  std::uint64_t SmallestRecord() const {
    const std::uint64_t count = IsVersion64bit(versions.mathVersion) ? 8 : 4;
    const std::uint64_t paths = link_stream::HasSecondPath(versions.appVersion) ? 2 : 1;
    return 4 + 4 + 4 + paths * count;
  }

  std::span<const std::byte> section;
  StreamVersions versions;
  const SectionVisitor& visit;
  std::uint64_t position = 0;
  std::uint64_t recordCount = 0;
};

}  // namespace

std::string FaultText(const SectionFault& fault) {
  return fmt::format("at byte {}: {}", fault.offset, fault.text);
}

std::optional<SectionFault> WalkSection(std::span<const std::byte> section, const StreamVersions& versions,
                                        const SectionVisitor& visit, std::uint64_t* records) {
  try {
    const std::uint64_t count = Walk(section, versions, visit).Section();
    if (records != nullptr) {
      *records = count;
    }
  } catch (FaultFound& found) {
    return std::move(found.fault);
  }
  return std::nullopt;
}

}  // namespace host
