#include "persistence/LinkStream.h"

#include <algorithm>
#include <limits>
#include <memory>
#include <utility>

#include <qProdData3D/LinkStreamVersions.h>

#include "link_store/ProductGeometryObjects3D.h"

namespace {

constexpr std::uint64_t c_allOnes = std::numeric_limits<std::uint64_t>::max();
constexpr std::uint64_t c_narrowAllOnes = std::numeric_limits<std::uint32_t>::max();

std::uint32_t AppVersionOf(const tape& stream) {
  return stream.AppVersion(tape::c_mainVersion);
}

// A 4-byte block, which a 16-bit stream does not carry.
void WriteUInt32(writer& out, std::uint32_t value) {
  if (IsVersion16bit(out.MathVersion())) {
    out.setState(io::state::narrowStream);
    return;
  }
  out.writeBlock(&value, sizeof(value));
}

std::uint32_t ReadUInt32(reader& in) {
  std::uint32_t value = 0;
  if (IsVersion16bit(in.MathVersion())) {
    in.setState(io::state::narrowStream);
    return value;
  }
  in.readBlock(&value, sizeof(value));
  return value;
}

}  // namespace

void WriteCount(writer& out, std::uint64_t count) {
  if (IsVersion64bit(out.MathVersion())) {
    out.writeUInt64(count);
    return;
  }
  // Before the 16-bit test on purpose: a 16-bit stream given such a count records both faults. All ones does not fit
  // either; what is left of it, 0xFFFFFFFF, reads as all ones again.
  if (count > c_narrowAllOnes) {
    out.setState(io::state::countOverflow);
  }
  WriteUInt32(out, static_cast<std::uint32_t>(count));
}

std::uint64_t ReadCount(reader& in) {
  if (IsVersion64bit(in.MathVersion())) {
    const std::uint64_t count = in.readUInt64();
    return count == c_narrowAllOnes && link_stream::HasNarrowAllOnes(in.MathVersion()) ? c_allOnes : count;
  }
  const std::uint64_t count = ReadUInt32(in);
  return count == c_narrowAllOnes ? c_allOnes : count;
}

void WritePath(writer& out, const MbPath& path) {
  WriteCount(out, path.Count());
  for (const MbPath::Element element : path) {
    if (!out.good()) {
      return;
    }
    WriteUInt32(out, element);
  }
}

void ReadPath(reader& in, MbPath& path) {
  const std::uint64_t count = ReadCount(in);
  if (count == 0 || !in.good()) {
    return;
  }
  const bool hasStorage = path.Reserve(count);
  if (!hasStorage && count >= c_narrowAllOnes) {
    in.setState(io::state::noMemory);
    return;
  }
  // The element at which the stream runs short is appended as 0, on purpose: a path keeps the length it came to.
  // Append drops an element for which there is no room; it counts all the same.
  for (std::uint64_t read = 0; read < count && in.good(); ++read) {
    path.Append(ReadUInt32(in));
  }
}

void WriteLinkRecord(writer& out, const ProductGeometryObject3D& record) {
  out << record.metaKey;
  WriteUInt32(out, record.geometry.objectType);
  MbPath componentPath = record.geometry.componentPath;
  if (link_stream::HasOutermostFirst(AppVersionOf(out))) {
    componentPath.Reverse();
  }
  WritePath(out, componentPath);
  out << record.geometry.objectName;
  if (link_stream::HasSecondPath(AppVersionOf(out))) {
    WritePath(out, record.geometry.secondPath);
  }
}

void ReadLinkRecord(reader& in, ProductGeometryObject3D& record) {
  in >> record.metaKey;
  record.geometry.objectType = ReadUInt32(in);
  ReadPath(in, record.geometry.componentPath);
  if (link_stream::HasOutermostFirst(AppVersionOf(in))) {
    record.geometry.componentPath.Reverse();
  }
  in >> record.geometry.objectName;
  if (link_stream::HasSecondPath(AppVersionOf(in))) {
    ReadPath(in, record.geometry.secondPath);
  }
}

namespace {

// Lets the processor fetch a record while the one before is written: a walk by itself does not touch all of it.
void Prefetch(const ProductGeometryObject3D& record) {
  const char* bytes = reinterpret_cast<const char*>(&record);
  // Up to 128 bytes lie across three cache lines of 64 at most. Of a longer one a part is fetched later, no more.
  __builtin_prefetch(bytes);
  __builtin_prefetch(bytes + sizeof(record) / 2);
  __builtin_prefetch(bytes + sizeof(record) - 1);
}

template <class Links>
void WriteAll(writer& out, const Links& links) {
  WriteCount(out, links.size());
  for (auto next = links.begin(); next != links.end();) {
    const ProductGeometryObject3D& record = *next;
    if (++next != links.end()) {
      Prefetch(*next);
    }
    WriteLinkRecord(out, record);
  }
}

}  // namespace

template <class Links>
void WriteLinkSet(writer& out, const Links& links, const MbPath* onlyPath) {
  if (onlyPath == nullptr) {
    WriteAll(out, links);
    return;
  }
  const auto isWritten = [onlyPath](const ProductGeometryObject3D& record) {
    return record.geometry.componentPath == *onlyPath;
  };
  WriteCount(out, static_cast<std::uint64_t>(std::count_if(links.begin(), links.end(), isWritten)));
  for (const ProductGeometryObject3D& record : links) {
    if (isWritten(record)) {
      ProductGeometryObject3D withoutPath = record;
      withoutPath.geometry.componentPath.Clear();
      WriteLinkRecord(out, withoutPath);
    }
  }
}

template void WriteLinkSet(writer&, const UniqueLinks&, const MbPath*);
template void WriteLinkSet(writer&, const ValidatedLinks&, const MbPath*);

void ReadLinkSet(reader& in, ValidatedLinks& links) {
  const std::uint64_t count = ReadCount(in);
  for (std::uint64_t read = 0; read < count; ++read) {
    ProductGeometryObject3D record;
    ReadLinkRecord(in, record);
    links.insert(links.end(), std::move(record));
  }
}

void ProductGeometryObjects3D::WriteMetaObjectsLinks(writer& out) const {
  const std::uint32_t version = AppVersionOf(out);
  if (!link_stream::HasLinks(version)) {
    return;
  }
  WriteLinkSet(out, uniqueLinks, writeComponentPath);
  if (link_stream::HasValidatedLinks(version)) {
    WriteLinkSet(out, validatedLinks, writeComponentPath);
  }
}

void ReadLinkSections(reader& in, ValidatedLinks& first, ValidatedLinks& second) {
  const std::uint32_t version = AppVersionOf(in);
  if (!link_stream::HasLinks(version)) {
    return;
  }
  ReadLinkSet(in, first);
  if (link_stream::HasValidatedLinks(version)) {
    ReadLinkSet(in, second);
    return;
  }
  for (const ProductGeometryObject3D& record : first) {
    // Copied before it is inserted: a copy that the container makes may lose its path (ExceptionMode) when the place
    // for the whole one is found already.
    second.insert(second.end(), ProductGeometryObject3D(record));
  }
}

void ProductGeometryObjects3D::SetWriteComponentPath(const MbPath* path) {
  // Copied only after the old path is gone, so that where copying throws the store holds none. A path that is the
  // store's own would be copied from what was just deleted; no caller can get at it.
  delete std::exchange(writeComponentPath, nullptr);
  if (path != nullptr) {
    writeComponentPath = new MbPath(*path);
  }
}
