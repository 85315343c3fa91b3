// Any bytes as a links section, under any versions. Through a plain reader they become what an independent decoder
// makes of them; through a strict reader and through the host's load the same, or one error with the byte where it is,
// exactly where that decoder meets a fault. What was read comes back from writing and reading again.

#include <array>
#include <memory>
#include <string_view>

#include <qProdData3D/CreateProductGeometryObjects3D.h>
#include <qProdData3D/ReadMetaObjectsLinks.h>
#include <qSys/MemoryStreams.h>

#include "fuzz/Fuzz.h"
#include "host/HostError.h"
#include "host/storage/LinksSection.h"
#include "host/storage/StrictReader.h"
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

// A reading that ends at the first fault needs no limit of records.
codec::Decoded DecodeStrictly(const codec::Bytes& bytes, const codec::Versions& versions) {
  return codec::DecodeSection(bytes, versions, {.elements = c_bounded.elements, .endsAtFault = true});
}

void CompareStrictReading(const codec::Bytes& bytes, const codec::Versions& versions, const codec::Decoded& decoded) {
  if (decoded.end == codec::Decoded::End::outOfMemory) {
    return;  // It would ask for as much memory as a path's count says.
  }
  const auto store = CreateProductGeometryObjects3D(AcceptAny);
  host::StrictReader in(bytes, ToLibrary(versions));
  codec::LinkSets expected;
  try {
    ReadMetaObjectsLinks(in, *store, nullptr);
    Require(decoded.end == codec::Decoded::End::whole && decoded.faults == 0, "a damaged section was read");
    Require(in.Position() == decoded.consumed, "another number of bytes read strictly");
    codec::Merge(decoded, expected, nullptr);
  } catch (const host::StrictReadFailed&) {
    Require(decoded.end != codec::Decoded::End::whole, "a sound section was not read");
  }
  RequireNothing(DifferenceOf(*store, expected));
}

void CompareHostReading(const codec::Bytes& bytes, const codec::Versions& versions, const codec::Decoded& decoded) {
  const bool isSound =
      decoded.end == codec::Decoded::End::whole && decoded.faults == 0 && decoded.consumed == bytes.size();
  std::unique_ptr<IProductGeometryObjects3D> links;
  try {
    links = host::ReadLinks({ToLibrary(versions), bytes}, nullptr);
  } catch (const host::DocumentError& error) {
    const std::string_view text = error.what();
    Require(!isSound, "a sound section was refused");
    Require(text.find("at byte ") != std::string_view::npos, "an error without its place");
    Require(text.find('\n') == std::string_view::npos, "an error of several lines");
    return;
  }
  Require(isSound, "a damaged section was loaded");
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
  const codec::Decoded decoded = DecodeStrictly(bytes, versions);
  CompareStrictReading(bytes, versions, decoded);
  CompareHostReading(bytes, versions, decoded);
  return 0;
}
