#include <memory>
#include <stdexcept>
#include <string>

#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <qProdData3D/meta_3d.h>

#include "tests/support/Links.h"
#include "tests/support/ProductDataMocks.h"
#include "tests/support/StreamMocks.h"

namespace {

using testing::InSequence;
using testing::Return;
using testing::StrictMock;
using testing::Test;
using testing::Throw;

const UniqueMetaObjectKey c_embodiment = Key("embodiment");
const MbPath c_path{3, 2, 1};
const std::wstring c_markingName = L"marking";

class MarkingFromProdData : public Test {
 protected:
  StrictMock<MockMetaProductData> productData;
  StrictMock<MockEmbodimentsSource> embodiments;

  VariantMarking Ask() { return meta_3d::GetMarkingFromProdData(productData, EmbodimentsTree(embodiments), c_path); }

  void ExpectProperty(const PropValueRef& property) {
    const InSequence order;
    EXPECT_CALL(embodiments, FindEmbodiment(c_path)).WillOnce(Return(c_embodiment));
    EXPECT_CALL(productData, GetPropertyRef(c_embodiment, c_markingName)).WillOnce(Return(property));
  }
};

}  // namespace

TEST_F(MarkingFromProdData, IsMadeOfThePartsOfTheMarkingPropertyOfTheEmbodimentOfThePath) {
  const auto tree = std::make_shared<PropertyTree>();
  tree->push_back({L"base", PropertyTree(SimplePropVal(std::wstring(L"QD.01")))});
  tree->push_back({L"embodimentNumber", PropertyTree(SimplePropVal(std::wstring(L"02")))});
  tree->push_back({L"additionalNumber", PropertyTree(SimplePropVal(3))});
  tree->push_back({L"documentNumber", PropertyTree(SimplePropVal(std::wstring(L"AD")))});
  ExpectProperty(PropValueRef(tree));
  EXPECT_EQ(Ask(), (VariantMarking{L"QD.01", L"02", L"3", L"AD"}));
}

TEST_F(MarkingFromProdData, IsMadeOfAPlainValue) {
  const SimplePropVal plain(std::wstring(L"QD.02"));
  ExpectProperty(PropValueRef(plain));
  EXPECT_EQ(Ask(), (VariantMarking{L"QD.02", L"", L"", L""}));
}

TEST_F(MarkingFromProdData, IsTheDefaultOneWhereThereIsNoProperty) {
  ExpectProperty(PropValueRef());
  EXPECT_EQ(Ask(), VariantMarking());
}

TEST_F(MarkingFromProdData, AsksForTheNullKeyAsForAnyOtherWhereThePathSelectsNoEmbodiment) {
  const SimplePropVal plain(std::wstring(L"none"));
  const InSequence order;
  EXPECT_CALL(embodiments, FindEmbodiment(c_path)).WillOnce(Return(UniqueMetaObjectKey::null));
  EXPECT_CALL(productData, GetPropertyRef(UniqueMetaObjectKey::null, c_markingName))
      .WillOnce(Return(PropValueRef(plain)));
  EXPECT_EQ(Ask(), (VariantMarking{L"none", L"", L"", L""}));
}

TEST_F(MarkingFromProdData, PassesTheExceptionOfTheTreeAndAsksNothingMore) {
  EXPECT_CALL(embodiments, FindEmbodiment).WillOnce(Throw(std::runtime_error("gone")));
  EXPECT_THROW(Ask(), std::runtime_error);
}

TEST_F(MarkingFromProdData, PassesTheExceptionOfTheProductData) {
  EXPECT_CALL(embodiments, FindEmbodiment).WillOnce(Return(c_embodiment));
  EXPECT_CALL(productData, GetPropertyRef).WillOnce(Throw(std::runtime_error("gone")));
  EXPECT_THROW(Ask(), std::runtime_error);
}
