#pragma once

#include <cstdint>

#include <qKernel/MbPath.h>
#include <qProdData3D/ProductGeometryObject3D.h>
#include <qSys/reader.h>
#include <qSys/writer.h>

#include "link_store/LinkSets.h"

/// The stream form of links: docs/stream_format.md shows the bytes. Each writing function has a reading twin that
/// takes the same steps; which fields a version has is asked of link_stream (LinkStreamVersions.h) on both sides.
///
/// Faults are recorded on the stream and nothing here stops for them but the elements of a path: after a fault the
/// remaining fields and records are still attempted, and what is missing has its default or is partial.

/// A number of records or of path elements; its width goes by the math version. A 16-bit stream carries none: the
/// fault io::state::narrowStream is recorded and nothing is written, or 0 is read. A count that does not fit into 32
/// bits records io::state::countOverflow unless the stream has 64, and is written cut. All ones stays all ones in every
/// form that carries counts.
void WriteCount(writer& out, std::uint64_t count);
std::uint64_t ReadCount(reader& in);

/// A path: its count, then the elements up to the first at which the stream is not good. ReadPath leaves the path
/// untouched for a count of 0 or a bad stream. A count of 0xFFFFFFFF or more for which no storage was obtained
/// records io::state::noMemory and reads no element.
void WritePath(writer& out, const MbPath& path);
void ReadPath(reader& in, MbPath& path);

/// One link. ReadLinkRecord expects a default record; fields that the version lacks keep their defaults.
void WriteLinkRecord(writer& out, const ProductGeometryObject3D& record);
void ReadLinkRecord(reader& in, ProductGeometryObject3D& record);

/// One set: the count and the records in byMetaKey order. With `onlyPath` given, only the records with this component
/// path, each with an empty one instead. Instantiated for both set types.
template <class Links>
void WriteLinkSet(writer& out, const Links& links, const MbPath* onlyPath);

/// Exactly as many records as the count says, whatever the stream's state. A record whose pair was read already is
/// dropped.
void ReadLinkSet(reader& in, ValidatedLinks& links);

/// The whole section into two empty temporary sets; ProductGeometryObjects3D::WriteMetaObjectsLinks is its twin.
/// Where the version has no second set, `second` receives a copy of every record of `first`.
void ReadLinkSections(reader& in, ValidatedLinks& first, ValidatedLinks& second);
