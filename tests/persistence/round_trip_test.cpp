// Properties of writing and reading, over random links and every version on both sides of every change of the form.

#include "persistence/LinkStream.h"

#include <memory>
#include <string>
#include <vector>

#include <gtest/gtest.h>
#include <rapidcheck/gtest.h>
#include <qProdData3D/CreateProductGeometryObjects3D.h>
#include <qProdData3D/ReadMetaObjectsLinks.h>
#include <qSys/MemoryStreams.h>

#include "tests/support/StreamBytes.h"
#include "tests/support/StreamLink.h"

namespace {

rc::Gen<std::string> AnyText() {
  // Few different bytes, so that keys and names meet; the extremes among them.
  return rc::gen::container<std::string>(rc::gen::element('\0', '\x7F', '\x80', '\xFF', 'a'));
}

rc::Gen<std::vector<std::uint32_t>> AnyPath() {
  return rc::gen::container<std::vector<std::uint32_t>>(rc::gen::weightedOneOf<std::uint32_t>(
      {{4, rc::gen::inRange<std::uint32_t>(0, 3)}, {1, rc::gen::arbitrary<std::uint32_t>()}}));
}

// Smaller than rapidcheck would make them: each is written under every version.
rc::Gen<StreamLinks> AnyLinks() {
  return rc::gen::scale(
      0.15, rc::gen::container<StreamLinks>(rc::gen::build<StreamLink>(
                rc::gen::set(&StreamLink::key, AnyText()),
                rc::gen::set(&StreamLink::type, rc::gen::element(0u, 1u, 2u, 104u, 200u, ~0u)),
                rc::gen::set(&StreamLink::componentPath, AnyPath()), rc::gen::set(&StreamLink::secondPath, AnyPath()),
                rc::gen::set(&StreamLink::name, AnyText()))));
}

std::unique_ptr<IProductGeometryObjects3D> AnyStore() {
  auto store = CreateProductGeometryObjects3D(AcceptAll);
  AddLinksTo(*store, *AnyLinks(), LinkSet::Unique);
  AddLinksTo(*store, *AnyLinks(), LinkSet::Validated);
  return store;
}

// What is left of a set on a stream of this form.
StreamLinks Carried(StreamLinks links, const StreamForm& form) {
  if (form.countBytes == 0) {
    return {};
  }
  if (!form.hasSecondPath) {
    for (StreamLink& link : links) {
      link.secondPath.clear();
    }
  }
  return links;
}

template <class Check>
void ForEveryVersion(const Check& check) {
  for (const StreamAppForm& app : c_streamAppForms) {
    for (const StreamMathForm& math : c_streamMathForms) {
      const StreamVersions versions{app.appVersion, math.mathVersion};
      check(versions, StreamFormOf(versions));
    }
  }
}

RC_GTEST_PROP(LinksSection, IsWrittenAsTheFormOfItsVersionsSays, ()) {
  const auto store = AnyStore();
  ForEveryVersion([&](const StreamVersions& versions, const StreamForm& form) {
    MemoryWriter out(versions);
    store->WriteMetaObjectsLinks(out);
    const StreamBytes expected =
        StreamBytes(form).Section(LinksOf(*store, LinkSet::Unique), LinksOf(*store, LinkSet::Validated));
    RC_ASSERT(out.Bytes() == expected.Bytes());
    RC_ASSERT(out.State() == (form.countBytes == 0 && form.setCount != 0 ? 8u : 0u));
  });
}

RC_GTEST_PROP(LinksSection, ReadsToWhatItsVersionsCarryOfTheLinksWritten, ()) {
  const auto store = AnyStore();
  ForEveryVersion([&](const StreamVersions& versions, const StreamForm& form) {
    MemoryWriter out(versions);
    store->WriteMetaObjectsLinks(out);
    MemoryReader in(out.Bytes(), versions);
    ValidatedLinks first;
    ValidatedLinks second;
    ReadLinkSections(in, first, second);
    const StreamLinks uniqueLinks = Carried(LinksOf(*store, LinkSet::Unique), form);
    const StreamLinks validatedLinks = Carried(LinksOf(*store, LinkSet::Validated), form);
    RC_ASSERT(LinksOf(first) == (form.setCount == 0 ? StreamLinks() : uniqueLinks));
    RC_ASSERT(LinksOf(second) == (form.setCount == 2 ? validatedLinks : LinksOf(first)));
    if (form.countBytes != 0) {
      RC_ASSERT(in.good());
      RC_ASSERT(in.Position() == out.Bytes().size());
    }
  });
}

RC_GTEST_PROP(LinksSection, FillsAnEmptyStoreWithTheLinksOfTheOneWritten, ()) {
  const auto store = AnyStore();
  ForEveryVersion([&](const StreamVersions& versions, const StreamForm& form) {
    MemoryWriter out(versions);
    store->WriteMetaObjectsLinks(out);
    MemoryReader in(out.Bytes(), versions);
    const auto copy = CreateProductGeometryObjects3D(AcceptAll);
    ReadMetaObjectsLinks(in, *copy, nullptr);
    const StreamLinks uniqueLinks = Carried(LinksOf(*store, LinkSet::Unique), form);
    const StreamLinks validatedLinks = Carried(LinksOf(*store, LinkSet::Validated), form);
    RC_ASSERT(LinksOf(*copy, LinkSet::Unique) == (form.setCount == 0 ? StreamLinks() : uniqueLinks));
    RC_ASSERT(LinksOf(*copy, LinkSet::Validated) ==
              (form.setCount == 2 ? validatedLinks : LinksOf(*copy, LinkSet::Unique)));
  });
}

RC_GTEST_PROP(LinksSection, WithAWritePathHoldsTheLinksOfThatComponentAlone, ()) {
  const auto store = AnyStore();
  const std::vector<std::uint32_t> component = *rc::gen::container<std::vector<std::uint32_t>>(
      *rc::gen::inRange<std::size_t>(0, 2), rc::gen::inRange<std::uint32_t>(0, 3));
  const auto inComponent = [&component](const StreamLinks& links) {
    StreamLinks result;
    for (StreamLink link : links) {
      if (link.componentPath == component) {
        link.componentPath.clear();
        result.push_back(link);
      }
    }
    return result;
  };
  const MbPath path = PathOf(component);
  store->SetWriteComponentPath(&path);
  ForEveryVersion([&](const StreamVersions& versions, const StreamForm& form) {
    MemoryWriter out(versions);
    store->WriteMetaObjectsLinks(out);
    const StreamBytes expected = StreamBytes(form).Section(inComponent(LinksOf(*store, LinkSet::Unique)),
                                                           inComponent(LinksOf(*store, LinkSet::Validated)));
    RC_ASSERT(out.Bytes() == expected.Bytes());
  });
  store->SetWriteComponentPath(nullptr);
}

// Links in any order, with pairs that repeat, as no store would write them.
RC_GTEST_PROP(LinkSet, ReadsToItsLinksInKeyOrderWithoutThosePairsThatCameBefore, ()) {
  const StreamLinks links = *AnyLinks();
  ValidatedLinks expected;
  for (const StreamLink& link : links) {
    expected.insert(RecordOf(link));
  }
  const StreamBytes bytes = StreamBytes().Links(links);
  MemoryReader in(bytes.Bytes());
  ValidatedLinks read;
  ReadLinkSet(in, read);
  RC_ASSERT(LinksOf(read) == LinksOf(expected));
  RC_ASSERT(LinksOf(read.get<byGeometry>()) == LinksOf(expected.get<byGeometry>()));
  RC_ASSERT(in.good());
}

}  // namespace
