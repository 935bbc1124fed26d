#include "tool/census.h"

#include "tool/record_fields.h"

namespace vrrpconvert {

void Census::add(const StoredRecord& record) {
  const std::string kind = kind_of(record.key);
  const Layout* layout = layout_of(record);
  const bool has_layouts = kind == "vr" || kind == "ip_assoc" || kind == "global_info";
  const char* name = layout != nullptr && layout->layout != nullptr ? layout->layout : "only";
  ++counts[kind][has_layouts && layout == nullptr ? "unknown" : name];
}

size_t Census::of(const std::string& kind) const {
  size_t sum = 0;
  const auto found = counts.find(kind);
  if (found == counts.end()) return 0;
  for (const auto& [layout, count] : found->second) sum += count;
  return sum;
}

size_t Census::of(const std::string& kind, const std::string& layout) const {
  const auto found = counts.find(kind);
  if (found == counts.end() || found->second.count(layout) == 0) return 0;
  return found->second.at(layout);
}

size_t Census::total() const {
  size_t sum = 0;
  for (const auto& [kind, layouts] : counts) sum += of(kind);
  return sum;
}

std::string Census::text() const {
  std::string text;
  for (const char* kind : {"vr", "ip_assoc", "global_info", "track", "other"}) {
    if (of(kind) == 0) continue;
    text += (text.empty() ? "" : ", ") + std::to_string(of(kind)) + " " + kind;
    std::string layouts;
    for (const auto& [layout, count] : counts.at(kind)) {
      if (layout != "only") layouts += (layouts.empty() ? "" : ", ") + std::to_string(count) + " " + layout;
    }
    if (!layouts.empty()) text += " (" + layouts + ")";
  }
  return text.empty() ? "no records" : text;
}

Census take_census(const Store& store) {
  Census census;
  store.for_each([&census](const StoredRecord& record) { census.add(record); });
  return census;
}

}  // namespace vrrpconvert
