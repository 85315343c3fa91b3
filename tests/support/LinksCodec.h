#pragma once

#include <cstddef>
#include <cstdint>
#include <functional>
#include <limits>
#include <map>
#include <set>
#include <span>
#include <string>
#include <tuple>
#include <vector>

/// The links section of a stream a second time, from its description (docs/stream_format.md) alone: plain standard
/// types, no code of the library or of the platform. Where this and the library disagree, one of them is wrong.
///
/// Nothing here trusts its bytes: time and memory go with the bytes given and with the records that the caller is
/// willing to read.
namespace codec {

using Bytes = std::vector<std::byte>;
using Path = std::vector<std::uint32_t>;

struct Versions {
  std::uint32_t app = 0;
  std::uint32_t math = 0;
};

/// What is recorded on a stream, as bits.
inline constexpr std::uint32_t c_endOfStream = 0x1;
inline constexpr std::uint32_t c_noMemory = 0x4;
inline constexpr std::uint32_t c_narrowStream = 0x8;
inline constexpr std::uint32_t c_countOverflow = 0x800000;

/// Both paths with the outermost component last.
struct Link {
  std::string key;
  std::uint32_t type = 0;
  Path componentPath;
  Path secondPath;
  std::string name;

  friend bool operator==(const Link&, const Link&) = default;
};

using Links = std::vector<Link>;

/// The place of a link's geometry object in their order. Geometry objects in one place need not be equal: the second
/// path does not count here.
using Place = std::tuple<std::uint32_t, Path, std::string>;
Place PlaceOf(const Link& link);

/// By the bytes of the keys, unsigned; links with one key, or in one place, keep their order.
Links InKeyOrder(Links links);
Links InGeometryOrder(Links links);

// ---- writing

struct Written {
  Bytes bytes;
  std::uint32_t faults = 0;
};

Written EncodeCount(std::uint64_t count, std::uint32_t mathVersion);

/// The sets in the order given, as far as the versions carry them. With `onlyPath` the links of this component alone.
/// `faultsBefore` are those that the stream had recorded already.
Written EncodeSection(const Links& unique, const Links& validated, const Versions& versions,
                      const Path* onlyPath = nullptr, std::uint32_t faultsBefore = 0);

// ---- reading

/// What bounds a reading.
struct Limits {
  /// A set that announces more records than these is not read.
  std::uint64_t records = std::numeric_limits<std::uint64_t>::max();
  /// A path that announces more elements than these gets no memory for them.
  std::uint64_t elements = 0x3FFFFFFF;
  /// A path that gets no memory ends the reading.
  bool raises = true;
  /// So does the first fault, as with a reader that throws; no limit of records is needed then.
  bool endsAtFault = false;
};

struct DecodedCount {
  std::uint64_t count = 0;
  std::uint32_t faults = 0;
  std::size_t consumed = 0;
};

DecodedCount DecodeCount(std::span<const std::byte> bytes, std::uint32_t mathVersion);

struct Decoded {
  enum class End {
    whole,           ///< every record that the counts announce was attempted
    outOfMemory,     ///< std::bad_alloc, by Limits::elements and Limits::raises
    tooManyRecords,  ///< by Limits::records
    fault            ///< by Limits::endsAtFault
  };
  End end = End::whole;
  /// In the order in which they came, without those whose key and place came before. Good only with End::whole.
  Links first;
  Links second;
  /// Those from before included.
  std::uint32_t faults = 0;
  std::size_t consumed = 0;
};

Decoded DecodeSection(std::span<const std::byte> bytes, const Versions& versions, const Limits& limits = {},
                      std::uint32_t faultsBefore = 0);

/// A number of the section that says how much follows.
struct CountField {
  enum class Of { records, elements, bytes };
  Of of;
  std::size_t offset;
  std::size_t width;
  std::uint64_t value;
};

/// Those of a section without faults, in order.
std::vector<CountField> CountFieldsOf(std::span<const std::byte> bytes, const Versions& versions);

// ---- merging into a store

/// What the reader asks the product data. Answers may throw.
struct ProductData {
  std::function<bool(const std::string&)> hasMetaObject;
  std::function<std::set<std::string>(const std::string&)> relatedMetaObjects;
};

/// What a store holds, by the rules of its two sets. An empty validator accepts everything.
class LinkSets {
 public:
  explicit LinkSets(std::function<bool(const Link&)> validator = {}) : accepts(std::move(validator)) {}

  /// A link to the same place goes; then the link enters, unless its key has one.
  void AddUnique(const Link& link);
  /// The first half of AddUnique.
  void RemoveFromUnique(const Place& place);
  /// Enters where the validator accepts it and its key and place are not linked yet.
  void AddValidated(const Link& link);

  bool HasUnique(const std::string& key) const { return uniqueKeys.count(key) != 0; }
  /// In key order.
  Links Unique() const;
  Links Validated() const;
  /// In the order of entry.
  const Links& ValidatedAsEntered() const { return validated; }

 private:
  std::function<bool(const Link&)> accepts;
  std::map<Place, Link> unique;
  std::set<std::string> uniqueKeys;
  Links validated;
  std::set<std::tuple<std::string, Place>> validatedPairs;
};

/// The links in the order in which a section is merged: first those for the unique set, then those for the validated
/// one. With product data the unique ones are repaired; that asks it, and `sets` for the links added so far, so the
/// links are handed over one by one. What `add` throws, and the product data, passes.
void ForEachMergedLink(const Decoded& section, const LinkSets& sets, const ProductData* productData,
                       const std::function<void(const Link&, bool isUnique)>& add);

/// Adds them all.
void Merge(const Decoded& section, LinkSets& sets, const ProductData* productData);

}  // namespace codec
