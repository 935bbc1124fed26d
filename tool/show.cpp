#include <algorithm>
#include <deque>
#include <iostream>
#include <map>

#include "tool/census.h"
#include "tool/digits.h"
#include "tool/field_value.h"
#include "tool/json_report.h"
#include "tool/record_text.h"
#include "tool/style.h"
#include "tool/verbs.h"

namespace vrrpconvert {
namespace {

// The cells of one line. What they held before is overwritten in its place.
class Row {
 public:
  void clear() { size_ = 0; }
  std::string& add() {
    if (size_ == cells_.size()) cells_.emplace_back();
    cells_[size_].clear();
    return cells_[size_++];
  }
  size_t size() const { return size_; }
  const std::string& operator[](size_t index) const { return cells_[index]; }

 private:
  std::deque<std::string> cells_;  // what add() gave out stays where it is
  size_t size_ = 0;
};

// The table of one kind: a column a field, but for fields that are unset in every record.
class Table {
 public:
  Table(const std::string& kind, bool reveal) : title_(title_of(kind)), reveal_(reveal) {
    // The kind's longest layout comes first, and has the fields of the others.
    const auto all = layouts();
    const auto layout = std::find_if(all.begin(), all.end(), [&](const Layout& l) { return kind == l.kind; });
    has_fields_ = layout != all.end();
    header_.add() = has_fields_ ? "layout" : "key";
    if (!has_fields_) header_.add() = "value";
    if (has_fields_) {
      for (const Field& field : layout->fields) header_.add() = field.heading;
    }
    widths_.resize(header_.size(), 0);
  }

  // Learns how wide the columns must be.
  void measure(const StoredRecord& record) {
    fill(record);
    for (size_t i = 0; i < row_.size(); ++i) {
      if (i < 3 || !means_nothing(row_[i])) widths_[i] = std::max({widths_[i], row_[i].size(), header_[i].size()});
    }
  }

  void print_header() {
    std::cout << styled(Style::bold, title_) << '\n';
    print(header_);
  }

  void print_record(const StoredRecord& record) {
    fill(record);
    print(row_);
  }

 private:
  static bool means_nothing(const std::string& cell) { return cell == "-" || cell == "0" || cell == "0x0"; }

  void fill(const StoredRecord& record) {
    row_.clear();
    std::string& first = row_.add();
    if (!has_fields_) {
      append_hex(record.key, first);
      append_hex(record.value, row_.add());
      return;
    }
    const Layout* layout = layout_of(record);
    if (layout == nullptr) {
      first = "of " + std::to_string(record.value.size()) + " bytes under key " + hex_of(record.key);
      return;
    }
    first = layout->layout != nullptr ? layout->layout : "-";
    if (own_key(*layout, record.value) != record.key) first += " under key " + hex_of(record.key);
    for (const Field& field : layout->fields) append_text(field, field.in(record.value), reveal_, row_.add());
    while (row_.size() < header_.size()) row_.add() = '-';  // fields that the old layout does not have
  }

  void print(const Row& row) {
    line_.clear();
    for (size_t i = 0; i < row.size(); ++i) {
      if (widths_[i] == 0) continue;
      line_.append(2, ' ').append(row[i]).append(std::max(widths_[i], row[i].size()) - row[i].size(), ' ');
    }
    line_.erase(line_.find_last_not_of(' ') + 1);
    std::cout << line_ << '\n';
  }

  std::string title_;
  bool reveal_;
  bool has_fields_;
  Row header_, row_;
  std::vector<size_t> widths_;
  std::string line_;
};

bool is_selected(const StoredRecord& record, const ShowOptions& options) {
  return options.kind.empty() || options.kind == kind_of(record.key);
}

// The keys put the records of one kind next to each other, so that two walks print all tables without keeping a record.
void show_tables(const Store& store, const ShowOptions& options) {
  std::map<std::string, Table, std::less<>> tables;
  Census census;
  store.for_each([&](const StoredRecord& record) {
    census.add(record);
    if (!is_selected(record, options)) return;
    const char* kind = kind_of(record.key);
    auto table = tables.find(kind);
    if (table == tables.end()) table = tables.try_emplace(kind, kind, options.reveal).first;
    table->second.measure(record);
  });
  std::string kind;
  store.for_each([&](const StoredRecord& record) {
    if (!is_selected(record, options)) return;
    Table& table = tables.find(kind_of(record.key))->second;
    if (kind != kind_of(record.key)) {
      if (!kind.empty()) std::cout << '\n';
      kind = kind_of(record.key);
      table.print_header();
    }
    table.print_record(record);
  });
  if (!kind.empty()) std::cout << '\n';
  std::cout << options.store << ": " << census.text() << '\n';
}

void show_json(const Store& store, const ShowOptions& options) {
  Census census;
  JsonReport report;
  report.add("store", options.store);
  report.begin_list("records");
  store.for_each([&](const StoredRecord& record) {
    census.add(record);
    if (is_selected(record, options)) report.add_item(line_of(record, options.reveal));
  });
  report.end_list();
  report.add("summary", census.json());
  report.end();
}

}  // namespace

Exit show(const ShowOptions& options) {
  set_nonvolatile_root("/");
  const Store store(options.store);
  options.json ? show_json(store, options) : show_tables(store, options);
  return exit_done;
}

}  // namespace vrrpconvert
