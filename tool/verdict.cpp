#include "tool/verdict.h"

#include <cstring>
#include <map>

#include "tool/digits.h"

namespace vrrpconvert {
namespace {

// What a downgrade makes of a value.
Bytes old_form(const StoredRecord& record) {
  const std::string kind = kind_of(record.key);
  Bytes value = kind == "global_info" ? Bytes{1} : record.value;
  for (const Layout& layout : layouts()) {
    const bool is_target = layout.layout == nullptr || strcmp(layout.layout, "old") == 0;
    if (kind == layout.kind && is_target) value.resize(layout.size);
  }
  return value;
}

bool is_converted_kind(const StoredRecord& record) {
  const std::string kind = kind_of(record.key);
  return kind == "vr" || kind == "ip_assoc" || kind == "global_info";
}

enum class Fate { converted, deleted, added, left_alone, failed };

Fate fate_of(Change change, const Difference& pair) {
  if (change == Change::none || !is_converted_kind(pair.either())) {
    return pair.is_none() ? Fate::left_alone : Fate::failed;
  }
  if (change == Change::upgrade) return pair.after != nullptr ? Fate::failed : Fate::deleted;
  if (pair.after == nullptr) return Fate::failed;
  if (pair.after->value != old_form(pair.either())) return Fate::failed;
  if (pair.before == nullptr) return Fate::added;
  return pair.is_none() ? Fate::left_alone : Fate::converted;
}

std::string reason_for(const Difference& pair, const std::string& traced, const Run& run) {
  const Layout* layout = pair.before != nullptr ? layout_of(*pair.before) : nullptr;
  if (layout != nullptr && own_key(*layout, pair.before->value) != pair.before->key) {
    return "it is stored under a key not its own, and the library finds a record only under its own";
  }
  if (pair.before != nullptr && layout == nullptr && is_converted_kind(*pair.before)) {
    return "its value of " + std::to_string(pair.before->value.size()) + " bytes is of no known layout";
  }
  if (!traced.empty()) return traced;
  if (!pair.is_none()) return "its content is not what the conversion makes of it";
  return run.answered ? "its change was not kept, without a word why: the device may be full or failing"
                      : "the library died before its change was kept";
}

}  // namespace

Verdict judge(Change change, const Store& before, const Store& after, const Run& run) {
  Verdict verdict;
  std::map<std::string, size_t> position;
  for_each_pair(before, after, [&](const Difference& pair) {
    const std::string kind = kind_of(pair.either().key);
    const std::string traced = pair.before != nullptr ? run.outcomes.failure_of(kind, position[kind]++) : "";
    switch (fate_of(change, pair)) {
      case Fate::converted:
        ++verdict.converted;
        break;
      case Fate::deleted:
        ++verdict.deleted;
        break;
      case Fate::added:
        ++verdict.added;
        break;
      case Fate::left_alone:
        ++verdict.left_alone;
        break;
      case Fate::failed:
        verdict.failed.push_back({hex_of(pair.either().key), name_of(pair.either()), reason_for(pair, traced, run)});
    }
  });
  return verdict;
}

Json json_of(const std::vector<FailedRecord>& failed) {
  Json list = Json::array();
  for (const FailedRecord& record : failed) {
    list.push_back({{"store_key", record.store_key}, {"record", record.record}, {"reason", record.reason}});
  }
  return list;
}

Json Verdict::json() const {
  return {{"converted", converted},
          {"deleted", deleted},
          {"added", added},
          {"left_alone", left_alone},
          {"failed", json_of(failed)}};
}

}  // namespace vrrpconvert
