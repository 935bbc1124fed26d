#include "tool/conversion/loss.h"

#include <algorithm>

#include "libconvertvrrp.h"
#include "tool/support/error.h"
#include "tool/support/suggestion.h"

namespace vrrpconvert {
namespace {

// Returns the number of leading bytes of a value that a downgrade copies.
size_t kept_size(Kind kind) {
  for (const Layout& layout : layouts()) {
    if (layout.kind == kind && layout.version == Version::old_one) return layout.size;
  }
  return sizeof(vrrp_pss_global_info_t::vrrp_enabled);
}

}  // namespace

std::vector<std::string> names_of_losses() {
  std::vector<std::string> names = {whole_record};
  for (const Layout& layout : layouts()) {
    if (layout.version == Version::old_one) continue;
    for (const Field& field : layout.fields) {
      const bool is_new_name = std::find(names.begin(), names.end(), field.name) == names.end();
      if (field.offset >= kept_size(layout.kind) && is_new_name) names.emplace_back(field.name);
    }
  }
  return names;
}

void require_loss(const std::string& name) {
  const std::vector<std::string> names = names_of_losses();
  if (std::find(names.begin(), names.end(), name) != names.end()) return;
  throw Error(Reason::usage, "--accept-loss: unknown field \"" + name + "\"; " + suggestion(name, names));
}

void for_each_loss(const Difference& difference, const Defaults& defaults,
                   const std::function<void(const Loss&)>& visit) {
  if (difference.before == nullptr) return;
  const StoredRecord& before = *difference.before;
  const Layout* layout = layout_of(before);
  // The fields of an unknown layout are unknown, so count the whole record as lost.
  const bool is_unknown =
      has_layouts(kind_of(before.key)) &&
      (layout == nullptr || (difference.after != nullptr && layout_of(*difference.after) == nullptr));
  if (difference.after == nullptr || is_unknown) return visit({before, whole_record, nullptr});
  if (layout == nullptr) return;
  for (const Field& field : layout->fields) {
    if (is_set(field, difference.after->value) || !is_set(field, before.value)) continue;
    visit({before, field.name, &field, defaults.text_for(before, field)});
  }
}

}  // namespace vrrpconvert
