#include "bench/Results.h"

#include <algorithm>
#include <string_view>

namespace bench {

namespace {

constexpr std::uint64_t c_seed = 0xCBF29CE484222325;
constexpr std::uint64_t c_factor = 0x9E3779B97F4A7C15;

void Mix(std::uint64_t& digest, std::uint64_t number) {
  digest = (digest ^ number) * c_factor;
  digest ^= digest >> 32;
}

// The length goes first, so that neighbours do not run together.
void Mix(std::uint64_t& digest, std::string_view bytes) {
  Mix(digest, bytes.size());
  for (const char byte : bytes) {
    Mix(digest, static_cast<unsigned char>(byte));
  }
}

void Mix(std::uint64_t& digest, const MbPath& path) {
  Mix(digest, path.Count());
  for (const MbPath::Element element : path) {
    Mix(digest, element);
  }
}

template <class Value>
std::vector<std::uint64_t> DigestsOf(const std::vector<Value>& values) {
  std::vector<std::uint64_t> digests(values.size());
  std::transform(values.begin(), values.end(), digests.begin(), [](const Value& value) { return DigestOf(value); });
  return digests;
}

void MixAll(std::uint64_t& digest, const std::vector<std::uint64_t>& parts) {
  Mix(digest, parts.size());
  for (const std::uint64_t part : parts) {
    Mix(digest, part);
  }
}

}  // namespace

std::uint64_t DigestOf(const Key& key) {
  std::uint64_t digest = c_seed;
  Mix(digest, std::string_view(key.Bytes()));
  return digest;
}

std::uint64_t DigestOf(const Geometry& geometry) {
  std::uint64_t digest = c_seed;
  Mix(digest, geometry.objectType);
  Mix(digest, geometry.componentPath);
  Mix(digest, geometry.secondPath);
  Mix(digest, std::string_view(geometry.objectName.Bytes()));
  return digest;
}

void Results::Take(const std::vector<Key>& answer) {
  count += answer.size();
  if (mode == Mode::compare) {
    TakeParts(DigestsOf(answer));
  }
}

void Results::Take(const std::vector<Geometry>& answer) {
  count += answer.size();
  if (mode == Mode::compare) {
    TakeParts(DigestsOf(answer));
  }
}

void Results::Take(const RenamedKeys& answer) {
  count += answer.size();
  if (mode == Mode::compare) {
    for (const auto& [oldKey, newKey] : answer) {
      TakeParts({DigestOf(oldKey)});
      oldKeys.emplace(newKey, oldKey);
    }
  }
}

void Results::TakeContent(LinkSet set, const Link& link) {
  const auto renamed = oldKeys.find(link.metaKey);
  std::uint64_t digest = c_seed;
  Mix(digest, static_cast<std::uint64_t>(set));
  Mix(digest, DigestOf(renamed == oldKeys.end() ? link.metaKey : renamed->second));
  Mix(digest, DigestOf(link.geometry));
  outcome.content += digest;
  if (renamed != oldKeys.end()) {
    outcome.renamed += digest;
    ++outcome.renamedCount;
  }
}

void Results::TakeParts(std::vector<std::uint64_t> parts) {
  MixAll(outcome.answersAsCame, parts);
  std::sort(parts.begin(), parts.end());
  MixAll(outcome.answersSorted, parts);
}

}  // namespace bench
