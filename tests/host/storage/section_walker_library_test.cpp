// What the walker accepts the library reads without a fault, and what it refuses the library cannot read: over random
// stores, and over random damage to what they write.

#include <string>
#include <vector>

#include <gtest/gtest.h>
#include <rapidcheck/gtest.h>
#include <qProdData3D/CreateProductGeometryObjects3D.h>
#include <qSys/MemoryStreams.h>

#include "host/storage/LinksSection.h"
#include "tests/host/storage/SectionBytes.h"
#include "tests/support/StreamBytes.h"

namespace {

rc::Gen<StreamLinks> AnyLinks() {
  const auto anyText = rc::gen::container<std::string>(rc::gen::element('\0', '\x7F', '\x80', '\xFF', 'a'));
  const auto anyPath =
      rc::gen::container<std::vector<std::uint32_t>>(rc::gen::element<std::uint32_t>(0, 1, 2, 0x100, 0xFFFFFFFF));
  return rc::gen::scale(
      0.1, rc::gen::container<StreamLinks>(rc::gen::build<StreamLink>(
               rc::gen::set(&StreamLink::key, anyText),
               rc::gen::set(&StreamLink::type, rc::gen::element(0u, 1u, 2u, 104u, 200u, ~0u)),
               rc::gen::set(&StreamLink::componentPath, anyPath), rc::gen::set(&StreamLink::secondPath, anyPath),
               rc::gen::set(&StreamLink::name, anyText))));
}

StreamVersions AnyReadableVersions() {
  const StreamAppForm app = *rc::gen::elementOf(c_streamAppForms);
  const StreamMathForm math = *rc::gen::suchThat(rc::gen::elementOf(c_streamMathForms),
                                                 [](const StreamMathForm& form) { return form.countBytes != 0; });
  return {app.appVersion, math.mathVersion};
}

Bytes SectionOf(const StreamVersions& versions) {
  const auto store = CreateProductGeometryObjects3D(AcceptAll);
  AddLinksTo(*store, *AnyLinks(), LinkSet::Unique);
  AddLinksTo(*store, *AnyLinks(), LinkSet::Validated);
  return host::WriteLinks(*store, versions).bytes;
}

RC_GTEST_PROP(SectionWalk, AcceptsWhatTheLibraryWrites, ()) {
  const StreamVersions versions = AnyReadableVersions();
  const Bytes section = SectionOf(versions);
  RC_ASSERT(!host::WalkSection(section, versions, {}));
  RC_ASSERT(LibraryReadsAll(section, versions));
}

RC_GTEST_PROP(SectionWalk, AcceptsDamagedBytesExactlyWhereTheLibraryReadsThem, ()) {
  const StreamVersions versions = AnyReadableVersions();
  Bytes section = SectionOf(versions);
  RC_PRE(!section.empty());
  const auto place = *rc::gen::inRange<std::size_t>(0, section.size());
  section[place] = static_cast<std::byte>(*rc::gen::arbitrary<std::uint8_t>());
  RC_ASSERT(!host::WalkSection(section, versions, {}) == LibraryReadsAll(section, versions));
}

RC_GTEST_PROP(SectionWalk, AcceptsRandomBytesExactlyWhereTheLibraryReadsThem, ()) {
  const StreamVersions versions = AnyReadableVersions();
  // Mostly small numbers, so that counts and lengths are often believable.
  Bytes section;
  for (const std::uint8_t byte : *rc::gen::container<std::vector<std::uint8_t>>(
           rc::gen::weightedElement<std::uint8_t>({{12, 0}, {3, 1}, {1, 2}, {1, 0xFF}}))) {
    section.push_back(static_cast<std::byte>(byte));
  }
  RC_ASSERT(!host::WalkSection(section, versions, {}) == LibraryReadsAll(section, versions));
}

RC_GTEST_PROP(SectionWalk, OfAnyCutEndsAtAFault, ()) {
  const StreamVersions versions = AnyReadableVersions();
  Bytes section = SectionOf(versions);
  RC_PRE(!section.empty());
  section.resize(*rc::gen::inRange<std::size_t>(0, section.size()));
  RC_ASSERT(host::WalkSection(section, versions, {}).has_value());
  RC_ASSERT(!LibraryReadsAll(section, versions));
}

}  // namespace
