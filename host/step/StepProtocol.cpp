#include "host/step/StepProtocol.h"

#include <cmath>
#include <cstdint>
#include <utility>

#include <fmt/format.h>
#include <nlohmann/json.hpp>

namespace host {

namespace {

using Json = nlohmann::json;

std::string ToLine(const Json& object) {
  return object.dump(-1, ' ', false, Json::error_handler_t::replace) + '\n';
}

const Json& Member(const Json& object, const char* name) {
  const auto found = object.find(name);
  if (found == object.end()) {
    throw StepError(fmt::format("\"{}\" is missing", name));
  }
  return *found;
}

std::string Text(const Json& object, const char* name) {
  const Json& value = Member(object, name);
  if (!value.is_string()) {
    throw StepError(fmt::format("\"{}\" is not a text", name));
  }
  auto text = value.get<std::string>();
  for (const char c : text) {
    if (static_cast<unsigned char>(c) < 0x20 || c == 0x7f) {
      throw StepError(fmt::format("\"{}\" holds a control character", name));
    }
  }
  return text;
}

double Number(const Json& value, const char* name) {
  if (!value.is_number() || !std::isfinite(value.get<double>())) {
    throw StepError(fmt::format("\"{}\" is not a number", name));
  }
  return value.get<double>();
}

std::size_t Index(const Json& object, const char* name) {
  const Json& value = Member(object, name);
  if (!value.is_number_unsigned()) {
    throw StepError(fmt::format("\"{}\" is not an index", name));
  }
  return value.get<std::size_t>();
}

bool Flag(const Json& object, const char* name) {
  const Json& value = Member(object, name);
  if (!value.is_boolean()) {
    throw StepError(fmt::format("\"{}\" is neither true nor false", name));
  }
  return value.get<bool>();
}

Json ToJson(const StepProduct& product) {
  return {{"t", "product"}, {"name", product.name}, {"id", product.id}};
}

StepProduct ToProduct(const Json& object) {
  StepProduct product;
  product.name = Text(object, "name");
  product.id = Text(object, "id");
  return product;
}

Json ToJson(const StepBody& body) {
  const char* kind = body.kind == StepBody::Kind::solid ? "solid" : "openShell";
  return {{"t", "body"}, {"kind", kind}, {"name", body.name}, {"id", body.id}};
}

StepBody ToBody(const Json& object) {
  StepBody body;
  const std::string kind = Text(object, "kind");
  if (kind != "solid" && kind != "openShell") {
    throw StepError("\"kind\" is neither solid nor openShell");
  }
  body.kind = kind == "solid" ? StepBody::Kind::solid : StepBody::Kind::openShell;
  body.name = Text(object, "name");
  body.id = Text(object, "id");
  return body;
}

Json ToJson(const StepUse& use) {
  return {{"t", "use"},   {"product", use.product}, {"name", use.name},
          {"id", use.id}, {"at", use.placement},    {"generated", use.generated}};
}

StepUse ToUse(const Json& object) {
  StepUse use;
  use.product = Index(object, "product");
  use.name = Text(object, "name");
  use.id = Text(object, "id");
  const Json& numbers = Member(object, "at");
  if (!numbers.is_array() || numbers.size() != use.placement.size()) {
    throw StepError(fmt::format("\"at\" is not a list of {} numbers", use.placement.size()));
  }
  for (std::size_t i = 0; i < use.placement.size(); ++i) {
    use.placement[i] = Number(numbers[i], "at");
  }
  use.generated = Flag(object, "generated");
  return use;
}

StepProduct& LastProduct(StepAssembly& assembly) {
  if (assembly.products.empty()) {
    throw StepError("no product stands before it");
  }
  return assembly.products.back();
}

void CheckIndexes(const StepAssembly& assembly) {
  const std::size_t count = assembly.products.size();
  for (std::size_t product = 0; product < count; ++product) {
    for (const StepUse& use : assembly.products[product].uses) {
      if (use.product >= count) {
        throw StepError(fmt::format("product {} uses product {} of {}", product, use.product, count));
      }
    }
  }
  for (const std::size_t root : assembly.roots) {
    if (root >= count) {
      throw StepError(fmt::format("root {} of {} products", root, count));
    }
  }
  if (assembly.roots.empty()) {
    throw StepError("no root");
  }
}

void CheckNoCycles(const StepAssembly& assembly) {
  if (OrderHoldersFirst(assembly.products).size() != assembly.products.size()) {
    throw StepError("a product holds itself");
  }
}

Json ParseLine(std::string_view line) {
  if (line.size() > c_stepMaxLine) {
    throw StepError("it is too long");
  }
  Json object = Json::parse(line.begin(), line.end(), nullptr, false);
  if (!object.is_object()) {
    throw StepError("it is not a JSON object");
  }
  return object;
}

[[noreturn]] void ThrowNotUnderstood(std::size_t lineNumber, const std::exception& reason) {
  throw StepError(
      fmt::format("the answer of the STEP reader is not understood in its line {}: {}", lineNumber, reason.what()));
}

}  // namespace

std::string EncodeStepProgress(std::string_view stage, double fraction) {
  return ToLine({{"t", "progress"}, {"stage", stage}, {"part", fraction}});
}

std::string EncodeStepWarning(std::string_view text) {
  return ToLine({{"t", "warning"}, {"text", text}});
}

std::string EncodeStepError(std::string_view text) {
  return ToLine({{"t", "error"}, {"text", text}});
}

std::string EncodeStepSchema(std::string_view text) {
  return ToLine({{"t", "schema"}, {"text", text}});
}

std::string EncodeStepProduct(const StepProduct& product) {
  return ToLine(ToJson(product));
}

std::string EncodeStepBody(const StepBody& body) {
  return ToLine(ToJson(body));
}

std::string EncodeStepUse(const StepUse& use) {
  return ToLine(ToJson(use));
}

std::string EncodeStepRoot(std::size_t product) {
  return ToLine({{"t", "root"}, {"product", product}});
}

std::string EncodeStepDone() {
  return ToLine({{"t", "done"}});
}

StepDecoder::Line StepDecoder::Decode(std::string_view line) {
  ++lineNumber;
  try {
    if (last == Line::Kind::done || last == Line::Kind::error) {
      throw StepError("it comes after the end");
    }
    const Json object = ParseLine(line);
    const std::string type = Text(object, "t");
    Line result;
    if (type == "progress") {
      text = Text(object, "stage");
      const double fraction = Number(Member(object, "part"), "part");
      result = {Line::Kind::progress, text, std::fmin(std::fmax(fraction, 0), 1)};
    } else if (type == "schema") {
      assembly.schema = Text(object, "text");
    } else if (type == "product") {
      assembly.products.push_back(ToProduct(object));
    } else if (type == "body") {
      LastProduct(assembly).bodies.push_back(ToBody(object));
    } else if (type == "use") {
      LastProduct(assembly).uses.push_back(ToUse(object));
    } else if (type == "root") {
      assembly.roots.push_back(Index(object, "product"));
    } else if (type == "warning") {
      assembly.warnings.push_back(Text(object, "text"));
    } else if (type == "error") {
      text = Text(object, "text");
      result = {Line::Kind::error, text, 0};
    } else if (type == "done") {
      result.kind = Line::Kind::done;
    } else {
      throw StepError(fmt::format("it is of the unknown type \"{}\"", type));
    }
    last = result.kind;
    return result;
  } catch (const StepError& reason) {
    ThrowNotUnderstood(lineNumber, reason);
  }
}

StepAssembly StepDecoder::Take() {
  try {
    if (!IsDone()) {
      throw StepError("the end is missing");
    }
    CheckIndexes(assembly);
    CheckNoCycles(assembly);
  } catch (const StepError& reason) {
    ThrowNotUnderstood(lineNumber, reason);
  }
  return std::move(assembly);
}

}  // namespace host
