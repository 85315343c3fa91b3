#pragma once

#include <limits>
#include <string>

#include <gtest/gtest.h>

#include "host/model/Document.h"
#include "host/model/TextForms.h"
#include "tests/support/PlatformPrinting.h"
#include "tests/support/StreamLink.h"
#include "vocabulary/PropertyNames.h"

inline UniqueMetaObjectKey KeyOf(const std::string& bytes) {
  return UniqueMetaObjectKey(bytes);
}

/// With zero bytes and bytes that are no text.
inline const std::string c_oddKey("\0o\xFF\0", 4);

/// A document that has something in every field: an assembly "1" of two parts, with bodies, every kind of property,
/// keys of any bytes, links in both sets, and streams of strangers.
struct SampleDocument : host::Document {
  SampleDocument();
};

inline SampleDocument::SampleDocument() {
  using host::MetaObject;
  using host::MetaObjectType;
  host::ProductData& data = productData;
  data.SetRootProduct(KeyOf("root"));
  data.Insert(KeyOf("root"), {MetaObjectType::assemblyProduct, {}, {}, {}, {}});
  data.Insert(KeyOf("variant"), {MetaObjectType::embodiment, KeyOf("root"), {}, {}, {}});
  data.Insert(KeyOf("sub"), {MetaObjectType::assemblyOccurrence, KeyOf("root"), {}, KeyOf("variant"), {}});
  data.Insert(KeyOf(c_oddKey),
              {MetaObjectType::partOccurrence, KeyOf("3f2504e0-4f89-11d3-9a0c-0305e82c3301"), KeyOf("sub"), {}, {}});
  data.Insert(KeyOf("3f2504e0-4f89-11d3-9a0c-0305e82c3301"), {MetaObjectType::partProduct, {}, {}, {}, {}});
  data.Insert(KeyOf("line"), {MetaObjectType::groupObject, KeyOf("root"), KeyOf("root"), {}, {}});
  data.Insert(KeyOf("stock"), {MetaObjectType::billet, {}, {}, {}, {}});
  data.Insert(KeyOf(""), {MetaObjectType::unknown, {}, {}, {}, {}});

  using Unit = SimplePropVal::UnitId;
  host::Properties& properties = data.Find(KeyOf(c_oddKey))->properties;
  properties[c_marking] = SimplePropVal(std::wstring(L"Größe €\U0001F529"));
  properties[L"empty"] = SimplePropVal({}, Unit::degree);
  properties[L"emptyText"] = SimplePropVal(std::wstring());
  properties[L"zeroInText"] = SimplePropVal(std::wstring(L"a\0b", 3));
  properties[std::wstring(L"zero\0InName", 11)] = SimplePropVal(std::wstring(L"x"));
  properties[L""] = SimplePropVal(std::wstring(L"without a name"));
  properties[L"yes"] = SimplePropVal(true);
  properties[L"no"] = SimplePropVal(false);
  properties[L"least"] = SimplePropVal(std::numeric_limits<int>::min());
  properties[L"most"] = SimplePropVal(std::numeric_limits<int>::max());
  properties[L"tenth"] = SimplePropVal(0.1, Unit::kilogramPerCubicMetre);
  properties[L"whole"] = SimplePropVal(3.0, Unit::millimetre);
  properties[L"tiny"] = SimplePropVal(std::numeric_limits<double>::denorm_min());
  properties[L"huge"] = SimplePropVal(-std::numeric_limits<double>::max());
  properties[L"infinite"] = SimplePropVal(std::numeric_limits<double>::infinity());
  properties[L"early"] = SimplePropVal(SimplePropVal::DateTime(std::chrono::seconds(-62135596800)));
  properties[L"late"] = SimplePropVal(SimplePropVal::DateTime(std::chrono::seconds(253402300799)));
  data.Find(KeyOf("root"))->properties[c_marking] = SimplePropVal(std::wstring(L"QD.00"));

  // An object has its line before it becomes a member of a group, which counts by lines.
  data.Find(KeyOf("sub"))->groupObject = KeyOf("line");
  for (const auto& member : {KeyOf("sub"), KeyOf(c_oddKey), KeyOf("nobody")}) {
    data.AddToGroup(KeyOf("variant"), member);
  }
  data.AddToGroup(KeyOf(c_oddKey), KeyOf(""));
  data.SetGroupValue(KeyOf("variant"), KeyOf("line"), c_position, SimplePropVal(7));
  data.SetGroupValue(KeyOf("variant"), KeyOf("line"), L"text", SimplePropVal(std::wstring(L"Größe")));
  data.Find(KeyOf("variant"))->lastPosition = 9;
  data.Find(KeyOf("stock"))->billet = host::BilletKind::associative;
  data.Find(KeyOf("line"))->part =
      AttributedPart{{.includeFlag = true, .excludeFlag = true, .embodimentBoundFlag = 0xFFFFFFFF}};

  const host::Placement turned{0, -1, 0, 1.5, 1, 0, 0, -2.25, 0, 0, -1, 1e300};
  components[ComponentPath{1}] = {200, KeyOf("sub"), "Sub", "use-1", turned, 300};
  components[ComponentPath{2, 1}] = {104, KeyOf(c_oddKey), std::string("n\0m\xFF", 4), "", turned, 1};
  components[ComponentPath{0xFFFFFFFF, 1}] = {104, KeyOf("nobody"), "", "", {}, 0xFFFFFFFF};
  components[ComponentPath{10, 1}] = {104, KeyOf("10"), "after 2", "", {}, 1};
  nextRootElement = 0xFFFFFFFE;

  bodies[ComponentPath()] = {{1, MbName("body-1"), "own", "id"}};
  bodies[ComponentPath{2, 1}] = {{2, MbName("z"), "Skin", ""},
                                 {1, MbName(std::string("a\0\xFF", 3)), std::string("d\0d", 3), "x"},
                                 {0xFFFFFFFF, MbName("m"), "", ""}};

  AddLinksTo(*links, {{"sub", 200, {1}, {}, ""}, {c_oddKey, 104, {2, 1}, {7, 8}, ""}}, LinkSet::Unique);
  AddLinksTo(*links, {{"line", 2, {2, 1}, {}, "z"}, {"line", 1, {2, 1}, {}, "a"}, {c_oddKey, 2, {2, 1}, {5}, "z"}},
             LinkSet::Validated);
  linksVersions = {0x17000001, 0x0EFFFFFF};

  otherStreams["drawing"] = {{0x12345678, 0x9ABCDEF0}, {std::byte{0}, std::byte{0xFF}, std::byte{'\n'}}};
  otherStreams["empty"] = {{0, 0xFFFFFFFF}, {}};
  otherStreams[std::string("with\0zero", 9)] = {{1, 2}, std::vector<std::byte>(100'000, std::byte{0xA5})};
}

inline void ExpectSame(const host::Document& left, const host::Document& right) {
  EXPECT_EQ(left.productData.RootProduct(), right.productData.RootProduct());
  EXPECT_TRUE(left.productData.AllGroups() == right.productData.AllGroups());
  ASSERT_EQ(left.productData.All().size(), right.productData.All().size());
  for (const auto& [key, object] : left.productData.All()) {
    const host::MetaObject* other = right.productData.Find(key);
    ASSERT_NE(other, nullptr) << host::KeyText(key);
    EXPECT_TRUE(object == *other) << host::KeyText(key);
  }

  EXPECT_EQ(left.nextRootElement, right.nextRootElement);
  ASSERT_EQ(left.components.size(), right.components.size());
  for (const auto& [path, component] : left.components) {
    ASSERT_TRUE(right.components.contains(path)) << host::PathText(path);
    const host::Component& other = right.components.at(path);
    EXPECT_EQ(component.objectType, other.objectType);
    EXPECT_EQ(component.occurrence, other.occurrence);
    EXPECT_EQ(component.displayName, other.displayName);
    EXPECT_EQ(component.fileId, other.fileId);
    EXPECT_EQ(component.placement, other.placement);
    EXPECT_EQ(component.nextElement, other.nextElement);
  }
  ASSERT_EQ(left.bodies.size(), right.bodies.size());
  for (const auto& [path, bodies] : left.bodies) {
    ASSERT_TRUE(right.bodies.contains(path)) << host::PathText(path);
    const auto& others = right.bodies.at(path);
    ASSERT_EQ(bodies.size(), others.size());
    for (std::size_t i = 0; i < bodies.size(); ++i) {
      EXPECT_EQ(bodies[i].objectType, others[i].objectType);
      EXPECT_EQ(bodies[i].objectName, others[i].objectName);
      EXPECT_EQ(bodies[i].displayName, others[i].displayName);
      EXPECT_EQ(bodies[i].fileId, others[i].fileId);
    }
  }

  EXPECT_EQ(left.linksVersions, right.linksVersions);
  for (const LinkSet set : {LinkSet::Unique, LinkSet::Validated}) {
    EXPECT_EQ(LinksOf(*left.links, set), LinksOf(*right.links, set));
  }
  ASSERT_EQ(left.otherStreams.size(), right.otherStreams.size());
  for (const auto& [name, stream] : left.otherStreams) {
    ASSERT_TRUE(right.otherStreams.contains(name)) << name;
    EXPECT_EQ(stream.versions, right.otherStreams.at(name).versions) << name;
    EXPECT_TRUE(stream.bytes == right.otherStreams.at(name).bytes) << name;
  }
}
