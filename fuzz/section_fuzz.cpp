// Any bytes as a links section, under any versions. Through a plain reader they become what an independent decoder
// makes of them; through the host's load, one error with the byte where it is, or the same links. What was read comes
// back from writing and reading again.

#include <array>
#include <memory>
#include <optional>

#include <qProdData3D/CreateProductGeometryObjects3D.h>
#include <qProdData3D/ReadMetaObjectsLinks.h>
#include <qSys/MemoryStreams.h>

#include "fuzz/Fuzz.h"
#include "host/HostError.h"
#include "host/storage/LinksSection.h"
#include "tests/support/LinksCodec.h"
#include "tests/support/LinksCodecStore.h"

namespace {

// Both sides of every version that changes something.
constexpr std::array<std::uint32_t, 14> c_appVersions = {0x17000002, 0x17000001, 0x15000003, 0x15000002, 0x15000000,
                                                         0x14FFFFFF, 0x1400001C, 0x1400001B, 0x12000026, 0x12000025,
                                                         0x12000005, 0x12000004, 0xFFFFFFFF, 0};
constexpr std::array<std::uint32_t, 8> c_mathVersions = {0x0F001001, 0x0F001000, 0x0F000FFF, 0x0F000000,
                                                         0x0EFFFFFF, 0x04000000, 0x03FFFFFF, 0};

// Where a section announces more than these, a plain reader works as long as the section says.
constexpr codec::Limits c_bounded{.records = 65'535, .elements = 1 << 20};

bool AcceptAny(const ProductGeometryObject3D&) {
  return true;
}

void ComparePlainReading(const codec::Bytes& bytes, const codec::Versions& versions) {
  const codec::Decoded decoded = codec::DecodeSection(bytes, versions, c_bounded);
  if (decoded.end != codec::Decoded::End::whole) {
    return;
  }
  codec::LinkSets expected;
  codec::Merge(decoded, expected, nullptr);
  const auto store = CreateProductGeometryObjects3D(AcceptAny);
  MemoryReader in(bytes, ToLibrary(versions));
  ReadMetaObjectsLinks(in, *store, nullptr);
  Require(in.State() == decoded.faults, "other faults on the stream");
  Require(in.Position() == decoded.consumed, "another number of bytes read");
  RequireNothing(DifferenceOf(*store, expected));
}

void CompareHostReading(const codec::Bytes& bytes, const codec::Versions& versions) {
  std::unique_ptr<IProductGeometryObjects3D> links;
  try {
    links = host::ReadLinks({ToLibrary(versions), bytes}, nullptr);
  } catch (const host::DocumentError& error) {
    Require(std::string_view(error.what()).find("at byte ") != std::string_view::npos, "an error without its place");
    return;
  }
  const codec::Decoded decoded = codec::DecodeSection(bytes, versions);
  Require(decoded.end == codec::Decoded::End::whole && decoded.faults == 0 && decoded.consumed == bytes.size(),
          "a damaged section was loaded");
  codec::LinkSets expected;
  codec::Merge(decoded, expected, nullptr);
  RequireNothing(DifferenceOf(*links, expected));

  const host::Stream written = host::WriteLinks(*links, ToLibrary(versions));
  const auto again = host::ReadLinks(written, nullptr);
  Require(host::WriteLinks(*again, written.versions).bytes == written.bytes, "another section after a second reading");
}

}  // namespace

extern "C" int LLVMFuzzerTestOneInput(const std::uint8_t* data, std::size_t size) {
  if (size < 2) {
    return 0;
  }
  const codec::Versions versions{c_appVersions[data[0] % c_appVersions.size()],
                                 c_mathVersions[data[1] % c_mathVersions.size()]};
  const auto* first = reinterpret_cast<const std::byte*>(data);
  const codec::Bytes bytes(first + 2, first + size);
  ComparePlainReading(bytes, versions);
  CompareHostReading(bytes, versions);
  return 0;
}
