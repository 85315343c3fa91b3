// Finding what a person names.

#include "host/model/FindObject.h"

#include <optional>
#include <string>

#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include "host/HostError.h"
#include "host/model/Embodiments.h"
#include "tests/host/model/TestModel.h"

using testing::AllOf;
using testing::HasSubstr;
using testing::Not;

namespace {

// What the call refuses with; empty where it finds something.
template <class Call>
std::string RefusalOf(Call call) {
  try {
    call();
  } catch (const host::DocumentError& error) {
    return error.what();
  }
  return {};
}

std::vector<TestProduct> ProductsWithMarkings(const std::vector<std::string>& markings) {
  std::vector<TestProduct> products{{"M", "Machine", markings}};
  for (const std::string& marking : markings) {
    products.push_back({marking, "Part " + marking, {}, 1});
  }
  return products;
}

class Find : public testing::Test {
 protected:
  UniqueMetaObjectKey Line(const std::string& text, const std::optional<UniqueMetaObjectKey>& assembly = {}) {
    return host::FindLine(model.document, text, assembly);
  }
  UniqueMetaObjectKey OccurrenceOrLine(const std::string& text) {
    return host::FindOccurrenceOrLine(model.document, text);
  }
  UniqueMetaObjectKey RootOccurrence(const std::string& text) { return host::FindRootOccurrence(model.document, text); }
  UniqueMetaObjectKey Embodiment(const std::string& text) { return host::FindEmbodiment(model.document, text); }

  TestModel model;
};

using FindLine = Find;
using FindOccurrenceOrLine = Find;
using FindRootOccurrence = Find;
using FindComponent = Find;
using FindEmbodiment = Find;

// ---- lines

TEST_F(FindLine, ByTheMarkingTheNameOrBothOfItsProduct) {
  for (const char* text : {"F", "Frame", "F Frame"}) {
    EXPECT_EQ(Line(text), model.Line("M", "F")) << text;
  }
}

TEST_F(FindLine, ByItsKey) {
  EXPECT_EQ(Line(std::string(model.Line("F", "B").Bytes())), model.Line("F", "B"));
}

TEST_F(FindLine, ByAKeyOfAnyBytesAsItIsShown) {
  host::MetaObject line;
  line.type = host::MetaObjectType::groupObject;
  const UniqueMetaObjectKey odd(std::string("a\0\\", 3));
  model.Data().Insert(odd, line);
  EXPECT_EQ(Line("a\\x00\\x5C"), odd);
}

TEST_F(FindLine, AmongThoseOfOneAssembly) {
  EXPECT_EQ(Line("Bolt", model.Product("M")), model.Line("M", "B"));
  EXPECT_EQ(Line("Bolt", model.Product("F")), model.Line("F", "B"));
}

TEST_F(FindLine, IsRefusedWithTheCandidatesWhereThereAreSeveral) {
  EXPECT_THAT(RefusalOf([&] { Line("Bolt"); }),
              AllOf(HasSubstr("'Bolt' is ambiguous, 2 have the name"),
                    HasSubstr(std::string(model.Line("M", "B").Bytes()) + " in M Machine"),
                    HasSubstr(std::string(model.Line("F", "B").Bytes()) + " in F Frame"), HasSubstr("use a key"),
                    Not(HasSubstr("..."))));
}

TEST_F(FindLine, ListsFiveCandidatesAtMost) {
  std::vector<TestProduct> products{{"M", "Machine", {}}, {"B", "Bolt", {}, 1}};
  for (int i = 0; i < 6; ++i) {
    const std::string marking = "S" + std::to_string(i);
    products.front().uses.push_back(marking);
    products.push_back({marking, "Sub", {"B"}});
  }
  TestModel many(products);
  const std::string refusal = RefusalOf([&] { host::FindLine(many.document, "Bolt", std::nullopt); });
  EXPECT_THAT(refusal, AllOf(HasSubstr("6 have the name"), HasSubstr(", ...; use a key")));
  int listed = 0;
  for (int i = 0; i < 6; ++i) {
    listed += refusal.find(" in S" + std::to_string(i)) == std::string::npos ? 0 : 1;
  }
  EXPECT_EQ(listed, 5);
}

TEST_F(FindLine, IsRefusedWhereThereIsNone) {
  EXPECT_THAT(RefusalOf([&] { Line("Nut"); }),
              AllOf(HasSubstr("no line of a bill is called 'Nut'"), HasSubstr("qlinks positions")));
  EXPECT_NE(RefusalOf([&] { Line("Frame", model.Product("F")); }), "");
  EXPECT_NE(RefusalOf([&] { Line("Machine"); }), "");
  EXPECT_NE(RefusalOf([&] { Line(std::string(model.OccurrenceAt("3").Bytes())); }), "");
}

TEST_F(FindLine, ShowsWhatWasAskedForOnOneLine) {
  EXPECT_THAT(RefusalOf([&] { Line("a\nb"); }), HasSubstr("'a\\x0Ab'"));
}

// ---- occurrences and lines

TEST_F(FindOccurrenceOrLine, ByTheKeyOfAnOccurrence) {
  EXPECT_EQ(OccurrenceOrLine(std::string(model.OccurrenceAt("1/2").Bytes())), model.OccurrenceAt("1/2"));
}

TEST_F(FindOccurrenceOrLine, ByAKeyOfAnyBytesAsItIsShown) {
  host::MetaObject occurrence;
  occurrence.type = host::MetaObjectType::partOccurrence;
  const UniqueMetaObjectKey odd(std::string("o\0\\", 3));
  model.Data().Insert(odd, occurrence);
  EXPECT_EQ(OccurrenceOrLine("o\\x00\\x5C"), odd);
}

TEST_F(FindOccurrenceOrLine, ByTheComponentPathOfAnOccurrence) {
  EXPECT_EQ(OccurrenceOrLine("4/3"), model.OccurrenceAt("4/3"));
  EXPECT_EQ(OccurrenceOrLine("1"), model.OccurrenceAt("1"));
}

TEST_F(FindOccurrenceOrLine, ByWhatNamesALine) {
  EXPECT_EQ(OccurrenceOrLine("Frame"), model.Line("M", "F"));
  EXPECT_EQ(OccurrenceOrLine(std::string(model.Line("F", "B").Bytes())), model.Line("F", "B"));
  EXPECT_THAT(RefusalOf([&] { OccurrenceOrLine("Bolt"); }), HasSubstr("ambiguous"));
}

TEST_F(FindOccurrenceOrLine, FindsNoProductOrEmbodimentByItsKey) {
  EXPECT_NE(RefusalOf([&] { OccurrenceOrLine(std::string(model.Product("B").Bytes())); }), "");
  EXPECT_NE(RefusalOf([&] { OccurrenceOrLine(std::string(model.Base("M").Bytes())); }), "");
}

TEST_F(FindOccurrenceOrLine, FindsALineWhoseMarkingLooksLikeAPathOrKeyAndIsNone) {
  for (const char* marking : {"12", "12345678901", "1//2", "3/", "/4", "A\\B", "\\x1", "99999999999/1"}) {
    TestModel odd(ProductsWithMarkings({marking}));
    EXPECT_EQ(host::FindOccurrenceOrLine(odd.document, marking), odd.Line("M", marking)) << marking;
  }
}

TEST_F(FindOccurrenceOrLine, PrefersAPathThatExistsToAMarkingThatReadsTheSame) {
  TestModel odd(ProductsWithMarkings({"2", "1"}));
  EXPECT_EQ(host::FindOccurrenceOrLine(odd.document, "2"), odd.OccurrenceAt("2"));
}

TEST_F(FindOccurrenceOrLine, IsRefusedWhereThereIsNone) {
  for (const char* text : {"/", "//", "", "Nut", "\\", "1-9", "a/9"}) {
    EXPECT_THAT(RefusalOf([&] { OccurrenceOrLine(text); }), HasSubstr("no line of a bill is called")) << text;
  }
}

TEST_F(FindOccurrenceOrLine, IsRefusedAsNoComponentWhereItReadsLikeAPath) {
  for (const std::string text : {"9", "1/9", "1/", "12345678901"}) {
    EXPECT_THAT(RefusalOf([&] { OccurrenceOrLine(text); }), HasSubstr("no component " + text + ", and no line"))
        << text;
  }
}

// ---- occurrences directly below the root

TEST_F(FindRootOccurrence, ByKeyPathMarkingOrName) {
  for (const std::string& text : {std::string(model.OccurrenceAt("3").Bytes()), std::string("3"), std::string("B"),
                                  std::string("Bolt"), std::string("B Bolt")}) {
    EXPECT_EQ(RootOccurrence(text), model.OccurrenceAt("3")) << text;
  }
}

TEST_F(FindRootOccurrence, IsRefusedWithTheCandidatesWhereThereAreSeveral) {
  EXPECT_THAT(RefusalOf([&] { RootOccurrence("Frame"); }),
              AllOf(HasSubstr("2 have the name"), HasSubstr(std::string(model.OccurrenceAt("1").Bytes())),
                    HasSubstr(std::string(model.OccurrenceAt("4").Bytes()))));
}

TEST_F(FindRootOccurrence, ByThePathOrKeyOfOneWhoseNameOthersHaveAsWell) {
  EXPECT_EQ(RootOccurrence("4"), model.OccurrenceAt("4"));
  EXPECT_EQ(RootOccurrence(std::string(model.OccurrenceAt("4").Bytes())), model.OccurrenceAt("4"));
}

TEST_F(FindRootOccurrence, PrefersAPathToAMarkingThatReadsTheSame) {
  TestModel odd(ProductsWithMarkings({"2", "1"}));
  EXPECT_EQ(host::FindRootOccurrence(odd.document, "2"), odd.OccurrenceAt("2"));
}

TEST_F(FindRootOccurrence, PrefersAKeyToAMarkingThatReadsTheSame) {
  const UniqueMetaObjectKey key = model.OccurrenceAt("3");
  const UniqueMetaObjectKey plate = model.Product("P");
  model.Data().Find(plate)->properties[c_marking] = SimplePropVal(host::ToWide(std::string(key.Bytes())));
  EXPECT_EQ(RootOccurrence(std::string(key.Bytes())), key);
}

TEST_F(FindRootOccurrence, IsRefusedForWhatIsNotDirectlyBelowTheRoot) {
  for (const std::string& text :
       {std::string("1/2"), std::string(model.OccurrenceAt("1/2").Bytes()), std::string(model.Line("M", "B").Bytes()),
        std::string("Nut"), std::string("9"), std::string()}) {
    EXPECT_THAT(RefusalOf([&] { RootOccurrence(text); }), HasSubstr("no occurrence directly below the root")) << text;
  }
}

// ---- components

TEST_F(FindComponent, ByItsPath) {
  EXPECT_EQ(host::FindComponent(model.document, "4/3"), &model.ComponentAt("4/3"));
  EXPECT_EQ(host::FindComponent(model.document, "/"), nullptr);
}

TEST_F(FindComponent, IsRefusedWhereThereIsNone) {
  EXPECT_THAT(RefusalOf([&] { host::FindComponent(model.document, "4/9"); }), HasSubstr("no component 4/9"));
}

TEST_F(FindComponent, IsRefusedForWhatIsNoPath) {
  EXPECT_THROW(host::FindComponent(model.document, "Bolt"), host::HostError);
}

// ---- embodiments

TEST_F(FindEmbodiment, IsTheBaseWhereNothingIsNamed) {
  host::AddEmbodiment(model.document, "small", "01", {});
  EXPECT_EQ(Embodiment(""), model.Base("M"));
}

TEST_F(FindEmbodiment, IsTheNullKeyOfAPartWhereNothingIsNamed) {
  TestModel part({{"B", "Bolt", {}, 1}});
  EXPECT_EQ(host::FindEmbodiment(part.document, ""), UniqueMetaObjectKey::null);
}

TEST_F(FindEmbodiment, ByKeyNameOrNumber) {
  const UniqueMetaObjectKey small = host::AddEmbodiment(model.document, "small", "01", {});
  host::AddEmbodiment(model.document, "large", "02", {});
  EXPECT_EQ(Embodiment("small"), small);
  EXPECT_EQ(Embodiment("01"), small);
  EXPECT_EQ(Embodiment(std::string(small.Bytes())), small);
  EXPECT_EQ(Embodiment(std::string(model.Base("M").Bytes())), model.Base("M"));
}

TEST_F(FindEmbodiment, IsRefusedWhereThereIsNone) {
  EXPECT_THAT(RefusalOf([&] { Embodiment("small"); }), HasSubstr("no embodiment is called 'small'"));
  EXPECT_NE(RefusalOf([&] { Embodiment(std::string(model.Base("F").Bytes())); }), "");
}

TEST_F(FindEmbodiment, IsRefusedWithTheCandidatesWhereTheNameOfOneIsTheNumberOfAnother) {
  const UniqueMetaObjectKey first = host::AddEmbodiment(model.document, "02", "01", {});
  const UniqueMetaObjectKey second = host::AddEmbodiment(model.document, "large", "02", {});
  EXPECT_THAT(RefusalOf([&] { Embodiment("02"); }),
              AllOf(HasSubstr(std::string(first.Bytes())), HasSubstr(std::string(second.Bytes()))));
}

}  // namespace
