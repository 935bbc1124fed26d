#include <algorithm>
#include <cstring>
#include <deque>
#include <iostream>
#include <map>
#include <optional>

#include "tool/commands/commands.h"
#include "tool/record/field_value.h"
#include "tool/record/record_text.h"
#include "tool/store/record_counts.h"
#include "tool/support/digits.h"
#include "tool/support/printable.h"
#include "tool/support/style.h"

namespace vrrpconvert {
namespace {

struct ShowOptions {
  std::string store;
  std::string kind;  // empty: all
  bool reveal = false;
  JsonReport* json = nullptr;
};

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
  Table(Kind kind, bool reveal) : title_(title_of(kind)), reveal_(reveal) {
    if (kind == Kind::track) {
      columns_ = {{"interface", true}, {"vr", true}, {"family", true}, {"object", true}, {"value", true}};
      return;
    }
    if (!has_layouts(kind)) {
      columns_ = {{"key", true}, {"value", true}};
      return;
    }
    columns_ = {{"layout", true}};
    // The kind's longest layout comes first, and has the fields of the others.
    const auto all = layouts();
    const auto longest =
        std::find_if(all.begin(), all.end(), [kind](const Layout& layout) { return kind == layout.kind; });
    for (const Field& field : longest->fields) columns_.push_back({field.heading, field.is_always_shown()});
  }

  // Learns how wide the columns must be.
  void measure(const StoredRecord& record) {
    fill(record);
    for (size_t i = 0; i < row_.size(); ++i) {
      Column& column = columns_[i];
      if (!column.is_always_shown && means_nothing(row_[i])) continue;
      column.width = std::max({column.width, row_[i].size(), strlen(column.heading)});
    }
  }

  void print_header() {
    size_t width = 0;
    for (const Column& column : columns_) width += column.width > 0 ? column.width + 2 : 0;
    fits_ = terminal_width() == 0 || width <= terminal_width();
    std::cout << styled(Style::bold, title_) << '\n';
    if (!fits_) return;
    row_.clear();
    for (const Column& column : columns_) row_.add() = column.heading;
    print_row();
  }

  void print_record(const StoredRecord& record) {
    fill(record);
    fits_ ? print_row() : print_block(name_of(record));
  }

 private:
  struct Column {
    const char* heading;
    bool is_always_shown;
    size_t width = 0;  // 0: not shown
  };

  static bool means_nothing(const std::string& cell) { return cell == "-" || cell == "0" || cell == "0x0"; }

  void fill(const StoredRecord& record) {
    row_.clear();
    std::string& first = row_.add();
    if (const auto track = track_key_of(record.key)) {
      first = interface_text(track->ifindex);
      row_.add() = std::to_string(track->vr_id);
      const char* family = word_of(Type::address_type, track->addr_type);
      row_.add() = family != nullptr ? family : std::to_string(track->addr_type);
      row_.add() = std::to_string(track->track_obj_id);
      append_hex(record.value, row_.add());
      return;
    }
    const Kind kind = kind_of(record.key);
    if (!has_layouts(kind)) {
      if (kind == Kind::track) {  // whose key has no documented form
        first = "value " + hex_of(record.value) + " under key " + hex_of(record.key);
        return;
      }
      append_hex(record.key, first);
      append_hex(record.value, row_.add());
      return;
    }
    const Layout* layout = layout_of(record);
    if (layout == nullptr) {
      first = "of " + std::to_string(record.value.size()) + " bytes under key " + hex_of(record.key);
      return;
    }
    first = layout->version != Version::only ? word_of(layout->version) : "-";
    if (expected_key(*layout, record.value) != record.key) first += " under key " + hex_of(record.key);
    for (const Field& field : layout->fields) append_text(field, field.in(record.value), reveal_, row_.add());
    while (row_.size() < columns_.size()) row_.add() = '-';  // fields that the old layout does not have
  }

  void print_row() {
    line_.clear();
    for (size_t i = 0; i < row_.size(); ++i) {
      const size_t width = columns_[i].width;
      if (width == 0) continue;
      line_.append(2, ' ').append(row_[i]).append(std::max(width, row_[i].size()) - row_[i].size(), ' ');
    }
    line_.erase(line_.find_last_not_of(' ') + 1);
    std::cout << line_ << '\n';
  }

  // A record of its own where the table is wider than the terminal.
  void print_block(const std::string& name) {
    std::cout << "  " << styled(Style::bold, name) << '\n';
    for (size_t i = 0; i < row_.size(); ++i) {
      if (columns_[i].width == 0 || row_[i] == "-") continue;
      line_.assign(columns_[i].heading).resize(12, ' ');
      std::cout << "    " << line_ << row_[i] << '\n';
    }
  }

  std::string title_;
  bool reveal_;
  bool fits_ = true;
  std::vector<Column> columns_;
  Row row_;
  std::string line_;
};

bool is_selected(const StoredRecord& record, const ShowOptions& options) {
  return options.kind.empty() || options.kind == word_of(kind_of(record.key));
}

// The keys put the records of one kind next to each other, so that two walks print all tables without keeping a record.
void show_tables(const Store& store, const ShowOptions& options) {
  std::map<Kind, Table> tables;
  RecordCounts counts;
  store.for_each([&](const StoredRecord& record) {
    counts.add(record);
    if (!is_selected(record, options)) return;
    const Kind kind = kind_of(record.key);
    tables.try_emplace(kind, kind, options.reveal).first->second.measure(record);
  });
  std::optional<Kind> shown;
  store.for_each([&](const StoredRecord& record) {
    if (!is_selected(record, options)) return;
    const Kind kind = kind_of(record.key);
    Table& table = tables.find(kind)->second;
    if (kind != shown) {
      if (shown) std::cout << '\n';
      shown = kind;
      table.print_header();
    }
    table.print_record(record);
  });
  if (shown) std::cout << '\n';
  std::cout << printable(options.store) << ": " << counts.text() << '\n';
}

void show_json(const Store& store, const ShowOptions& options) {
  RecordCounts counts;
  JsonWriter& json = options.json->begin();
  json.member("store", options.store);
  json.key("records");
  json.begin_list();
  store.for_each([&](const StoredRecord& record) {
    counts.add(record);
    if (is_selected(record, options)) write_record(json, record, options.reveal);
  });
  json.end();
  json.member("summary", Json(counts));
  json.end();
}

Exit show(const ShowOptions& options) {
  const Store store(options.store);
  options.json != nullptr ? show_json(store, options) : show_tables(store, options);
  return exit_done;
}

}  // namespace

void add_show(CLI::App& app, Choice& choice) {
  Command command(app, choice, "show", "Show the records of a store as tables",
                  "vrrpconvert show --kind vr vrrp-cfg_runtime_config");
  const auto options = std::make_shared<ShowOptions>();
  run_with(command, options, show, Effect::reads);
  command.add_operand("STORE", options->store, "The store to read");
  std::vector<std::string> words;
  for (const Kind kind : kinds) words.emplace_back(word_of(kind));
  command.add_word("--kind", options->kind, words, "Only records of this kind");
  command.add_reveal(options->reveal);
  command.add_json(options->json);
}

}  // namespace vrrpconvert
