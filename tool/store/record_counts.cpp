#include "tool/store/record_counts.h"

#include <algorithm>
#include <numeric>

namespace vrrpconvert {
namespace {

constexpr Version versions[] = {Version::new_one, Version::old_one, Version::only, Version::unknown};

}  // namespace

void RecordCounts::add(const StoredRecord& record) {
  const Kind kind = kind_of(record.key);
  const Layout* layout = layout_of(record);
  const Version version = layout != nullptr ? layout->version : has_layouts(kind) ? Version::unknown : Version::only;
  ++counts_[static_cast<size_t>(kind)][static_cast<size_t>(version)];
}

size_t RecordCounts::of(Kind kind) const {
  const auto& counts = counts_[static_cast<size_t>(kind)];
  return std::accumulate(counts.begin(), counts.end(), size_t{0});
}

size_t RecordCounts::total() const {
  size_t sum = 0;
  for (const Kind kind : kinds) sum += of(kind);
  return sum;
}

std::string RecordCounts::text() const {
  std::string text;
  for (const Kind kind : kinds) {
    if (of(kind) == 0) continue;
    text += (text.empty() ? "" : ", ") + std::to_string(of(kind)) + " " + word_of(kind);
    std::string layouts;
    for (const Version version : versions) {
      if (version == Version::only || of(kind, version) == 0) continue;
      layouts += (layouts.empty() ? "" : ", ") + std::to_string(of(kind, version)) + " " + word_of(version);
    }
    if (!layouts.empty()) text += " (" + layouts + ")";
  }
  return text.empty() ? "no records" : text;
}

void to_json(Json& json, const RecordCounts& counts) {
  json = Json::object();
  for (const Kind kind : kinds) {
    for (const Version version : versions) {
      if (counts.of(kind, version) > 0) json[word_of(kind)][word_of(version)] = counts.of(kind, version);
    }
  }
}

void from_json(const Json& json, RecordCounts& counts) {
  const auto index_of = [](const auto& all, const std::string& word, auto otherwise) {
    const auto found = std::find_if(std::begin(all), std::end(all), [&](auto one) { return word == word_of(one); });
    return static_cast<size_t>(found != std::end(all) ? *found : otherwise);
  };
  for (const auto& [kind, versions_of_kind] : json.items()) {
    for (const auto& [version, count] : versions_of_kind.items()) {
      counts.counts_[index_of(kinds, kind, Kind::other)][index_of(versions, version, Version::unknown)] +=
          to_count(count);
    }
  }
}

RecordCounts count_records(const Store& store) {
  RecordCounts counts;
  store.for_each([&counts](const StoredRecord& record) { counts.add(record); });
  return counts;
}

}  // namespace vrrpconvert
