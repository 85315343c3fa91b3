#include "host/model/TextForms.h"

#include <algorithm>
#include <charconv>
#include <chrono>
#include <ctime>
#include <limits>
#include <type_traits>
#include <variant>

#include <boost/locale/encoding_utf.hpp>
#include <fmt/chrono.h>
#include <fmt/format.h>

#include "host/HostError.h"

namespace host {

namespace {

// The years 1 to 9999.
constexpr std::int64_t c_firstShownSecond = -62'135'596'800;
constexpr std::int64_t c_lastShownSecond = 253'402'300'799;

// The length of the UTF-8 sequence at the beginning of `bytes`, 0 where there is none.
std::size_t SequenceLength(std::string_view bytes) {
  const auto* first = bytes.data();
  const auto* last = first + bytes.size();
  const auto point = boost::locale::utf::utf_traits<char>::decode(first, last);
  const bool isText = point != boost::locale::utf::illegal && point != boost::locale::utf::incomplete;
  return isText ? static_cast<std::size_t>(first - bytes.data()) : 0;
}

bool IsControl(std::string_view sequence) {
  const auto byte = static_cast<unsigned char>(sequence.front());
  const bool isC1 = sequence.size() == 2 && byte == 0xC2 && static_cast<unsigned char>(sequence[1]) < 0xA0;
  return byte < 0x20 || byte == 0x7F || isC1;
}

template <class Number>
bool ParseNumber(std::string_view text, Number& number, int base) {
  const auto [end, error] = std::from_chars(text.data(), text.data() + text.size(), number, base);
  return error == std::errc() && end == text.data() + text.size();
}

}  // namespace

std::wstring ToWide(std::string_view utf8) {
  return boost::locale::conv::utf_to_utf<wchar_t>(utf8.data(), utf8.data() + utf8.size());
}

std::string ToUtf8(std::wstring_view wide) {
  return boost::locale::conv::utf_to_utf<char>(wide.data(), wide.data() + wide.size());
}

bool IsUtf8(std::string_view bytes) {
  while (!bytes.empty()) {
    const std::size_t length = SequenceLength(bytes);
    if (length == 0) {
      return false;
    }
    bytes.remove_prefix(length);
  }
  return true;
}

namespace {

std::string Escaped(std::string_view bytes, bool escapesBackslash) {
  std::string text;
  while (!bytes.empty()) {
    const std::size_t length = SequenceLength(bytes);
    const std::string_view sequence = bytes.substr(0, std::max<std::size_t>(length, 1));
    if (length == 0 || (escapesBackslash && bytes.front() == '\\') || IsControl(sequence)) {
      for (const char byte : sequence) {
        text += fmt::format("\\x{:02X}", static_cast<unsigned char>(byte));
      }
    } else {
      text += sequence;
    }
    bytes.remove_prefix(sequence.size());
  }
  return text;
}

}  // namespace

std::string BytesText(std::string_view bytes) {
  return Escaped(bytes, true);
}

std::string OneLine(std::string_view text) {
  return Escaped(text, false);
}

std::string BytesOfText(std::string_view text) {
  std::string bytes;
  for (std::size_t i = 0; i < text.size(); ++i) {
    if (text[i] != '\\') {
      bytes += text[i];
      continue;
    }
    unsigned char byte = 0;
    if (text.size() - i < 4 || text[i + 1] != 'x' || !ParseNumber(text.substr(i + 2, 2), byte, 16)) {
      throw HostError(fmt::format("'{}': a backslash is followed by x and two hexadecimal digits", text));
    }
    bytes += static_cast<char>(byte);
    i += 3;
  }
  return bytes;
}

std::string PathText(const MbPath& path) {
  if (path.IsEmpty()) {
    return "/";
  }
  MbPath outermostFirst = path;
  outermostFirst.Reverse();
  return fmt::format("{}", fmt::join(outermostFirst.begin(), outermostFirst.end(), "/"));
}

ComponentPath ParsePath(std::string_view text) {
  ComponentPath path;
  if (text == "/") {
    return path;
  }
  const std::string whole(text);
  while (true) {
    const std::size_t slash = std::min(text.find('/'), text.size());
    MbPath::Element element = 0;
    if (!ParseNumber(text.substr(0, slash), element, 10)) {
      throw HostError(fmt::format(
          "'{}' is no component path; write the numbers from the outermost component on, such as 3/1/2, or / for the "
          "document itself",
          BytesText(whole)));
    }
    path.Append(element);
    if (slash == text.size()) {
      break;
    }
    text.remove_prefix(slash + 1);
  }
  path.Reverse();
  return path;
}

std::string VersionText(std::uint32_t version) {
  return fmt::format("0x{:08X}", version);
}

std::uint32_t ParseVersion(std::string_view text, std::string_view option) {
  const bool isHexadecimal = text.starts_with("0x") || text.starts_with("0X");
  std::uint32_t version = 0;
  if (!ParseNumber(isHexadecimal ? text.substr(2) : text, version, isHexadecimal ? 16 : 10)) {
    throw HostError(
        fmt::format("{} '{}' is no version; write a 32-bit number such as 0x17000002", option, BytesText(text)));
  }
  return version;
}

std::string ObjectTypeText(std::uint32_t objectType) {
  switch (objectType) {
    case GeometryObject3D::c_solid:
      return "solid";
    case GeometryObject3D::c_openShell:
      return "open shell";
    case GeometryObject3D::c_partComponent:
      return "part";
    case GeometryObject3D::c_assemblyComponent:
      return "assembly";
    default:
      return std::to_string(objectType);
  }
}

std::string ValueText(const SimplePropVal& value) {
  return std::visit(
      [](const auto& held) -> std::string {
        using Held = std::decay_t<decltype(held)>;
        if constexpr (std::is_same_v<Held, std::monostate>) {
          return {};
        } else if constexpr (std::is_same_v<Held, std::wstring>) {
          return ToUtf8(held);
        } else if constexpr (std::is_same_v<Held, SimplePropVal::DateTime>) {
          const std::int64_t seconds = held.time_since_epoch().count();
          return seconds < c_firstShownSecond || seconds > c_lastShownSecond
                     ? std::to_string(seconds)
                     : fmt::format("{:%Y-%m-%dT%H:%M:%SZ}", fmt::gmtime(static_cast<std::time_t>(seconds)));
        } else {
          return fmt::format("{}", held);
        }
      },
      value.GetValue());
}

}  // namespace host
