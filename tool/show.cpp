#include <algorithm>
#include <iostream>
#include <map>

#include "tool/census.h"
#include "tool/difference.h"
#include "tool/record_text.h"
#include "tool/style.h"
#include "tool/verbs.h"

namespace vrrpconvert {
namespace {

using Row = std::vector<std::string>;

// One table a kind: a column a field, but for fields that are unset in every record.
class Table {
 public:
  explicit Table(bool reveal) : reveal_(reveal) {}

  // Learns how wide the columns must be.
  void measure(const StoredRecord& record) {
    const Row cells = row(record);
    widths_.resize(std::max(widths_.size(), cells.size()), 0);
    for (size_t i = 0; i < cells.size(); ++i) {
      if (i < 3 || !means_nothing(cells[i]))
        widths_[i] = std::max({widths_[i], cells[i].size(), header(record)[i].size()});
    }
  }

  void print_header(const StoredRecord& record) const {
    std::cout << styled(Style::bold, title_of(kind_of(record.key))) << '\n';
    print(header(record));
  }

  void print_record(const StoredRecord& record) const { print(row(record)); }

 private:
  static bool means_nothing(const std::string& cell) { return cell == "-" || cell == "0" || cell == "0x0"; }

  static bool has_fields(const StoredRecord& record) {
    const std::string kind = kind_of(record.key);
    return kind != "track" && kind != "other";
  }

  // The fields of the kind's longest layout.
  static std::span<const Field> fields(const StoredRecord& record) {
    for (const Layout& layout : layouts()) {
      if (kind_of(record.key) == std::string(layout.kind)) return layout.fields;
    }
    return {};
  }

  static Row header(const StoredRecord& record) {
    if (!has_fields(record)) return {"key", "value"};
    Row cells = {"layout"};
    for (const Field& field : fields(record)) cells.push_back(field.heading);
    return cells;
  }

  Row row(const StoredRecord& record) const {
    const Layout* layout = layout_of(record);
    if (!has_fields(record)) return {hex_of(record.key), hex_of(record.value)};
    if (layout == nullptr) {
      return {"of " + std::to_string(record.value.size()) + " bytes under key " + hex_of(record.key)};
    }
    Row cells = {layout->layout != nullptr ? layout->layout : "-"};
    if (own_key(*layout, record.value) != record.key) cells[0] += " under key " + hex_of(record.key);
    for (const Field& field : layout->fields) cells.push_back(text_of_field(field, field.in(record.value), reveal_));
    // Fields that the old layout does not have.
    cells.resize(fields(record).size() + 1, "-");
    return cells;
  }

  void print(const Row& cells) const {
    std::string line;
    for (size_t i = 0; i < cells.size(); ++i) {
      if (widths_[i] == 0) continue;
      line += "  " + cells[i] + std::string(std::max(widths_[i], cells[i].size()) - cells[i].size(), ' ');
    }
    line.erase(line.find_last_not_of(' ') + 1);
    std::cout << line << '\n';
  }

  bool reveal_;
  std::vector<size_t> widths_;
};

bool is_selected(const StoredRecord& record, const ShowOptions& options) {
  return options.kind.empty() || options.kind == kind_of(record.key);
}

// The keys put the records of one kind next to each other, so that two walks print all tables without keeping a record.
void show_tables(const Store& store, const ShowOptions& options) {
  std::map<std::string, Table> tables;
  store.for_each([&](const StoredRecord& record) {
    if (is_selected(record, options))
      tables.try_emplace(kind_of(record.key), options.reveal).first->second.measure(record);
  });
  std::string kind;
  store.for_each([&](const StoredRecord& record) {
    if (!is_selected(record, options)) return;
    const Table& table = tables.at(kind_of(record.key));
    if (kind != kind_of(record.key)) {
      if (!kind.empty()) std::cout << '\n';
      kind = kind_of(record.key);
      table.print_header(record);
    }
    table.print_record(record);
  });
  if (!kind.empty()) std::cout << '\n';
}

void show_json(const Store& store, const ShowOptions& options, const Census& census) {
  std::cout << "{\"schema\":1,\"store\":" << dumped(options.store) << ",\"records\":[";
  bool is_first = true;
  store.for_each([&](const StoredRecord& record) {
    if (!is_selected(record, options)) return;
    std::cout << (is_first ? "\n" : ",\n") << dumped(shown_json_of(record, options.reveal));
    is_first = false;
  });
  std::cout << "\n],\"summary\":" << dumped(census.json()) << "}\n";
}

}  // namespace

Exit show(const ShowOptions& options) {
  set_nonvolatile_root("/");
  const Store store(options.store);
  const Census census = take_census(store);
  if (options.json) {
    show_json(store, options, census);
  } else {
    show_tables(store, options);
    std::cout << options.store << ": " << census.text() << '\n';
  }
  return exit_done;
}

}  // namespace vrrpconvert
