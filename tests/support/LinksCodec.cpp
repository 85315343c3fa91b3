#include "tests/support/LinksCodec.h"

#include <algorithm>
#include <utility>

namespace codec {

namespace {

constexpr std::uint64_t c_allOnes = std::numeric_limits<std::uint64_t>::max();
constexpr std::uint64_t c_most32 = 0xFFFFFFFF;

/// What the versions decide, read off the two tables of the description.
struct Form {
  std::size_t countBytes;
  std::size_t numberBytes;
  bool readsNarrowAllOnes;
  int sets;
  bool hasSecondPath;
  bool isOutermostFirst;
};

bool IsWithin(std::uint32_t version, std::uint32_t first, std::uint32_t last) {
  return first <= version && version <= last;
}

Form CountFormOf(std::uint32_t math) {
  Form form{};
  form.countBytes = math < 0x04000000 ? 0 : math < 0x0F000000 ? 4 : 8;
  form.numberBytes = math < 0x04000000 ? 0 : 4;
  form.readsNarrowAllOnes = !(math > 0x0F001000);
  return form;
}

Form FormOf(const Versions& versions) {
  Form form = CountFormOf(versions.math);
  form.sets = versions.app < 0x12000005 ? 0 : versions.app < 0x12000026 ? 1 : 2;
  form.hasSecondPath = IsWithin(versions.app, 0x1400001C, 0x14FFFFFF) || IsWithin(versions.app, 0x15000003, 0xFFFFFFFF);
  form.isOutermostFirst = IsWithin(versions.app, 0, 0x17000001);
  return form;
}

class Output {
 public:
  Output(const Form& streamForm, std::uint32_t faultsBefore) : form(streamForm) { written.faults = faultsBefore; }

  void Count(std::uint64_t count) {
    if (form.countBytes != 8 && count > c_most32) {
      written.faults |= c_countOverflow;
    }
    Number(count, form.countBytes);
  }

  void String(const std::string& text) {
    Number(text.size(), 4);
    for (const char byte : text) {
      written.bytes.push_back(static_cast<std::byte>(byte));
    }
  }

  void Elements(const Path& path) {
    Count(path.size());
    for (std::size_t i = 0; i < path.size() && written.faults == 0; ++i) {
      Number(path[i], form.numberBytes);
    }
  }

  void Record(const Link& link) {
    String(link.key);
    Number(link.type, form.numberBytes);
    Elements(form.isOutermostFirst ? Path(link.componentPath.rbegin(), link.componentPath.rend()) : link.componentPath);
    String(link.name);
    if (form.hasSecondPath) {
      Elements(link.secondPath);
    }
  }

  void Set(const Links& links, const Path* onlyPath) {
    Links chosen = links;
    if (onlyPath != nullptr) {
      std::erase_if(chosen, [onlyPath](const Link& link) { return link.componentPath != *onlyPath; });
      for (Link& link : chosen) {
        link.componentPath.clear();
      }
    }
    Count(chosen.size());
    for (const Link& link : chosen) {
      Record(link);
    }
  }

  Written Take() { return std::move(written); }

 private:
  // Nothing at all, but a fault, where the stream is too narrow for it.
  void Number(std::uint64_t value, std::size_t width) {
    if (width == 0) {
      written.faults |= c_narrowStream;
    }
    for (std::size_t i = 0; i < width; ++i) {
      written.bytes.push_back(static_cast<std::byte>(value >> 8 * i));
    }
  }

  Form form;
  Written written;
};

// Ends a reading early.
struct Stopped {
  Decoded::End end;
};

class Input {
 public:
  Input(std::span<const std::byte> source, const Form& streamForm, const Limits& readingLimits,
        std::uint32_t faultsBefore, std::vector<CountField>* countFields = nullptr)
      : faults(faultsBefore), bytes(source), form(streamForm), limits(readingLimits), fields(countFields) {}

  std::uint64_t Count() {
    const std::uint64_t count = Number(form.countBytes);
    const bool isAllOnes = form.countBytes == 4 || (form.countBytes == 8 && form.readsNarrowAllOnes);
    return isAllOnes && count == c_most32 ? c_allOnes : count;
  }

  Links Set() {
    const std::size_t offset = consumed;
    const std::uint64_t count = Count();
    Note(CountField::Of::records, offset, form.countBytes, count);
    if (count > limits.records) {
      throw Stopped{Decoded::End::tooManyRecords};
    }
    Links links;
    std::set<std::tuple<std::string, Place>> pairs;
    for (std::uint64_t i = 0; i < count; ++i) {
      Link link = Record();
      if (pairs.emplace(link.key, PlaceOf(link)).second) {
        links.push_back(std::move(link));
      }
    }
    return links;
  }

  std::uint32_t faults;
  std::size_t consumed = 0;

 private:
  Link Record() {
    Link link;
    link.key = String();
    link.type = static_cast<std::uint32_t>(Number(form.numberBytes));
    link.componentPath = Elements();
    if (form.isOutermostFirst) {
      std::reverse(link.componentPath.begin(), link.componentPath.end());
    }
    link.name = String();
    if (form.hasSecondPath) {
      link.secondPath = Elements();
    }
    return link;
  }

  std::string String() {
    const std::size_t offset = consumed;
    const std::uint64_t length = Number(4);
    Note(CountField::Of::bytes, offset, 4, length);
    std::string text;
    if (HasBytes(length)) {
      for (std::uint64_t i = 0; i < length; ++i) {
        text.push_back(static_cast<char>(bytes[consumed++]));
      }
    }
    return text;
  }

  Path Elements() {
    const std::size_t offset = consumed;
    const std::uint64_t count = Count();
    Note(CountField::Of::elements, offset, form.countBytes, count);
    Path path;
    if (faults != 0 || count == 0) {
      return path;
    }
    if (count > limits.elements) {
      if (limits.raises) {
        throw Stopped{Decoded::End::outOfMemory};
      }
      if (count >= c_most32) {
        Fault(c_noMemory);
        return path;
      }
    }
    while (path.size() < count && faults == 0) {
      path.push_back(static_cast<std::uint32_t>(Number(form.numberBytes)));
    }
    return path;
  }

  // 0 where the stream cannot carry it or runs short.
  std::uint64_t Number(std::size_t width) {
    if (width == 0) {
      Fault(c_narrowStream);
      return 0;
    }
    std::uint64_t value = 0;
    if (HasBytes(width)) {
      for (std::size_t i = 0; i < width; ++i) {
        value |= std::to_integer<std::uint64_t>(bytes[consumed++]) << 8 * i;
      }
    }
    return value;
  }

  // Where a stream runs short, what is left of it is gone.
  bool HasBytes(std::uint64_t length) {
    if (length <= bytes.size() - consumed) {
      return true;
    }
    Fault(c_endOfStream);
    consumed = bytes.size();
    return false;
  }

  void Fault(std::uint32_t fault) {
    faults |= fault;
    if (limits.endsAtFault) {
      throw Stopped{Decoded::End::fault};
    }
  }

  void Note(CountField::Of of, std::size_t offset, std::size_t width, std::uint64_t value) {
    if (fields != nullptr) {
      fields->push_back({of, offset, width, value});
    }
  }

  std::span<const std::byte> bytes;
  Form form;
  Limits limits;
  std::vector<CountField>* fields;
};

const Link& Resolve(const Links& group, const LinkSets& sets, const ProductData& productData) {
  const Link* chosen = nullptr;
  for (const Link& link : group) {
    if (!productData.hasMetaObject(link.key)) {
      continue;
    }
    const std::set<std::string> related = productData.relatedMetaObjects(link.key);
    if (related.empty() || sets.HasUnique(*related.begin())) {
      chosen = &link;
    }
  }
  return chosen == nullptr || chosen->key.empty() ? group.front() : *chosen;
}

constexpr std::uint32_t c_assemblyComponent = 200;

// One link for each run of equal geometry objects.
void ForEachRepairedLink(const Links& links, const LinkSets& sets, const ProductData& productData,
                         const std::function<void(const Link&)>& add) {
  const Links sorted = InGeometryOrder(links);
  for (const Link& link : sorted) {
    if (link.type == c_assemblyComponent) {
      add(link);
    }
  }
  Links group;
  const auto addChosen = [&] {
    if (!group.empty()) {
      const Link& chosen = Resolve(group, sets, productData);
      if (!chosen.key.empty()) {
        add(chosen);
      }
    }
    group.clear();
  };
  for (const Link& link : sorted) {
    if (link.type == c_assemblyComponent) {
      continue;
    }
    if (!group.empty() && (PlaceOf(link) != PlaceOf(group.front()) || link.secondPath != group.front().secondPath)) {
      addChosen();
    }
    group.push_back(link);
  }
  addChosen();
}

}  // namespace

Place PlaceOf(const Link& link) {
  return {link.type, link.componentPath, link.name};
}

Links InKeyOrder(Links links) {
  std::stable_sort(links.begin(), links.end(),
                   [](const Link& left, const Link& right) { return left.key < right.key; });
  return links;
}

Links InGeometryOrder(Links links) {
  std::stable_sort(links.begin(), links.end(),
                   [](const Link& left, const Link& right) { return PlaceOf(left) < PlaceOf(right); });
  return links;
}

Written EncodeCount(std::uint64_t count, std::uint32_t mathVersion) {
  Output out(CountFormOf(mathVersion), 0);
  out.Count(count);
  return out.Take();
}

Written EncodeSection(const Links& unique, const Links& validated, const Versions& versions, const Path* onlyPath,
                      std::uint32_t faultsBefore) {
  const Form form = FormOf(versions);
  Output out(form, faultsBefore);
  if (form.sets >= 1) {
    out.Set(unique, onlyPath);
  }
  if (form.sets == 2) {
    out.Set(validated, onlyPath);
  }
  return out.Take();
}

DecodedCount DecodeCount(std::span<const std::byte> bytes, std::uint32_t mathVersion) {
  Input in(bytes, CountFormOf(mathVersion), {}, 0);
  const std::uint64_t count = in.Count();
  return {count, in.faults, in.consumed};
}

Decoded DecodeSection(std::span<const std::byte> bytes, const Versions& versions, const Limits& limits,
                      std::uint32_t faultsBefore) {
  const Form form = FormOf(versions);
  Input in(bytes, form, limits, faultsBefore);
  Decoded decoded;
  try {
    if (form.sets >= 1) {
      decoded.first = in.Set();
    }
    if (form.sets == 1) {
      decoded.second = InKeyOrder(decoded.first);
    }
    if (form.sets == 2) {
      decoded.second = in.Set();
    }
  } catch (const Stopped& stopped) {
    decoded.end = stopped.end;
  }
  decoded.faults = in.faults;
  decoded.consumed = in.consumed;
  return decoded;
}

std::vector<CountField> CountFieldsOf(std::span<const std::byte> bytes, const Versions& versions) {
  const Form form = FormOf(versions);
  std::vector<CountField> fields;
  Input in(bytes, form, {}, 0, &fields);
  for (int i = 0; i < form.sets; ++i) {
    in.Set();
  }
  return fields;
}

void LinkSets::RemoveFromUnique(const Place& place) {
  const auto found = unique.find(place);
  if (found != unique.end()) {
    uniqueKeys.erase(found->second.key);
    unique.erase(found);
  }
}

void LinkSets::AddUnique(const Link& link) {
  RemoveFromUnique(PlaceOf(link));
  if (uniqueKeys.insert(link.key).second) {
    unique.emplace(PlaceOf(link), link);
  }
}

void LinkSets::AddValidated(const Link& link) {
  if (accepts && !accepts(link)) {
    return;
  }
  if (validatedPairs.emplace(link.key, PlaceOf(link)).second) {
    validated.push_back(link);
  }
}

Links LinkSets::Unique() const {
  Links links;
  for (const auto& [place, link] : unique) {
    links.push_back(link);
  }
  return InKeyOrder(std::move(links));
}

Links LinkSets::Validated() const {
  return InKeyOrder(validated);
}

void ForEachMergedLink(const Decoded& section, const LinkSets& sets, const ProductData* productData,
                       const std::function<void(const Link&, bool isUnique)>& add) {
  const auto addUnique = [&add](const Link& link) { add(link, true); };
  if (productData == nullptr) {
    for (const Link& link : InKeyOrder(section.first)) {
      addUnique(link);
    }
  } else {
    ForEachRepairedLink(section.first, sets, *productData, addUnique);
  }
  for (const Link& link : InKeyOrder(section.second)) {
    add(link, false);
  }
}

void Merge(const Decoded& section, LinkSets& sets, const ProductData* productData) {
  ForEachMergedLink(section, sets, productData, [&sets](const Link& link, bool isUnique) {
    if (isUnique) {
      sets.AddUnique(link);
    } else {
      sets.AddValidated(link);
    }
  });
}

}  // namespace codec
