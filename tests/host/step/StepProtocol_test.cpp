#include "host/step/StepProtocol.h"

#include <cmath>
#include <string>
#include <utility>

#include <gmock/gmock.h>

namespace {

using host::StepAssembly;
using host::StepBody;
using host::StepDecoder;
using host::StepError;
using host::StepProduct;
using host::StepUse;
using testing::HasSubstr;
using testing::Not;

using Kind = StepDecoder::Line::Kind;

StepAssembly Sample() {
  StepUse use;
  use.product = 1;
  use.name = "Болт:1";
  use.id = "GB-bolt1";
  use.placement = {-1, 0, 0, 0.1, 0, 1e-17, -1, 1e300, 0, 1, 0, -12.5};
  StepUse generated;
  generated.product = 2;
  generated.generated = true;
  StepAssembly assembly;
  assembly.schema = "AUTOMOTIVE_DESIGN { 1 0 10303 214 1 1 1 1 }";
  assembly.products.resize(3);
  assembly.products[0].name = "Привод \"A\" \\";
  assembly.products[0].uses = {use, generated};
  assembly.products[1].id = "QD.01";
  assembly.products[1].bodies = {{StepBody::Kind::solid, "a", "a"}, {StepBody::Kind::openShell, "", ""}};
  assembly.roots = {0, 2};
  assembly.warnings = {"one", "two"};
  return assembly;
}

void Feed(StepDecoder& decoder, std::string line) {
  ASSERT_EQ(line.back(), '\n');
  line.pop_back();
  EXPECT_EQ(line.find('\n'), std::string::npos);
  decoder.Decode(line);
}

/// The text of the error that the lines, and then the taking, end in.
std::string Refusal(const std::vector<std::string>& lines) {
  StepDecoder decoder;
  try {
    for (const std::string& line : lines) {
      decoder.Decode(line);
    }
    decoder.Take();
  } catch (const StepError& error) {
    return error.what();
  }
  return "accepted";
}

const std::string c_product = R"({"t":"product","name":"","id":""})";
const std::string c_done = R"({"t":"done"})";

std::string UseOf(const std::string& product, const std::string& at = "1,0,0,0,0,1,0,0,0,0,1,0") {
  return R"({"t":"use","product":)" + product + R"(,"name":"","id":"","at":[)" + at + R"(],"generated":false})";
}

std::string Root(const std::string& product) {
  return R"({"t":"root","product":)" + product + "}";
}

TEST(StepProtocol, WhatWasEncodedIsDecodedAgain) {
  const StepAssembly sample = Sample();
  StepDecoder decoder;
  host::EncodeStepAssembly(sample, [&decoder](const std::string& line) { Feed(decoder, line); });
  EXPECT_TRUE(decoder.IsDone());
  EXPECT_EQ(decoder.Take(), sample);
}

TEST(StepProtocol, AUseMayNameAProductThatComesLater) {
  EXPECT_EQ(Refusal({c_product, UseOf("1"), c_product, Root("0"), c_done}), "accepted");
}

TEST(StepProtocol, ProgressIsGivenToTheCallerWithinItsBounds) {
  StepDecoder decoder;
  const StepDecoder::Line line = decoder.Decode(R"({"t":"progress","stage":"reading","part":0.25})");
  EXPECT_EQ(line.kind, Kind::progress);
  EXPECT_EQ(line.text, "reading");
  EXPECT_EQ(line.fraction, 0.25);
  EXPECT_EQ(decoder.Decode(R"({"t":"progress","stage":"reading","part":7})").fraction, 1);
  EXPECT_EQ(decoder.Decode(R"({"t":"progress","stage":"reading","part":-7})").fraction, 0);
}

TEST(StepProtocol, AnErrorLineIsTheLastOne) {
  StepDecoder decoder;
  const StepDecoder::Line line = decoder.Decode(R"({"t":"error","text":"line 3: no"})");
  EXPECT_EQ(line.kind, Kind::error);
  EXPECT_EQ(line.text, "line 3: no");
  EXPECT_THROW(decoder.Decode(c_done), StepError);
  EXPECT_FALSE(decoder.IsDone());
}

TEST(StepProtocol, BytesThatAreNotUtf8BecomeReplacementCharacters) {
  StepProduct product;
  product.name = "\xC1\xEE";
  EXPECT_THAT(host::EncodeStepProduct(product), HasSubstr("\xEF\xBF\xBD"));
}

TEST(StepProtocol, EveryRefusalNamesTheLine) {
  EXPECT_THAT(Refusal({c_product, "nonsense"}), HasSubstr("in its line 2: it is not a JSON object"));
}

TEST(StepProtocol, RefusesWhatIsNoObjectOrOfAnUnknownType) {
  for (const std::string line : {"", "{", "[]", "3", "{}", R"({"t":3})", R"({"t":"what"})", "\xFF"}) {
    EXPECT_THAT(Refusal({line}), HasSubstr("not understood")) << line;
  }
}

TEST(StepProtocol, RefusesALineThatIsTooLong) {
  EXPECT_THAT(Refusal({std::string(host::c_stepMaxLine + 1, ' ')}), HasSubstr("too long"));
}

TEST(StepProtocol, RefusesBodiesAndUsesBeforeTheFirstProduct) {
  EXPECT_THAT(Refusal({R"({"t":"body","kind":"solid","name":"","id":""})"}), HasSubstr("no product"));
  EXPECT_THAT(Refusal({UseOf("0")}), HasSubstr("no product"));
}

TEST(StepProtocol, RefusesEveryMissingOrWrongMember) {
  for (const std::string line :
       {R"({"t":"product","name":""})", R"({"t":"product","id":""})", R"({"t":"product","name":1,"id":""})",
        R"({"t":"body","kind":"wire","name":"","id":""})", R"({"t":"body","kind":"solid","name":""})",
        R"({"t":"root"})", R"({"t":"root","product":-1})", R"({"t":"root","product":1.5})",
        R"({"t":"root","product":"0"})", R"({"t":"warning"})", R"({"t":"schema"})", R"({"t":"error"})",
        R"({"t":"progress","stage":"reading"})", R"({"t":"progress","stage":"reading","part":"1"})",
        R"({"t":"use","product":0,"name":"","id":"","at":[1,0,0,0,0,1,0,0,0,0,1,0]})",
        R"({"t":"use","product":0,"name":"","id":"","at":[1,0,0,0,0,1,0,0,0,0,1,0],"generated":0})"}) {
    EXPECT_THAT(Refusal({c_product, line}), HasSubstr("in its line 2")) << line;
  }
}

TEST(StepProtocol, RefusesPlacementsThatAreNotTwelveFiniteNumbers) {
  EXPECT_THAT(Refusal({c_product, UseOf("0", "1,2")}), HasSubstr("12 numbers"));
  EXPECT_THAT(Refusal({c_product, UseOf("0", "1,0,0,0,0,1,0,0,0,0,1,0,0")}), HasSubstr("12 numbers"));
  EXPECT_THAT(Refusal({c_product, UseOf("0", "1,0,0,0,0,1,0,0,0,0,1,null")}), HasSubstr("not a number"));
  EXPECT_THAT(Refusal({c_product, UseOf("0", "1,0,0,0,0,1,0,0,0,0,1,1e999")}), HasSubstr("not understood"));
}

TEST(StepProtocol, RefusesControlCharactersInTexts) {
  EXPECT_THAT(Refusal({R"({"t":"product","name":"a\nb","id":""})"}), HasSubstr("control character"));
}

TEST(StepProtocol, RefusesIndexesOutOfRange) {
  EXPECT_THAT(Refusal({c_product, UseOf("1"), Root("0"), c_done}), HasSubstr("uses product 1 of 1"));
  EXPECT_THAT(Refusal({c_product, Root("1"), c_done}), HasSubstr("root 1 of 1"));
  EXPECT_THAT(Refusal({c_product, UseOf("18446744073709551615"), Root("0"), c_done}), HasSubstr("not understood"));
}

TEST(StepProtocol, RefusesProductsThatHoldThemselves) {
  EXPECT_THAT(Refusal({c_product, UseOf("0"), Root("0"), c_done}), HasSubstr("holds itself"));
  EXPECT_THAT(Refusal({c_product, UseOf("1"), c_product, UseOf("2"), c_product, UseOf("1"), Root("0"), c_done}),
              HasSubstr("holds itself"));
}

TEST(StepProtocol, RefusesAnAnswerWithoutRootOrWithoutEnd) {
  EXPECT_THAT(Refusal({c_product, c_done}), HasSubstr("no root"));
  EXPECT_THAT(Refusal({c_product, Root("0")}), HasSubstr("the end is missing"));
}

TEST(StepProtocol, RefusesWhatComesAfterTheEnd) {
  EXPECT_THAT(Refusal({c_product, Root("0"), c_done, c_product}), HasSubstr("after the end"));
}

}  // namespace
