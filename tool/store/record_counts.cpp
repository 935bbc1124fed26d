#include "tool/store/record_counts.h"

#include "tool/record/record_fields.h"

namespace vrrpconvert {

void RecordCounts::add(const StoredRecord& record) {
  const std::string kind = kind_of(record.key);
  const Layout* layout = layout_of(record);
  const char* name = layout != nullptr && layout->layout != nullptr ? layout->layout : "only";
  ++counts_[kind][has_layouts(kind) && layout == nullptr ? "unknown" : name];
}

size_t RecordCounts::of(const std::string& kind) const {
  size_t sum = 0;
  const auto found = counts_.find(kind);
  if (found == counts_.end()) return 0;
  for (const auto& [layout, count] : found->second) sum += count;
  return sum;
}

size_t RecordCounts::of(const std::string& kind, const std::string& layout) const {
  const auto found = counts_.find(kind);
  if (found == counts_.end() || found->second.count(layout) == 0) return 0;
  return found->second.at(layout);
}

std::string RecordCounts::text() const {
  std::string text;
  for (const char* kind : {"vr", "ip_assoc", "global_info", "track", "other"}) {
    if (of(kind) == 0) continue;
    text += (text.empty() ? "" : ", ") + std::to_string(of(kind)) + " " + kind;
    std::string layouts;
    for (const auto& [layout, count] : counts_.at(kind)) {
      if (layout != "only") layouts += (layouts.empty() ? "" : ", ") + std::to_string(count) + " " + layout;
    }
    if (!layouts.empty()) text += " (" + layouts + ")";
  }
  return text.empty() ? "no records" : text;
}

void RecordCounts::write(JsonWriter& json) const {
  json.begin_object();
  for (const auto& [kind, layouts] : counts_) {
    json.key(kind);
    json.begin_object();
    for (const auto& [layout, count] : layouts) json.member(layout, count);
    json.end();
  }
  json.end();
}

RecordCounts count_records(const Store& store) {
  RecordCounts counts;
  store.for_each([&counts](const StoredRecord& record) { counts.add(record); });
  return counts;
}

}  // namespace vrrpconvert
