#include <cstddef>
#include <string>
#include <vector>

#include <gtest/gtest.h>

#include <q3DCore/GeometryObject3D.h>
#include <qProdData/UniqueMetaObjectKey.h>
#include <qSys/MemoryStreams.h>

#include "tests/support/AllocationCounter.h"

TEST(AKey, OfTheGeneratedLengthLivesInsideTheObject) {
  EXPECT_EQ(AllocationsOf([] {
              const UniqueMetaObjectKey key = UniqueMetaObjectKey::Generate();
              const UniqueMetaObjectKey copy = key;
              UniqueMetaObjectKey assigned;
              assigned = copy;
            }),
            0U);
}

TEST(AName, OfUpToFifteenBytesLivesInsideTheObject) {
  const MbName name(std::string(15, 'n'));
  EXPECT_EQ(AllocationsOf([&] {
              const MbName copy = name;
              MbName assigned;
              assigned = copy;
            }),
            0U);
}

TEST(AGeometryObject, OfOrdinarySizeIsCopiedWithoutMemory) {
  const GeometryObject3D object(GeometryObject3D::c_solid, {1, 2, 3, 4, 5, 6}, {1, 2, 3, 4, 5, 6},
                                MbName(std::string(15, 'n')));
  EXPECT_EQ(AllocationsOf([&] {
              GeometryObject3D copy = object;
              copy = object;
            }),
            0U);
}

TEST(AByteString, AsksForMemoryByTheBytesThatComeNotByTheLengthClaimed) {
  std::vector<std::byte> hostile(4, std::byte{0xFF});
  hostile.resize(3000, std::byte{'x'});
  MemoryReader in(hostile);
  UniqueMetaObjectKey key;
  const AllocationCounter counter;
  in >> key;
  const std::size_t bytes = counter.Bytes();
  EXPECT_LT(bytes, 16U * 1024U);
  EXPECT_TRUE(key.IsEmpty());
}
