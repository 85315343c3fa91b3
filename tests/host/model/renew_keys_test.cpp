// Fresh keys everywhere, and everything else as before.

#include "host/model/RenewKeys.h"

#include <map>
#include <set>
#include <string>
#include <tuple>
#include <utility>
#include <vector>

#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include "host/model/Bill.h"
#include "host/model/Embodiments.h"
#include "host/model/Findings.h"
#include "tests/host/model/TestModel.h"
#include "tests/support/StreamLink.h"

using testing::IsEmpty;

namespace {

using host::Document;
using host::MetaObject;

// All that a document has under keys, as it was before they were renewed.
struct Before {
  explicit Before(const Document& document)
      : root(document.productData.RootProduct()),
        objects(document.productData.All()),
        groups(document.productData.AllGroups()),
        components(document.components),
        unique(LinksOf(*document.links, LinkSet::Unique)),
        validated(LinksOf(*document.links, LinkSet::Validated)) {}

  UniqueMetaObjectKey root;
  host::ProductData::MetaObjects objects;
  host::ProductData::Groups groups;
  Document::Components components;
  StreamLinks unique;
  StreamLinks validated;
};

// The old key of each new one. Each occurrence is told by its component, all others by what they are to each other.
class Bijection {
 public:
  void Add(const UniqueMetaObjectKey& oldKey, const UniqueMetaObjectKey& newKey) {
    const auto [old, isNew] = oldKeys.emplace(newKey, oldKey);
    EXPECT_EQ(old->second, oldKey) << "one new key for two old ones";
    const auto [fresh, isOldNew] = newKeys.emplace(oldKey, newKey);
    EXPECT_EQ(fresh->second, newKey) << "two new keys for one old one";
  }

  void AddRelated(const MetaObject& old, const MetaObject& renewed) {
    Add(old.product, renewed.product);
    Add(old.holder, renewed.holder);
    Add(old.embodiment, renewed.embodiment);
    Add(old.groupObject, renewed.groupObject);
  }

  UniqueMetaObjectKey OldOf(const UniqueMetaObjectKey& newKey) const {
    const auto found = oldKeys.find(newKey);
    return found == oldKeys.end() ? Key("(unknown) " + std::string(newKey.Bytes())) : found->second;
  }

  const std::map<UniqueMetaObjectKey, UniqueMetaObjectKey>& All() const { return oldKeys; }

 private:
  std::map<UniqueMetaObjectKey, UniqueMetaObjectKey> oldKeys;
  std::map<UniqueMetaObjectKey, UniqueMetaObjectKey> newKeys;
};

class RenewKeys : public testing::Test {
 protected:
  // Follows keys from the components to their occurrences and on to products, lines and embodiments; what no
  // component leads to is told by the name in its properties.
  Bijection Pair(const Before& before) {
    Bijection pairs;
    pairs.Add(before.root, model.Data().RootProduct());
    for (const auto& [path, component] : model.document.components) {
      pairs.Add(before.components.at(path).occurrence, component.occurrence);
    }
    std::map<std::string, UniqueMetaObjectKey> named;
    for (const auto& [key, object] : before.objects) {
      if (object.properties.contains(c_variantName)) {
        named.emplace(host::ValueText(object.properties.at(c_variantName)), key);
      }
    }
    for (const auto& [key, object] : model.Data().All()) {
      if (object.properties.contains(c_variantName)) {
        pairs.Add(named.at(host::ValueText(object.properties.at(c_variantName))), key);
      }
    }
    for (int round = 0; round < 3; ++round) {
      const std::map<UniqueMetaObjectKey, UniqueMetaObjectKey> known = pairs.All();
      for (const auto& [newKey, oldKey] : known) {
        const MetaObject* renewed = model.Data().Find(newKey);
        const auto old = before.objects.find(oldKey);
        if (renewed != nullptr && old != before.objects.end()) {
          pairs.AddRelated(old->second, *renewed);
        }
      }
    }
    return pairs;
  }

  Before Renew() {
    Before before(model.document);
    host::RenewKeys(model.document);
    return before;
  }

  // The links under the old keys, in their order.
  StreamLinks OldLinks(LinkSet set, const Bijection& pairs) {
    StreamLinks links = LinksOf(*model.document.links, set);
    for (StreamLink& link : links) {
      link.key = std::string(pairs.OldOf(Key(link.key)).Bytes());
    }
    return Sorted(std::move(links));
  }
  static StreamLinks Sorted(StreamLinks links) {
    const auto order = [](const StreamLink& link) {
      return std::tie(link.key, link.type, link.componentPath, link.secondPath, link.name);
    };
    std::sort(links.begin(), links.end(),
              [&](const StreamLink& left, const StreamLink& right) { return order(left) < order(right); });
    return links;
  }

  // Every key that stands anywhere in the document.
  std::set<UniqueMetaObjectKey> KeysInAllPlaces() {
    std::set<UniqueMetaObjectKey> keys{model.Data().RootProduct()};
    for (const auto& [key, object] : model.Data().All()) {
      keys.insert({key, object.product, object.holder, object.embodiment, object.groupObject});
      for (const UniqueMetaObjectKey& embodiment : model.Data().FindEmbodiments(key)) {
        keys.insert(embodiment);
      }
    }
    for (const auto& [embodiment, group] : model.Data().AllGroups()) {
      keys.insert(embodiment);
      keys.insert(group.members.begin(), group.members.end());
      for (const auto& [line, count] : group.lines) {
        keys.insert(line);
      }
      for (const auto& [object, values] : group.values) {
        keys.insert(object);
      }
    }
    for (const auto& [path, component] : model.document.components) {
      keys.insert(component.occurrence);
    }
    for (const LinkSet set : {LinkSet::Unique, LinkSet::Validated}) {
      for (const StreamLink& link : LinksOf(*model.document.links, set)) {
        keys.insert(Key(link.key));
      }
    }
    return keys;
  }

  TestModel model;
};

TEST_F(RenewKeys, GivesEveryMetaObjectAFreshKey) {
  host::AddEmbodiment(model.document, "small", "01", {model.OccurrenceAt("3")});
  const Before before = Renew();
  EXPECT_EQ(model.Data().All().size(), before.objects.size());
  for (const auto& [key, object] : model.Data().All()) {
    EXPECT_FALSE(before.objects.contains(key));
    EXPECT_EQ(key.Bytes().size(), UniqueMetaObjectKey::c_generatedLength);
  }
}

TEST_F(RenewKeys, LeavesOldKeysInNoPlaceAtAll) {
  host::AddEmbodiment(model.document, "small", "01", {model.OccurrenceAt("3")});
  std::set<UniqueMetaObjectKey> old = KeysInAllPlaces();
  old.erase(UniqueMetaObjectKey::null);
  Renew();
  for (const UniqueMetaObjectKey& key : KeysInAllPlaces()) {
    EXPECT_FALSE(old.contains(key)) << key.Bytes();
  }
}

TEST_F(RenewKeys, LeavesNoOldKeyOfObjectsThatAreGone) {
  model.ComponentAt("3").occurrence = Key("gone occurrence");
  model.ObjectAt("2").product = Key("gone product");
  model.Data().AddToGroup(model.Base("M"), Key("gone member"));
  model.Data().SetGroupValue(Key("gone embodiment"), Key("gone line"), c_position, SimplePropVal(5));
  model.document.links->AddLink(Key("gone linked"), model.BodyAt("3"), LinkSet::Both);
  Renew();
  for (const UniqueMetaObjectKey& key : KeysInAllPlaces()) {
    EXPECT_FALSE(key.Bytes().starts_with("gone")) << key.Bytes();
  }
}

TEST_F(RenewKeys, LeavesEveryObjectAndWhatItIsToOthersAsBefore) {
  host::AddEmbodiment(model.document, "small", "01", {model.OccurrenceAt("3")});
  model.MakeStock(model.Line("M", "P"), host::BilletKind::associative);
  model.SetAttributes(model.Line("F", "B"), c_excluded);
  const Before before = Renew();
  const Bijection pairs = Pair(before);
  // The null key and every object.
  EXPECT_EQ(pairs.All().size(), before.objects.size() + 1);
  for (const auto& [key, renewed] : model.Data().All()) {
    MetaObject object = renewed;
    object.product = pairs.OldOf(object.product);
    object.holder = pairs.OldOf(object.holder);
    object.embodiment = pairs.OldOf(object.embodiment);
    object.groupObject = pairs.OldOf(object.groupObject);
    ASSERT_TRUE(before.objects.contains(pairs.OldOf(key)));
    EXPECT_EQ(object, before.objects.at(pairs.OldOf(key)));
  }
}

TEST_F(RenewKeys, LeavesGroupsAndTheirValuesAsBefore) {
  host::AddEmbodiment(model.document, "small", "01", {model.OccurrenceAt("3")});
  host::SetPosition(model.Data(), model.Base("F"), model.Line("F", "B"), 40, true);
  const Before before = Renew();
  const Bijection pairs = Pair(before);
  host::ProductData::Groups groups;
  for (const auto& [embodiment, renewed] : model.Data().AllGroups()) {
    host::ProductData::Group& group = groups[pairs.OldOf(embodiment)];
    for (const UniqueMetaObjectKey& member : renewed.members) {
      group.members.insert(pairs.OldOf(member));
    }
    for (const auto& [line, count] : renewed.lines) {
      group.lines.emplace(pairs.OldOf(line), count);
    }
    for (const auto& [object, values] : renewed.values) {
      group.values.emplace(pairs.OldOf(object), values);
    }
  }
  EXPECT_EQ(groups, before.groups);
}

TEST_F(RenewKeys, LeavesEveryLinkAsBefore) {
  const Before before = Renew();
  const Bijection pairs = Pair(before);
  ASSERT_EQ(before.unique.size(), 12u);
  EXPECT_EQ(OldLinks(LinkSet::Unique, pairs), Sorted(before.unique));
  EXPECT_EQ(OldLinks(LinkSet::Validated, pairs), Sorted(before.validated));
}

TEST_F(RenewKeys, RenewsEveryLinkOfAKeyThatHasManyInTheValidatedSet) {
  const std::vector<GeometryObject3D> linked =
      model.document.links->GetGeometryObjects(model.Line("F", "B"), LinkSet::Validated);
  ASSERT_EQ(linked.size(), 6u);
  Renew();
  EXPECT_EQ(model.document.links->GetGeometryObjects(model.Line("F", "B"), LinkSet::Validated).size(), 6u);
}

TEST_F(RenewKeys, GivesAKeyThatIsInBothSetsTheSameNewOneInBoth) {
  const GeometryObject3D bolt = model.GeometryAt("3");
  model.document.links->AddLink(model.OccurrenceAt("3"), bolt, LinkSet::Validated);
  Renew();
  EXPECT_TRUE(model.document.links->HasLink(model.OccurrenceAt("3"), bolt, LinkSet::Unique));
  EXPECT_TRUE(model.document.links->HasLink(model.OccurrenceAt("3"), bolt, LinkSet::Validated));
}

TEST_F(RenewKeys, RenewsEmbodimentsAndProductsWhichNoLinkHolds) {
  const UniqueMetaObjectKey base = model.Base("M");
  const UniqueMetaObjectKey variant = host::AddEmbodiment(model.document, "small", "01", {});
  const UniqueMetaObjectKey product = model.Product("B");
  Renew();
  for (const UniqueMetaObjectKey& key : {base, variant, product}) {
    EXPECT_FALSE(model.Data().HasMetaObject(key));
  }
  EXPECT_EQ(model.Data().EmbodimentsOf(model.Product("M")).size(), 2u);
  EXPECT_EQ(model.Data().EmbodimentsOf(model.Product("M")).front(), model.Data().RootEmbodiment());
}

TEST_F(RenewKeys, RenewsAKeyThatOnlyLinksHold) {
  model.document.links->AddLink(Key("nobody"), model.BodyAt("3"), LinkSet::Both);
  Renew();
  EXPECT_THAT(model.document.links->GetGeometryObjects(Key("nobody"), LinkSet::Validated), IsEmpty());
  const UniqueMetaObjectKey renewed = model.document.links->GetMetaObjectKey(model.BodyAt("3"), LinkSet::Unique);
  EXPECT_NE(renewed, Key("nobody"));
  EXPECT_TRUE(model.document.links->HasLink(renewed, model.BodyAt("3"), LinkSet::Validated));
}

TEST_F(RenewKeys, LeavesBillsAndFindingsAsBefore) {
  host::SetPosition(model.Data(), model.Base("M"), model.Line("M", "B"), 40, true);
  Renew();
  EXPECT_EQ(host::StoredPosition(model.Data(), model.Base("M"), model.Line("M", "B")), 40);
  EXPECT_TRUE(host::IsSetByHand(model.Data(), model.Base("M"), model.Line("M", "B")));
  EXPECT_EQ(model.Data().Find(model.Base("M"))->lastPosition, 40);
  EXPECT_THAT(host::FindFaults(model.document, model.Base("M")), IsEmpty());
  for (const host::Bill& bill : host::MakeBills(model.document, model.Base("M"))) {
    for (const host::BillLine& line : bill.lines) {
      EXPECT_FALSE(line.position.IsEmpty());
      EXPECT_THAT(line.disagreeing, IsEmpty());
    }
  }
}

TEST_F(RenewKeys, LeavesComponentsAndBodiesWhereTheyAre) {
  const Before before = Renew();
  ASSERT_EQ(model.document.components.size(), before.components.size());
  for (const auto& [path, component] : model.document.components) {
    EXPECT_EQ(component.objectType, before.components.at(path).objectType);
    EXPECT_EQ(component.nextElement, before.components.at(path).nextElement);
  }
}

TEST_F(RenewKeys, LeavesTheNullKeyWhichNamesNothing) {
  model.document.links->AddLink(UniqueMetaObjectKey::null, model.BodyAt("3"), LinkSet::Both);
  model.document.links->AddLink(UniqueMetaObjectKey::null, model.BodyAt("2"), LinkSet::Validated);
  model.Data().Insert(UniqueMetaObjectKey::null, {});
  Renew();
  for (const char* path : {"1", "2", "3", "4"}) {
    EXPECT_EQ(model.ObjectAt(path).holder, UniqueMetaObjectKey::null) << path;
  }
  EXPECT_EQ(model.ObjectAt("3").embodiment, UniqueMetaObjectKey::null);
  EXPECT_TRUE(model.Data().HasMetaObject(UniqueMetaObjectKey::null));
  EXPECT_TRUE(model.document.links->HasLink(UniqueMetaObjectKey::null, model.BodyAt("3"), LinkSet::Unique));
  EXPECT_EQ(model.document.links->GetGeometryObjects(UniqueMetaObjectKey::null, LinkSet::Validated).size(), 2u);
}

TEST(RenewKeysOfAPart, GivesItAFreshKey) {
  TestModel part({{"B", "Bolt", {}, 1}});
  const UniqueMetaObjectKey before = part.Data().RootProduct();
  host::RenewKeys(part.document);
  EXPECT_NE(part.Data().RootProduct(), before);
  EXPECT_EQ(part.Data().RootProduct(), part.Product("B"));
}

}  // namespace
