#include "host/storage/LinksSection.h"

#include <fmt/format.h>

#include <qProdData3D/CreateProductGeometryObjects3D.h>
#include <qProdData3D/LinkStreamVersions.h>
#include <qProdData3D/ReadMetaObjectsLinks.h>
#include <qSys/MemoryStreams.h>

#include "host/HostError.h"
#include "host/model/TextForms.h"
#include "host/storage/SectionWalker.h"
#include "host/storage/StrictReader.h"

namespace host {

namespace {

[[noreturn]] void FailDamaged(const SectionFault& fault) {
  throw DocumentError(
      fmt::format("the links section is damaged {}; 'qlinks dump' shows it up to there", FaultText(fault)));
}

}  // namespace

std::unique_ptr<IProductGeometryObjects3D> ReadLinks(const Stream& section, const IfMetaProductData* metaData,
                                                     std::uint64_t* dropped, ProgressStage* progress) {
  std::uint64_t records = 0;
  if (const auto fault = WalkSection(section.bytes, section.versions, {}, &records)) {
    FailDamaged(*fault);
  }
  auto links = CreateProductGeometryObjects3D(AcceptAnyLink);
  StrictReader in(section.bytes, section.versions, progress);
  try {
    ReadMetaObjectsLinks(in, *links, metaData);
  } catch (const StrictReadFailed& failed) {
    FailDamaged(failed.fault);
  }
  if (dropped != nullptr) {
    // Versions with one set count each of its records as a validated link too; those are not of the section.
    const bool hasBothSets = link_stream::HasValidatedLinks(section.versions.appVersion);
    *dropped =
        records - CountLinks(*links, LinkSet::Unique) - (hasBothSets ? CountLinks(*links, LinkSet::Validated) : 0);
  }
  return links;
}

std::uint64_t CountLinks(const IProductGeometryObjects3D& links, LinkSet set) {
  std::uint64_t count = 0;
  links.ForEachLink([&count](const ProductGeometryObject3D&) { ++count; }, set);
  return count;
}

Stream WriteLinks(const IProductGeometryObjects3D& links, const StreamVersions& versions) {
  MemoryWriter out(versions);
  links.WriteMetaObjectsLinks(out);
  if (!out.good()) {
    throw DocumentError(fmt::format("the links cannot be written under application version {} and math version {}",
                                    VersionText(versions.appVersion), VersionText(versions.mathVersion)));
  }
  return Stream{versions, out.TakeBytes()};
}

}  // namespace host
